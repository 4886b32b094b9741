// All of the bytes go into a file, in as many pieces as it takes and however often a signal comes.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>

// 0, or -1 with errno. Any thread.
[[nodiscard]] inline int orvWriteAll(int file, const void* data, std::size_t size) {
    const char* rest = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(file, rest, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written < 0 ? errno : EIO;
            return -1;
        }
        rest += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}
