// Mails the way the daemon does, with the least work that can do it.
//
// Usage: floor drain MAILS PORT DIR LINES BYTES [required]   a dialogue, an order file and a removal a mail
//        floor road MAILS PORT DIR LINES BYTES [required]    the files of an admitted event, and then the same
//
// With "required" it does it with the care that is required of the daemon, and its files are there to be removed.
// PORT is a mail server's on 127.0.0.1, LINES the number of trace lines a mail, BYTES the length of its text. A text
// above 100,000 bytes goes the way of a capture's: it is read from a file, written to another one, and traced. Prints
// one line: wall and CPU microseconds for the whole.
#include "bench/FloorWork.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr unsigned kLargeText = 100000;

struct Job {
    bool admits;
    unsigned mails;
    std::uint16_t port;
    std::string directory;
    unsigned lines;
    unsigned bytes;
    FloorCare care;
};

std::int64_t cpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * std::int64_t{1000000} + usage.ru_utime.tv_usec +
           usage.ru_stime.tv_usec;
}

std::string mailOf(unsigned bytes) {
    std::string text = "Subject: floor\r\n\r\n";
    while (text.size() < bytes) {
        text += std::string(70, 'x') + "\r\n";
    }
    return text;
}

void work(const Job& job) {
    FloorTrace trace(job.directory + "/trace", job.care);
    FloorQueue queue(job.directory, job.mails, job.care);
    const std::string text = mailOf(job.bytes);
    if (text.size() > kLargeText) {
        floorStageLargeMail(job.directory, text);
    }
    for (unsigned number = 0; number < job.mails; ++number) {
        trace.lines(job.lines);
        if (job.admits) {
            queue.admit(number);
        }
        if (text.size() > kLargeText) {
            floorSendLargeMail(job.port, job.directory, trace, job.care);
        } else {
            floorSendMail(job.port, text, job.care);
        }
        queue.remove(number);
    }
}

unsigned number(const char* text) {
    return static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

}  // namespace

int main(int argc, char** argv) {
    const bool required = argc == 8 && std::string_view(argv[7]) == "required";
    const std::string_view mode = argc == 7 || required ? argv[1] : "";
    if (mode != "drain" && mode != "road") {
        std::fputs("usage: floor drain|road MAILS PORT DIR LINES BYTES [required]\n", stderr);
        return 2;
    }
    const Job job{mode == "road",  number(argv[2]), static_cast<std::uint16_t>(number(argv[3])),       argv[4],
                  number(argv[5]), number(argv[6]), required ? FloorCare::kRequired : FloorCare::kBare};
    if (required && !job.admits) {
        FloorQueue(job.directory, 0, job.care).stage(job.mails);
    }
    const std::int64_t cpu = cpuMicroseconds();
    const auto began = std::chrono::steady_clock::now();
    work(job);
    const auto wall =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began).count();
    std::printf("wall_us %lld cpu_us %lld\n", static_cast<long long>(wall),
                static_cast<long long>(cpuMicroseconds() - cpu));
    return 0;
}
