// Looks ahead for switchctl: plays the timetable that comes on standard input, and says on standard output what became
// of it.
//
// A program of its own: the box's definitions of the C library's calls are not to stand before those of a program that
// talks with a real switch.
#include "ahead/PlayTimetable.h"
#include "base/OrvFiles.h"
#include "orv_version.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string_view>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
// More than every attribute, the queue and all its files can be.
constexpr std::size_t kMost = std::size_t{256} << 20;

bool readAll(WireBytes& bytes) {
    std::uint8_t part[65536];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, part, sizeof part);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0;
        }
        bytes.insert(bytes.end(), part, part + got);
        if (bytes.size() > kMost) {
            return false;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::puts("orvAhead " ORV_VERSION);
        return 0;
    }
    WireBytes bytes;
    if (argc > 1 || ::isatty(STDIN_FILENO) != 0 || !readAll(bytes)) {
        std::fputs("orvAhead: is run by switchctl preview and switchctl rehearse\n", stderr);
        return kWrongUsage;
    }
    const auto table = decodeFields<ahead::Timetable>(bytes);
    if (!table) {
        std::fputs("orvAhead: the timetable cannot be read\n", stderr);
        return kWrongUsage;
    }
    std::signal(SIGPIPE, SIG_IGN);
    const WireBytes outcome = encodeFields(ahead::play(*table));
    return orvWriteAll(STDOUT_FILENO, outcome.data(), outcome.size()) < 0 ? kFailed : 0;
}
