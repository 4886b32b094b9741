#include "smtp/OrvMailCopy.h"

#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvMailCopy";
constexpr mode_t kMode = 0666;  // less what the process masks, like every file of this daemon below "/tmp/"

std::atomic<std::uint32_t> copies{0};

// The file, emptied; -1 with errno set. Anything else than a file in its place is refused without waiting for it.
int openCopy(const std::string& path) {
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const std::string hostPath = orvHostPath(path);
    const int fd = open(hostPath.c_str(), flags, kMode);
    struct stat status {};
    if (fd >= 0 && (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(fd);
        errno = EINVAL;
        return -1;
    }
    return fd;
}

int writeAll(int fd, std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = write(fd, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return -1;
        }
    }
    return 0;
}

}  // namespace

// Kept: a copy is written on every send and never removed.
void orvWriteMailCopy(const std::string& text) {
    const std::string path = kOrvMailCopyPrefix + std::to_string(++copies);
    const int fd = openCopy(path);
    if (fd < 0 || writeAll(fd, text) < 0) {
        const int error = errno;
        ORV_TRACE("%s: %s\n", path.c_str(), orvErrorText(error).c_str());
    }
    if (fd >= 0) {
        close(fd);
    }
}
