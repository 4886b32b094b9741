#include "sync/OrvSyncFiles.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "host_root.h"
#include "sync/OrvSyncCleaner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvSyncSec";
constexpr std::size_t kLongestPath = 256;
constexpr std::size_t kLongestRebuiltPath = 255;
// Part of the protocol, whatever this machine calls it.
constexpr int kNameTooLong = 36;
constexpr std::size_t kPiece = 4096;

// No path is no file, as on a switch; it is not the root of this host. Below such a root a relative path counts from
// there: it must not be glued to the root's name.
std::string hostPath(const std::string& path) {
    if (path.empty()) {
        return path;
    }
    const bool rooted = host_root()[0] != '\0';
    return orvHostPath(rooted && path.front() != '/' ? "/" + path : path);
}

// The parts between the slashes, without empty ones.
std::vector<std::string_view> componentsOf(std::string_view path) {
    std::vector<std::string_view> components;
    while (!path.empty()) {
        const std::string_view component = path.substr(0, path.find('/'));
        if (!component.empty()) {
            components.push_back(component);
        }
        path.remove_prefix(std::min(component.size() + 1, path.size()));
    }
    return components;
}

}  // namespace

ssize_t OrvSyncFiles::dropUnread() {
    std::array<std::uint8_t, 4096> dropped;
    while (unread_ > 0) {
        const std::size_t most = std::min(dropped.size(), static_cast<std::size_t>(unread_));
        const ssize_t got = session_.receive(std::span(dropped).first(most));
        if (got <= 0) {
            return got;
        }
        unread_ -= static_cast<std::int32_t>(got);
    }
    return 1;
}

int OrvSyncFiles::removeFile(const std::string& path, const char* function) {
    const std::string where = hostPath(path);  // freed after errno has been looked at, here and below
    return std::remove(where.c_str()) < 0 ? last_.failed(function, "remove", errno) : 0;
}

int OrvSyncFiles::recvFile(const std::string& path, std::int32_t size) {
    ORV_TRACE("Receiving file=%s, size=%d\n", path.c_str(), size);
    unread_ = size;
    // Not blocking: a FIFO in the file's place would make us wait for somebody to read it.
    const std::string where = hostPath(path);
    const Descriptor file(open(where.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0644));
    if (!file) {
        return last_.failed(__func__, "open", errno);
    }
    std::array<std::uint8_t, kPiece> bytes;
    for (std::int32_t total = 0; total < size;) {
        const std::size_t most = std::min(bytes.size(), static_cast<std::size_t>(unread_));
        const ssize_t got = session_.receive(std::span(bytes).first(most));
        if (got <= 0) {
            return last_.failed(__func__, "recv", got < 0 ? errno : ECONNRESET);
        }
        unread_ -= static_cast<std::int32_t>(got);
        if (orvWriteAll(file.get(), bytes.data(), static_cast<std::size_t>(got)) < 0) {
            return last_.failed(__func__, "write", errno);
        }
        total += static_cast<std::int32_t>(got);
        ORV_TRACE("Received bytes=%d, bytes written total=%d\n", static_cast<int>(got), total);
    }
    return 0;
}

int OrvSyncFiles::cleanmkdir(const std::string& path) {
    if (path.size() > kLongestPath) {
        return last_.failed(__func__, "cleanmkdir() directory path", kNameTooLong);
    }
    std::string rebuilt;
    bool existed = false;
    for (const std::string_view component : componentsOf(path)) {
        if (rebuilt.size() + 1 + component.size() > kLongestRebuiltPath) {
            return last_.failed(__func__, "creating directory path", kNameTooLong);
        }
        rebuilt.append("/").append(component);
        ORV_TRACE("mkdir %s\n", rebuilt.c_str());
        existed = false;
        const std::string where = hostPath(rebuilt);
        if (mkdir(where.c_str(), 0777) < 0) {
            if (errno != EEXIST) {
                return last_.failed(__func__, "mkdir", errno);
            }
            existed = true;
        }
    }
    return existed ? cleandir(rebuilt) : 0;
}

int OrvSyncFiles::cleanmvdir(const std::string& source, const std::string& destination) {
    if (cleandir(destination) < 0) {
        ORV_TRACE("remove: %s\n", orvErrorText(last_.number).c_str());
    }
    const std::string from = hostPath(source);
    const std::string to = hostPath(destination);
    if (std::remove(to.c_str()) < 0) {
        last_.failed(__func__, "remove", errno);
    }
    if (std::rename(from.c_str(), to.c_str()) < 0) {
        return last_.failed(__func__, "rename", errno);
    }
    return 0;
}

int OrvSyncFiles::cleanrmdir(const std::string& path) {
    if (cleandir(path) < 0) {
        return -1;
    }
    const std::string where = hostPath(path);
    return std::remove(where.c_str()) < 0 ? last_.failed(__func__, "remove", errno) : 0;
}

int OrvSyncFiles::cleandir(const std::string& path) {
    const std::string where = hostPath(path);
    OrvSyncCleaner cleaner;
    return cleaner.emptyOrFail(where) < 0 ? last_.failed(__func__, cleaner.failedCall(), errno) : 0;
}
