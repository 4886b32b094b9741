// The floor that the daemon is measured against: the same system calls for the same work, and nothing else.
//
// Usage: floor deliver MAILS PORT DIR LINES BYTES   one SMTP dialogue and one entry's removal a mail
//        floor admit EVENTS DIR LINES WAITING       the two file writes of an admitted event
//        floor trace LINES DIR                      trace lines with a date composed once a second
//
// LINES is the number of trace lines per mail or event, BYTES the length of a mail's text, WAITING the number of
// entries that the order file lists. Prints one line: wall and CPU microseconds for the whole, and the rate.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace {

[[noreturn]] void die(const char* what) {
    std::perror(what);
    std::exit(1);
}

void writeAll(int fd, const void* data, std::size_t size) {
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        die("write");
    }
}

// One write a line; the date is composed when the second changes.
class Trace {
public:
    explicit Trace(const std::string& path) : fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666)) {
        if (fd_ < 0) {
            die(path.c_str());
        }
    }
    ~Trace() { close(fd_); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void line(const char* text) {
        timeval now{};
        gettimeofday(&now, nullptr);
        if (now.tv_sec != second_) {
            second_ = now.tv_sec;
            tm parts{};
            localtime_r(&second_, &parts);
            std::strftime(date_, sizeof date_, "%m/%d/%Y %Z %X", &parts);
        }
        char buffer[512];
        const int length = std::snprintf(buffer, sizeof buffer, "%s.%03ld  %d %s %s: %s\n", date_,
                                         static_cast<long>(now.tv_usec / 1000), getpid(), "Floor", "line", text);
        writeAll(fd_, buffer, static_cast<std::size_t>(length));
    }

private:
    int fd_;
    std::time_t second_ = -1;
    char date_[32] = "";
};

// The order file, written whole and cut to its length.
void writeOrder(const std::string& directory, const std::vector<std::uint32_t>& order) {
    const int fd = open((directory + "/order").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) {
        die("order");
    }
    const std::size_t size = order.size() * sizeof order[0];
    writeAll(fd, order.data(), size);
    if (ftruncate(fd, static_cast<off_t>(size)) < 0) {
        die("ftruncate");
    }
    close(fd);
}

void writeFile(const std::string& path, int flags, std::string_view text) {
    const int fd = open(path.c_str(), flags | O_WRONLY | O_CLOEXEC, 0666);
    if (fd < 0) {
        die(path.c_str());
    }
    writeAll(fd, text.data(), text.size());
    close(fd);
}

std::string entryPath(const std::string& directory, unsigned number) {
    return directory + "/m" + std::to_string(number);
}

void say(int fd, std::string_view text) {
    if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) {
        die("send");
    }
}

void ask(int fd, std::string_view text) {
    say(fd, text);
    char reply[1024];
    if (recv(fd, reply, sizeof reply, 0) <= 0) {
        die("recv");
    }
}

void sendMail(const sockaddr_in& server, const std::string& text) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) < 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) < 0) {
        die("connect");
    }
    ask(fd, "");  // the greeting
    ask(fd, "EHLO [127.0.0.1]\r\n");
    ask(fd, "MAIL FROM:<switch@example.com>\r\n");
    ask(fd, "RCPT TO:<operator@example.com>\r\n");
    ask(fd, "DATA\r\n");
    say(fd, text);
    ask(fd, ".\r\n");
    ask(fd, "QUIT\r\n");
    close(fd);
}

constexpr char kStateBlock[] =
    "<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\npersistRepostPeriod = 86400\nmarkedForDeletion = 0\n"
    "expire = -1\n</OrvCHMesgQ>\n";

void admit(unsigned events, const std::string& directory, unsigned lines, unsigned waiting) {
    Trace trace(directory + "/trace");
    const std::string message(400, 'm');
    std::vector<std::uint32_t> order(waiting + 1, 0);
    for (unsigned number = 0; number < events; ++number) {
        for (unsigned i = 0; i < lines; ++i) {
            trace.line("entry added to the send queue, which is about as long as such lines are");
        }
        const std::string path = entryPath(directory, number);
        writeFile(path, O_CREAT | O_TRUNC, message);
        order.push_back(number);
        order[0] = static_cast<std::uint32_t>(order.size() - 1);
        writeOrder(directory, order);
        writeFile(path, O_APPEND, kStateBlock);
    }
}

void deliver(unsigned mails, unsigned port, const std::string& directory, unsigned lines, unsigned bytes) {
    Trace trace(directory + "/trace");
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<std::uint16_t>(port));
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string text = "Subject: floor\r\n\r\n" + std::string(bytes, 'x') + "\r\n";
    std::vector<std::uint32_t> order(mails + 1, 0);
    for (unsigned number = 0; number < mails; ++number) {
        for (unsigned i = 0; i < lines; ++i) {
            trace.line("a line of a dialogue with a mail server, about as long as such lines are");
        }
        sendMail(server, text);
        order.pop_back();
        writeOrder(directory, order);
        unlink(entryPath(directory, number).c_str());
    }
}

std::int64_t cpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * std::int64_t{1000000} + usage.ru_utime.tv_usec +
           usage.ru_stime.tv_usec;
}

template <typename Work>
void measure(unsigned count, Work&& work) {
    const std::int64_t cpu = cpuMicroseconds();
    const auto began = std::chrono::steady_clock::now();
    work();
    const auto wall =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began).count();
    std::printf("wall_us %lld cpu_us %lld per_second %.0f\n", static_cast<long long>(wall),
                static_cast<long long>(cpuMicroseconds() - cpu), 1e6 * count / static_cast<double>(wall));
}

unsigned number(const char* text) {
    return static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "deliver" && argc == 7) {
        measure(number(argv[2]),
                [&] { deliver(number(argv[2]), number(argv[3]), argv[4], number(argv[5]), number(argv[6])); });
    } else if (mode == "admit" && argc == 6) {
        measure(number(argv[2]), [&] { admit(number(argv[2]), argv[3], number(argv[4]), number(argv[5])); });
    } else if (mode == "trace" && argc == 4) {
        measure(number(argv[2]), [&] {
            Trace trace(std::string(argv[3]) + "/trace");
            for (unsigned i = 0; i < number(argv[2]); ++i) {
                trace.line("entry added to the send queue");
            }
        });
    } else {
        std::fputs(
            "usage: floor deliver MAILS PORT DIR LINES BYTES | admit EVENTS DIR LINES WAITING | trace LINES DIR\n",
            stderr);
        return 2;
    }
    return 0;
}
