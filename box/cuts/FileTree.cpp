#include "box/cuts/FileTree.h"

#include "Descriptor.h"
#include "box/Timeline.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace box {

namespace {

namespace fs = std::filesystem;

void require(bool condition, const std::string& path) {
    if (!condition) {
        throw std::runtime_error(path + " cannot be made");
    }
}

void writeFile(const std::string& path, const FileTree::File& file) {
    const Descriptor opened(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    require(static_cast<bool>(opened), path);
    require(::write(opened.get(), file.bytes.data(), file.bytes.size()) == static_cast<ssize_t>(file.bytes.size()),
            path);
    timespec stamp{};
    stamp.tv_sec = static_cast<time_t>(kFirstSecond + static_cast<std::int64_t>(file.written / kSecond));
    stamp.tv_nsec = static_cast<long>(file.written % kSecond);
    const timespec both[2] = {stamp, stamp};
    require(::futimens(opened.get(), both) == 0, path);
}

std::size_t endOf(const FileOperation& write) {
    return write.offset + write.bytes.size();
}

}  // namespace

std::size_t sectorsOf(const FileOperation& write) {
    constexpr std::size_t kSector = FileTree::kSector;
    return write.bytes.empty() ? 0 : (endOf(write) - 1) / kSector - write.offset / kSector + 1;
}

bool FileTree::canBeSeen(std::string_view path) const {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ||
           (directories_.count(std::string(path.substr(0, slash))) > 0 && canBeSeen(path.substr(0, slash)));
}

std::map<std::string, std::uint32_t> FileTree::names() const {
    std::map<std::string, std::uint32_t> seen;
    for (const auto& [name, number] : names_) {
        if (canBeSeen(name)) {
            seen.emplace_hint(seen.end(), name, number);
        }
    }
    return seen;
}

// Another file's name stays.
void FileTree::unbind(const std::string& path, std::uint32_t number) {
    const auto found = names_.find(path);
    if (found != names_.end() && found->second == number) {
        names_.erase(found);
    }
}

void FileTree::apply(const FileOperation& operation) {
    switch (operation.kind) {
        case FileOperation::kMakeDirectory:
            directories_.insert(operation.path);
            break;
        case FileOperation::kRemoveDirectory: {
            const auto in = names_.lower_bound(operation.path + "/");
            if (in == names_.end() || !in->first.starts_with(operation.path + "/")) {
                directories_.erase(operation.path);
            }
            break;
        }
        case FileOperation::kCreate:
            files_[operation.file].written = operation.at;
            names_[operation.path] = operation.file;
            break;
        case FileOperation::kLink:
            names_[operation.path] = operation.file;
            break;
        case FileOperation::kUnlink:
            unbind(operation.path, operation.file);
            break;
        case FileOperation::kRename:
            unbind(operation.path, operation.file);
            names_[operation.target] = operation.file;
            break;
        case FileOperation::kWrite:
            applySectors(operation, ~std::uint64_t{0}, true);
            break;
        case FileOperation::kCut:
            files_[operation.file].bytes.resize(operation.offset);
            files_[operation.file].written = operation.at;
            break;
        case FileOperation::kSync:
            break;
    }
}

void FileTree::applySectors(const FileOperation& operation, std::uint64_t sectors, bool grown) {
    File& file = files_[operation.file];
    file.written = operation.at;
    if (grown) {
        file.bytes.resize(std::max(file.bytes.size(), endOf(operation)));
    }
    const std::size_t first = operation.offset / kSector;
    for (std::size_t i = 0; i < sectorsOf(operation); ++i) {
        if ((sectors >> std::min<std::size_t>(i, 63) & 1) == 0) {
            continue;
        }
        const std::size_t from = std::max(operation.offset, (first + i) * kSector);
        const std::size_t to = std::min(endOf(operation), (first + i + 1) * kSector);
        file.bytes.resize(std::max(file.bytes.size(), to));
        file.bytes.replace(from, to - from, operation.bytes, from - operation.offset, to - from);
    }
}

void FileTree::applyNewName(const FileOperation& operation) {
    names_[operation.target] = operation.file;
}

const FileTree::File& FileTree::file(std::uint32_t number) const {
    static const File none;
    const auto found = files_.find(number);
    return found == files_.end() ? none : found->second;
}

const FileTree::File& FileTree::file(const std::string& path) const {
    const auto found = names_.find(path);
    return file(found == names_.end() || !canBeSeen(path) ? 0 : found->second);
}

std::uint64_t FileTree::digest() const {
    Timeline all;
    for (const std::string& directory : directories_) {
        all.take(canBeSeen(directory) ? directory + "/\n" : "");
    }
    for (const auto& [name, number] : names()) {
        const File& each = file(number);
        all.take(name + "\n" + std::to_string(each.bytes.size()) + " " + std::to_string(each.written) + "\n");
        all.take(each.bytes);
    }
    return all.digest();
}

FileTree FileTree::below(const std::string& directory) {
    FileTree tree;
    std::uint32_t number = 0;
    for (const auto& each : fs::recursive_directory_iterator(directory)) {
        const std::string path = each.path().string().substr(directory.size() + 1);
        if (each.is_directory()) {
            tree.directories_.insert(path);
        } else {
            std::ostringstream bytes;
            bytes << std::ifstream(each.path(), std::ios::binary).rdbuf();
            tree.names_[path] = ++number;
            tree.files_[number].bytes = bytes.str();
        }
    }
    return tree;
}

void FileTree::writeBelow(const std::string& directory) const {
    for (const std::string& each : directories_) {
        if (!canBeSeen(each)) {
            continue;
        }
        const std::string path = std::filesystem::path(directory) / each;
        require(::mkdir(path.c_str(), 0777) == 0 || errno == EEXIST, path);
    }
    std::map<std::uint32_t, std::string> written;
    for (const auto& [name, number] : names()) {
        const std::string path = std::filesystem::path(directory) / name;
        const auto [first, isFirst] = written.emplace(number, path);
        if (isFirst) {
            writeFile(path, file(number));
        } else {
            require(::link(first->second.c_str(), path.c_str()) == 0, path);
        }
    }
}

bool FileTree::looksLike(const FileTree& other) const {
    const auto same = [&](const auto& one, const auto& two) {
        return one.first == two.first && file(one.second).bytes == other.file(two.second).bytes;
    };
    return directories_ == other.directories_ && std::ranges::equal(names(), other.names(), same);
}

}  // namespace box
