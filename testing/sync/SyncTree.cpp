#include "testing/sync/SyncTree.h"

#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "sync/OrvSyncPri.h"

#include <array>
#include <fstream>
#include <functional>
#include <sstream>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::size_t, 10> kSizes{0, 1, 515, 516, 517, 4095, 4096, 4097, 12288, 70001};

std::string directoryName(int directory) {
    return orvFormat("/queue%02d", directory);
}

// Every fifth file stands one directory deeper.
std::string below(int file) {
    return file % 5 == 0 ? "/deeper" : "";
}

std::string fileName(int file) {
    return orvFormat("/message %03d", file);
}

// A pattern of the file's and version's own, of a length that fits into no power of two.
std::string bytesOf(int file, int version) {
    std::string pattern(251, '\0');
    std::uint32_t value = static_cast<std::uint32_t>(file * 1000 + version);
    for (char& byte : pattern) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    const std::size_t size = kSizes[static_cast<std::size_t>(file * 7 + version * 3) % kSizes.size()];
    std::string bytes;
    while (bytes.size() < size) {
        bytes += pattern;
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace

SyncTree::SyncTree(OrvSyncPri& sender, std::string local, std::string remote)
    : sender_(sender), local_(std::move(local)), remote_(std::move(remote)) {
}

std::string SyncTree::run(const std::string& step) {
    const std::map<std::string, std::function<void()>> steps{
        {"create", [this] { create(); }}, {"change", [this] { change(); }},        {"move", [this] { move(); }},
        {"remove", [this] { remove(); }}, {"remove all", [this] { removeAll(); }},
    };
    const auto found = steps.find(step);
    if (found == steps.end()) {
        return "no such step: " + step;
    }
    failure_.clear();
    found->second();
    return failure_;
}

void SyncTree::create() {
    tell(sender_.sendMkDir(remote_), "make the top");
    for (int directory = 0; directory < kDirectories; ++directory) {
        fs::create_directories(orvHostPath(local_ + directoryName(directory) + "/deeper"));
        tell(sender_.sendMkDir(remote_ + directoryName(directory) + "/deeper"), "make a directory");
    }
    for (int file = 0; file < kFiles; ++file) {
        copy(file, 0);
    }
}

void SyncTree::change() {
    for (int file = 0; file < kFiles; file += 3) {
        copy(file, 1);
    }
}

// A destination that exists keeps the replies free of an error that would stay in them.
void SyncTree::move() {
    for (int directory = 0; directory < kDirectories; directory += 4) {
        const std::string moved = directoryName(directory) + ".moved";
        fs::rename(orvHostPath(local_ + directoryName(directory)), orvHostPath(local_ + moved));
        tell(sender_.sendMkDir(remote_ + moved), "make a destination");
        tell(sender_.sendMvDir(remote_ + directoryName(directory), remote_ + moved), "move a directory");
    }
}

void SyncTree::remove() {
    for (int file = 1; file < kFiles; file += 4) {
        const std::string path = directoryName(file % kDirectories) + below(file) + fileName(file);
        fs::remove(orvHostPath(local_ + path));
        tell(sender_.sendRmFile(remote_ + path), "remove a file");
    }
    for (int directory = 2; directory < kDirectories; directory += 4) {
        fs::remove_all(orvHostPath(local_ + directoryName(directory)));
        tell(sender_.sendRmDir(remote_ + directoryName(directory)), "remove a directory");
    }
}

void SyncTree::removeAll() {
    fs::remove_all(orvHostPath(local_));
    tell(sender_.sendRmDir(remote_), "remove the top");
}

void SyncTree::copy(int file, int version) {
    const std::string path = directoryName(file % kDirectories) + below(file) + fileName(file);
    const std::string bytes = bytesOf(file, version);
    std::ofstream(orvHostPath(local_ + path), std::ios::binary) << bytes;
    tell(sender_.sendCpFile(local_ + path, remote_ + path), "copy a file");
}

void SyncTree::tell(int result, const std::string& what) {
    ++records_;
    if (result < 0) {
        failure_ += what + ": " + orvErrorText(sender_.error()) + "\n";
    } else if (sender_.recvResponse() < 0 || sender_.replyBytes() != 4) {
        failure_ += what + ": no reply\n";
    } else if (sender_.reply() != 0) {
        failure_ += what + ": reply " + std::to_string(sender_.reply()) + "\n";
    }
}

std::map<std::string, std::string> treeBelow(const fs::path& directory) {
    std::map<std::string, std::string> tree;
    if (!fs::exists(directory)) {
        return tree;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        std::string& bytes = tree[entry.path().lexically_relative(directory).string()];
        if (entry.is_directory()) {
            bytes = "directory";
        } else {
            std::ostringstream text;
            text << "file " << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            bytes = text.str();
        }
    }
    return tree;
}
