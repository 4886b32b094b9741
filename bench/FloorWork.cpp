#include "bench/FloorWork.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

// What an event's file and its state block hold, in bytes and shape.
const std::string kMessage(600, 'm');
constexpr std::string_view kStateBlock =
    "<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\npersistRepostPeriod = 86400\nmarkedForDeletion = 0\n"
    "expire = -1\n</OrvCHMesgQ>\n";
constexpr char kTraceText[] = "what a line of the trace says, about as long as such lines are";

[[noreturn]] void die(const char* what) {
    std::perror(what);
    std::exit(1);
}

Descriptor openFile(const std::string& path, int flags) {
    Descriptor fd(open(path.c_str(), flags | O_CLOEXEC, 0666));
    if (!fd) {
        die(path.c_str());
    }
    return fd;
}

void writeAll(int fd, const void* data, std::size_t size) {
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        die("write");
    }
}

void writeFile(const std::string& path, int flags, std::string_view text) {
    const Descriptor fd = openFile(path, flags | O_WRONLY);
    writeAll(fd.get(), text.data(), text.size());
}

void say(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            die("send");
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void takeReply(int fd) {
    char reply[1024];
    if (recv(fd, reply, sizeof reply, 0) <= 0) {
        die("recv");
    }
}

void ask(int fd, std::string_view text) {
    say(fd, text);
    takeReply(fd);
}

}  // namespace

FloorTrace::FloorTrace(const std::string& path) : fd_(openFile(path, O_WRONLY | O_CREAT | O_TRUNC)) {
}

std::string FloorTrace::prefix() {
    timeval now{};
    gettimeofday(&now, nullptr);
    if (now.tv_sec != second_) {
        second_ = now.tv_sec;
        tm parts{};
        localtime_r(&second_, &parts);
        (void)std::strftime(date_, sizeof date_, "%m/%d/%Y %Z %X", &parts);
    }
    char buffer[96];
    const int length = std::snprintf(buffer, sizeof buffer, "%s.%03ld  %d Floor line: ", date_,
                                     static_cast<long>(now.tv_usec / 1000), getpid());
    return {buffer, static_cast<std::size_t>(length)};
}

void FloorTrace::line(const char* text) {
    std::string line = prefix();
    line += text;
    line += '\n';
    writeAll(fd_.get(), line.data(), line.size());
}

void FloorTrace::lines(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        line(kTraceText);
    }
}

void FloorTrace::text(std::string_view text) {
    std::string start = prefix();
    iovec parts[] = {{start.data(), start.size()}, {const_cast<char*>(text.data()), text.size()}};
    if (writev(fd_.get(), parts, 2) != static_cast<ssize_t>(start.size() + text.size())) {
        die("writev");
    }
}

FloorQueue::FloorQueue(std::string directory, unsigned waiting)
    : directory_(std::move(directory)), order_(waiting + 1, 0) {
}

void FloorQueue::writeOrder() const {
    const Descriptor fd = openFile(directory_ + "/order", O_RDWR | O_CREAT);
    const std::size_t size = order_.size() * sizeof order_[0];
    writeAll(fd.get(), order_.data(), size);
    if (ftruncate(fd.get(), static_cast<off_t>(size)) < 0) {
        die("ftruncate");
    }
}

void FloorQueue::admit(unsigned number) {
    writeFile(pathOf(number), O_CREAT | O_TRUNC, kMessage);
    order_.push_back(number);
    order_[0] = static_cast<std::uint32_t>(order_.size() - 1);
    writeOrder();
    writeFile(pathOf(number), O_APPEND, kStateBlock);
}

void FloorQueue::remove(unsigned number) {
    order_.pop_back();
    writeOrder();
    unlink(pathOf(number).c_str());
}

namespace {

Descriptor openDialogue(std::uint16_t port) {
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    if (!fd || connect(fd.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) < 0 ||
        setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) < 0) {
        die("connect");
    }
    takeReply(fd.get());  // the greeting
    ask(fd.get(), "EHLO [127.0.0.1]\r\n");
    ask(fd.get(), "MAIL FROM:<switch@example.com>\r\n");
    ask(fd.get(), "RCPT TO:<operator@example.com>\r\n");
    ask(fd.get(), "DATA\r\n");
    return fd;
}

// It closes with its owner.
void endDialogue(const Descriptor& fd) {
    ask(fd.get(), ".\r\n");
    ask(fd.get(), "QUIT\r\n");
}

std::string readFile(const std::string& path) {
    const Descriptor fd = openFile(path, O_RDONLY);
    std::string text(static_cast<std::size_t>(lseek(fd.get(), 0, SEEK_END)), '\0');
    if (pread(fd.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        die("read");
    }
    return text;
}

}  // namespace

void floorSendMail(std::uint16_t port, std::string_view text) {
    const Descriptor fd = openDialogue(port);
    say(fd.get(), text);
    endDialogue(fd);
}

void floorStageLargeMail(const std::string& directory, std::string_view text) {
    writeFile(directory + "/large", O_CREAT | O_TRUNC, text);
}

void floorSendLargeMail(std::uint16_t port, const std::string& directory, FloorTrace& trace) {
    const Descriptor fd = openDialogue(port);
    const std::string text = readFile(directory + "/large");
    writeFile(directory + "/copy", O_CREAT | O_TRUNC, text);
    trace.text(text);
    say(fd.get(), text);
    endDialogue(fd);
}
