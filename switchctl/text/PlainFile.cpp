#include "switchctl/text/PlainFile.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "switchctl/text/Second.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

int PlainFile::read(const std::string& path, std::size_t limit, PlainFile& file) {
    const Descriptor source(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!source || fstat(source.get(), &status) < 0) {
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    PlainFile result;
    result.size = static_cast<std::uint64_t>(status.st_size);
    result.written = std::int64_t{status.st_mtim.tv_sec} * SECOND + status.st_mtim.tv_nsec / 1000;
    std::array<char, 16384> buffer{};
    while (result.bytes.size() < limit) {
        const std::size_t wanted = std::min(buffer.size(), limit - result.bytes.size());
        const ssize_t got = ::read(source.get(), buffer.data(), wanted);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        result.bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
    file = std::move(result);
    return 0;
}

int PlainFile::create(const std::string& path, const std::string& bytes) {
    Descriptor target(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!target) {
        return -1;
    }
    if (orvWriteAll(target.get(), bytes.data(), bytes.size()) < 0) {
        const int error = errno;
        ::unlink(path.c_str());
        errno = error;
        return -1;
    }
    return target.close();
}
