#include "base/OrvPaths.h"

#include "Descriptor.h"
#include "host_root.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#ifdef SYS_openat2
#include <linux/openat2.h>
#endif

namespace {

// In one call, where the kernel has it: no link anywhere, not even where one is allowed. -1 also when it has not.
int openWithoutAnyLink([[maybe_unused]] const char* hostPath, [[maybe_unused]] int flags,
                       [[maybe_unused]] mode_t mode) {
#ifdef SYS_openat2
    struct open_how how = {};
    const int wanted = (flags & O_PATH) != 0 ? flags : flags | O_LARGEFILE;
    how.flags = static_cast<unsigned>(wanted);
    how.mode = (flags & O_CREAT) != 0 ? mode : 0;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, hostPath, &how, sizeof how));
#else
    errno = ENOSYS;
    return -1;
#endif
}

// A link in the part that may have one, a kernel without the call, one that is forbidden or that does not know a flag.
bool worthWalking(int error) {
    return error == ELOOP || error == ENOSYS || error == EPERM || error == E2BIG || error == EINVAL;
}

// From the trusted part down, a directory at a time. A name without a directory is the working directory's.
int walk(std::string_view path, std::size_t trusted, int flags, mode_t mode) {
    constexpr int kDirectory = O_DIRECTORY | O_CLOEXEC | O_PATH;
    if (!path.starts_with('/')) {
        return ::open(path.data(), flags | O_NOFOLLOW, mode);
    }
    if (trusted < path.size() && path[trusted] != '/') {
        trusted = path.rfind('/', trusted);  // a name that has grown together with the root's
    }
    std::string part(trusted == 0 ? "/" : path.substr(0, trusted));
    std::size_t start = path.find_first_not_of('/', trusted);
    if (start == std::string_view::npos) {
        return ::open(part.c_str(), flags, mode);
    }
    Descriptor place(::open(part.c_str(), kDirectory));
    while (place) {
        const std::size_t end = path.find('/', start);
        part = path.substr(start, end == std::string_view::npos ? end : end - start);
        start = path.find_first_not_of('/', end);
        if (start == std::string_view::npos) {
            return ::openat(place.get(), part.c_str(), flags | O_NOFOLLOW, mode);
        }
        place.reset(::openat(place.get(), part.c_str(), kDirectory | O_NOFOLLOW));
    }
    return -1;
}

}  // namespace

std::string orvHostPath(std::string_view path) {
    std::string hostPath = host_root();
    hostPath.append(path);
    return hostPath;
}

int orvOpenUnlinked(const char* hostPath, std::size_t trusted, int flags, mode_t mode) {
    const int file = openWithoutAnyLink(hostPath, flags, mode);
    return file >= 0 || !worthWalking(errno) ? file : walk(hostPath, trusted, flags, mode);
}
