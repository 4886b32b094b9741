#include "platform/client/HostTree.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr int PAUSE_MS = 20;

// 0, or an errno.
int lockWithin(int directory, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (flock(directory, LOCK_EX | LOCK_NB) < 0) {
        const int error = errno;
        if (error != EINTR && (error != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline)) {
            return error;
        }
        poll(nullptr, 0, PAUSE_MS);
    }
    return 0;
}

}  // namespace

int HostTree::hold(const std::string& root, std::string& inUse) {
    for (std::size_t i = 0; i < DIRECTORIES.size(); ++i) {
        if (locks_[i]) {
            continue;
        }
        std::string directory = root + DIRECTORIES[i];
        if (lock(directory, locks_[i]) < 0) {
            inUse = std::move(directory);
            return -1;
        }
    }
    return 0;
}

int HostTree::lock(const std::string& directory, Descriptor& lock) {
    Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
    if (!opened) {
        if (errno != ENOENT) {
            passOver(directory);
        }
        return 0;
    }
    const int error = lockWithin(opened.get(), patience_);
    if (error == EWOULDBLOCK) {
        return -1;
    }
    if (error != 0) {
        errno = error;
        passOver(directory);
        return 0;
    }
    lock = std::move(opened);
    return 0;
}

void HostTree::passOver(const std::string& directory) {
    if (!told_) {
        std::fprintf(stderr, "hsb: cannot hold %s against a second daemon: %s\n", directory.c_str(),
                     std::strerror(errno));
    }
    told_ = true;
}
