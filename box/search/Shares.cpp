#include "box/search/Shares.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

namespace box {

namespace {

[[noreturn]] void workHere(std::uint64_t share, const ShareWork& work, int file) {
    int status = 0;
    try {
        const std::vector<std::uint8_t> bytes = work(share);
        if (orvWriteAll(file, bytes.data(), bytes.size()) < 0) {
            ::_exit(1);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "box: %s\n", error.what());
        status = 1;
    }
    std::fflush(stdout);
    ::_exit(status);
}

// The end to read from.
Descriptor startShare(std::uint64_t share, const ShareWork& work) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Descriptor in(ends[0]);
    const Descriptor out(ends[1]);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        workHere(share, work, out.get());
    }
    return in;
}

std::vector<std::uint8_t> readAll(int file) {
    std::vector<std::uint8_t> bytes;
    std::uint8_t buffer[65536];
    for (;;) {
        const ssize_t got = ::read(file, buffer, sizeof buffer);
        if (got > 0) {
            bytes.insert(bytes.end(), buffer, buffer + got);
        } else if (got == 0 || errno != EINTR) {
            return bytes;
        }
    }
}

}  // namespace

std::vector<std::vector<std::uint8_t>> inShares(std::uint32_t shares, const ShareWork& work) {
    std::vector<Descriptor> ends;
    for (std::uint64_t share = 0; share < shares; ++share) {
        ends.push_back(startShare(share, work));
    }
    std::vector<std::vector<std::uint8_t>> found;
    for (const Descriptor& end : ends) {
        found.push_back(readAll(end.get()));
        ::wait(nullptr);
    }
    return found;
}

}  // namespace box
