#include "base/OrvFiles.h"

#include "base/OrvPaths.h"
#include "base/OrvSteps.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

namespace {

constexpr char kNewSuffix[] = ".new";

// What becomes of a call that a signal cuts short.
template <typename Call>
auto again(Call&& call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Where the last component of a path begins: behind its slash.
std::size_t lastComponent(std::string_view path) {
    const std::size_t slash = path.find_last_of('/', path.find_last_not_of('/'));
    return slash == std::string_view::npos ? 0 : slash + 1;
}

// How much of a path of the switch may hold links.
std::size_t trustedPart(std::string_view path) {
    constexpr std::string_view kOwn = kOrvDirectory;
    return path.starts_with(kOwn) ? kOwn.find_last_of('/') : std::max<std::size_t>(lastComponent(path), 1) - 1;
}

Descriptor openUnlinked(std::string_view path, std::size_t trusted, int flags, mode_t mode) {
    Descriptor file;
    int error = 0;
    {
        const std::string hostPath = orvHostPath(path);
        const std::size_t hostTrusted = hostPath.size() - path.size() + std::min(trusted, path.size());
        file.reset(again([&] { return orvOpenUnlinked(hostPath.c_str(), hostTrusted, flags | O_CLOEXEC, mode); }));
        error = errno;
    }
    errno = error;
    return file;
}

bool forWriting(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY;
}

// What was opened so was made by the call: an empty file of one name.
bool isNew(int flags) {
    return (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
}

int cut(int file, off_t size) {
    return again([&] { return ::ftruncate(file, size); });
}

// Empties a file of so many bytes, which are none then.
int empty(int file, off_t& size) {
    const int result = size == 0 ? 0 : cut(file, 0);
    size = result < 0 ? size : 0;
    return result;
}

// Where a file stands: its directory, and its name there.
class Place {
public:
    explicit Place(std::string_view path) {
        const std::size_t start = lastComponent(path);
        std::string_view name = path.substr(start);
        name = name.substr(0, name.find('/'));
        if (name.empty() || name.size() >= sizeof name_) {
            errno = name.empty() ? ENOENT : ENAMETOOLONG;
            return;
        }
        std::memcpy(name_, name.data(), name.size());
        directory_ = openUnlinked(path.substr(0, start), trustedPart(path), O_PATH | O_DIRECTORY, 0);
    }

    // False, with errno as the constructor left it, when the directory cannot be reached.
    explicit operator bool() const { return static_cast<bool>(directory_); }
    int directory() const { return directory_.get(); }
    const char* name() const { return name_; }

private:
    char name_[NAME_MAX + 1] = {};
    Descriptor directory_;
};

int statAt(const Place& place, struct stat& status) {
    return again([&] { return ::fstatat(place.directory(), place.name(), &status, AT_SYMLINK_NOFOLLOW); });
}

// 0, or an error number. What a kill has left under the new name, or a stranger has put there, makes way.
int createWholeFile(std::string_view newPath, std::string_view path, const void* data, std::size_t size, mode_t mode) {
    [[maybe_unused]] const int removed = orvUnlinkFile(newPath);
    Descriptor file = orvOpenFile(newPath, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (!file) {
        return errno;
    }
    int result = orvWriteWhole(file.get(), data, size);
    orvFlushFile(file.get());
    result = result < 0 ? result : file.close();
    if (result < 0 || orvRenameFile(newPath, path) < 0) {
        const int error = errno;
        [[maybe_unused]] const int removedAgain = orvUnlinkFile(newPath);
        return error;
    }
    return 0;
}

// Takes the room that the file is going to need behind its end: on a full flash it is refused here, before the first
// byte of the old content is lost. Of a message, line feeds behind its end are no part.
int reserve(int file, off_t from, off_t to) {
    const std::string filler(static_cast<std::size_t>(to - from), '\n');
    const int written = ::lseek(file, from, SEEK_SET) < 0 ? -1 : orvWriteWhole(file, filler.data(), filler.size());
    const int error = errno;
    if (written < 0) {
        [[maybe_unused]] const int result = cut(file, from);
        errno = error;
        return -1;
    }
    return ::lseek(file, 0, SEEK_SET) < 0 ? -1 : 0;
}

}  // namespace

// Somebody else's file may stand behind one with two names.
int orvJudgeForWriting(int file, off_t& size) {
    struct stat status {};
    if (again([&] { return ::fstat(file, &status); }) < 0) {
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return -1;
    }
    if (status.st_nlink > 1) {
        errno = EMLINK;
        return -1;
    }
    size = status.st_size;
    return 0;
}

Descriptor orvOpenFile(std::string_view path, int flags, mode_t mode) {
    off_t size = 0;
    return orvOpenFile(path, flags, mode, size);
}

Descriptor orvOpenFile(std::string_view path, int flags, mode_t mode, off_t& size) {
    constexpr int kNotWaiting = O_NONBLOCK | O_NOCTTY;
    Descriptor file = openUnlinked(path, trustedPart(path), (flags & ~O_TRUNC) | kNotWaiting, mode);
    size = 0;
    if (!file || !forWriting(flags) || isNew(flags)) {
        return file;
    }
    if (orvJudgeForWriting(file.get(), size) < 0 || ((flags & O_TRUNC) != 0 && empty(file.get(), size) < 0)) {
        file.reset();
    }
    return file;
}

Descriptor orvOpenDirectory(std::string_view path) {
    return openUnlinked(path, trustedPart(path), O_RDONLY | O_DIRECTORY, 0);
}

int orvStatFile(std::string_view path, struct stat& status) {
    const Place place(path);
    return place ? statAt(place, status) : -1;
}

int orvMakeDirectory(std::string_view path, mode_t mode) {
    const Place place(path);
    return place ? again([&] { return ::mkdirat(place.directory(), place.name(), mode); }) : -1;
}

int orvRemoveDirectory(std::string_view path) {
    const Place place(path);
    return place ? again([&] { return ::unlinkat(place.directory(), place.name(), AT_REMOVEDIR); }) : -1;
}

int orvUnlinkFile(std::string_view path) {
    const Place place(path);
    return place ? again([&] { return ::unlinkat(place.directory(), place.name(), 0); }) : -1;
}

int orvRenameFile(std::string_view from, std::string_view to) {
    const Place source(from);
    if (!source) {
        return -1;
    }
    const Place target(to);
    return target
               ? again([&] { return ::renameat(source.directory(), source.name(), target.directory(), target.name()); })
               : -1;
}

int orvLinkFile(std::string_view from, std::string_view to) {
    const Place source(from);
    if (!source) {
        return -1;
    }
    const Place target(to);
    if (!target) {
        return -1;
    }
    struct stat status {};
    if (statAt(source, status) < 0) {
        return -1;
    }
    if (S_ISLNK(status.st_mode)) {
        errno = ELOOP;
        return -1;
    }
    return again([&] { return ::linkat(source.directory(), source.name(), target.directory(), target.name(), 0); });
}

int orvWriteWhole(int file, const void* data, std::size_t size) {
    const ssize_t written = again([&] { return ::write(file, data, size); });
    if (written >= 0 && static_cast<std::size_t>(written) < size) {
        errno = ENOSPC;
        return -1;
    }
    return written < 0 ? -1 : 0;
}

int orvWriteAll(int file, const void* data, std::size_t size) {
    const char* rest = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = again([&] { return ::write(file, rest, size); });
        if (written <= 0) {
            errno = written < 0 ? errno : EIO;
            return -1;
        }
        rest += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

int orvRewriteFile(int file, off_t before, const void* data, std::size_t size) {
    const auto after = static_cast<off_t>(size);
    if (orvWriteWhole(file, data, size) < 0) {
        return -1;
    }
    return before <= after ? 0 : cut(file, after);
}

int orvReplaceContent(int file, off_t before, std::string_view text) {
    const off_t size = static_cast<off_t>(text.size());
    if (before > 0 && before < size && reserve(file, before, size) < 0) {
        return -1;
    }
    if (orvOnceMore([&] { return orvWriteWhole(file, text.data(), text.size()); }) < 0) {
        return -1;
    }
    return before > size ? cut(file, size) : 0;
}

void orvFlushFile(int file) {
    [[maybe_unused]] const int flushed = again([&] { return ::fsync(file); });
}

int orvCreateWholeFile(std::string_view path, const void* data, std::size_t size, mode_t mode) {
    int error = 0;
    {
        const std::string newPath = std::string(path) + kNewSuffix;
        error = createWholeFile(newPath, path, data, size, mode);
    }
    errno = error != 0 ? error : errno;
    return error != 0 ? -1 : 0;
}

OrvFileBuf::int_type OrvFileBuf::underflow() {
    const ssize_t got = orvOnceMore([this] { return ::read(file_, bytes_.data(), bytes_.size()); });
    if (got <= 0) {
        return traits_type::eof();
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
    return traits_type::to_int_type(bytes_[0]);
}
