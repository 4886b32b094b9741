// A mail server that takes everything and keeps nothing, to measure clients against.
//
// Usage: mail_sink PORTFILE [PORT]
//
// With a port it stands there instead of on a free one. On SIGUSR1 it holds its greetings back, on SIGUSR2 it says
// those that it owes and goes on: so that a client's mails can pile up. PORTFILE.mails holds the number of mails taken
// until now.
//
// Listens on a free port of 127.0.0.1 and writes the port's number into PORTFILE. On SIGTERM it prints one line:
// mails taken, the monotonic clock's microseconds at the end of the first and of the last one, the longest dialogue in
// microseconds (from the greeting to the end of the connection), and the bytes of all texts.
#include "Descriptor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using TimePoint = std::chrono::steady_clock::time_point;

volatile std::sig_atomic_t stop = 0;
volatile std::sig_atomic_t held = 0;

std::int64_t microseconds(TimePoint from, TimePoint to) {
    return std::chrono::duration_cast<std::chrono::microseconds>(to - from).count();
}

std::int64_t sinceStart(TimePoint time) {
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

struct Totals {
    std::uint64_t mails = 0;
    std::uint64_t bytes = 0;
    TimePoint first;
    TimePoint last;
    std::int64_t longest = 0;
    Descriptor counter;  // the file that shows how many mails were taken

    void show() const {
        const std::string text = std::to_string(mails) + "\n";
        (void)!pwrite(counter.get(), text.data(), text.size(), 0);
    }
};

// One connection: what has been read and not understood yet, and whether a text is being taken.
class Session {
public:
    explicit Session(Descriptor fd) : fd_(std::move(fd)) {}

    // Says the greeting, unless that was done or greetings are held back.
    void greet() {
        if (!greeted_ && held == 0) {
            greeted_ = true;
            began_ = std::chrono::steady_clock::now();
            say("220 sink\r\n");
        }
    }

    // False when the connection is over.
    bool serve(Totals& totals) {
        char buffer[65536];
        const ssize_t got = recv(fd_.get(), buffer, sizeof buffer, 0);
        if (got <= 0) {
            return false;
        }
        input_.append(buffer, static_cast<std::size_t>(got));
        return inText_ ? takeText(totals) : takeLines(totals);
    }

    TimePoint began() const { return began_; }

private:
    void say(std::string_view text) { (void)!send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL); }

    bool takeLines(Totals& totals) {
        std::size_t end = 0;
        while (!inText_ && (end = input_.find("\r\n")) != std::string::npos) {
            const std::string line = input_.substr(0, end);
            input_.erase(0, end + 2);
            if (!answer(line)) {
                return false;
            }
        }
        return !inText_ || input_.empty() || takeText(totals);
    }

    bool answer(const std::string& line) {
        if (line.starts_with("DATA")) {
            inText_ = true;
            say("354 go on\r\n");
            return true;
        }
        if (line.starts_with("QUIT")) {
            say("221 bye\r\n");
            return false;
        }
        say("250 ok\r\n");
        return true;
    }

    bool takeText(Totals& totals) {
        constexpr std::string_view kEnd = "\r\n.\r\n";
        const std::size_t end = input_.find(kEnd, searched_);
        if (end == std::string::npos) {
            searched_ = input_.size() > kEnd.size() ? input_.size() - kEnd.size() : 0;
            return true;
        }
        totals.bytes += end;
        input_.erase(0, end + kEnd.size());
        searched_ = 0;
        inText_ = false;
        say("250 taken\r\n");
        totals.last = std::chrono::steady_clock::now();
        if (totals.mails++ == 0) {
            totals.first = totals.last;
        }
        totals.show();
        return takeLines(totals);
    }

    Descriptor fd_;
    bool greeted_ = false;
    TimePoint began_;
    std::string input_;
    std::size_t searched_ = 0;
    bool inText_ = false;
};

// None when that cannot be done.
Descriptor listenOn(std::uint16_t port, const char* portFile) {
    Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    const int on = 1;
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) < 0 ||
        bind(fd.get(), generic, length) < 0 || listen(fd.get(), 128) < 0 ||
        getsockname(fd.get(), generic, &length) < 0) {
        std::perror("mail_sink");
        return {};
    }
    const std::string unfinished = std::string(portFile) + ".new";
    FILE* out = std::fopen(unfinished.c_str(), "w");
    if (out == nullptr) {
        std::perror(portFile);
        return {};
    }
    std::fprintf(out, "%d\n", ntohs(address.sin_port));
    std::fclose(out);
    return std::rename(unfinished.c_str(), portFile) == 0 ? std::move(fd) : Descriptor();
}

void accept(int listener, std::map<int, Session>& sessions) {
    Descriptor accepted(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (accepted) {
        const int fd = accepted.get();
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        sessions.emplace(fd, Session(std::move(accepted))).first->second.greet();
    }
}

void greetAll(std::map<int, Session>& sessions) {
    for (auto& [fd, session] : sessions) {
        session.greet();
    }
}

void serveAll(int listener, Totals& totals) {
    std::map<int, Session> sessions;
    std::vector<pollfd> polled;
    while (stop == 0) {
        polled.assign(1, {listener, POLLIN, 0});
        for (const auto& [fd, session] : sessions) {
            polled.push_back({fd, POLLIN, 0});
        }
        // A signal that comes just before is seen a moment later.
        if (poll(polled.data(), polled.size(), 1000) < 0) {
            greetAll(sessions);
            continue;
        }
        if (polled[0].revents != 0) {
            accept(listener, sessions);
        }
        for (std::size_t i = 1; i < polled.size(); ++i) {
            const auto found = sessions.find(polled[i].fd);
            if (polled[i].revents != 0 && !found->second.serve(totals)) {
                const std::int64_t took = microseconds(found->second.began(), std::chrono::steady_clock::now());
                totals.longest = std::max(totals.longest, took);
                sessions.erase(found);
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fputs("usage: mail_sink PORTFILE [PORT]\n", stderr);
        return 2;
    }
    struct sigaction action {};
    action.sa_handler = [](int) { stop = 1; };
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = [](int) { held = 1; };
    sigaction(SIGUSR1, &action, nullptr);
    action.sa_handler = [](int) { held = 0; };
    sigaction(SIGUSR2, &action, nullptr);
    const auto port = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
    const Descriptor listener = listenOn(static_cast<std::uint16_t>(port), argv[1]);
    if (!listener) {
        return 1;
    }
    Totals totals;
    totals.counter.reset(
        open((std::string(argv[1]) + ".mails").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    totals.show();
    serveAll(listener.get(), totals);
    std::printf("mails %llu first_us %lld last_us %lld longest_us %lld bytes %llu\n",
                static_cast<unsigned long long>(totals.mails), static_cast<long long>(sinceStart(totals.first)),
                static_cast<long long>(sinceStart(totals.last)), static_cast<long long>(totals.longest),
                static_cast<unsigned long long>(totals.bytes));
    return 0;
}
