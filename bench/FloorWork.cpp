#include "bench/FloorWork.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

// What an event's file and its state block hold, in bytes and shape.
const std::string kMessage(600, 'm');
constexpr std::string_view kStateBlock =
    "<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\npersistRepostPeriod = 86400\nmarkedForDeletion = 0\n"
    "expire = -1\n</OrvCHMesgQ>\n";
constexpr std::size_t kTurnOverAbove = 20224;
constexpr timeval kReplyLimit{5, 0};
constexpr int kConnectLimitMs = 300000;
constexpr char kTraceText[] =
    "what a line of the trace says, as long as such lines are, the state of the queues among them";

[[noreturn]] void die(const char* what) {
    std::perror(what);
    std::exit(1);
}

Descriptor openWithoutLinks(const std::string& path, int flags) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.mode = (flags & O_CREAT) != 0 ? 0666 : 0;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return Descriptor(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

// A file that is opened so is new, and needs no look.
Descriptor openFile(const std::string& path, int flags, FloorCare care) {
    Descriptor fd = care == FloorCare::kRequired ? openWithoutLinks(path, flags)
                                                 : Descriptor(open(path.c_str(), flags | O_CLOEXEC, 0666));
    if (!fd) {
        die(path.c_str());
    }
    struct stat status {};
    if (care == FloorCare::kRequired && (flags & (O_PATH | O_EXCL)) == 0 &&
        (fstat(fd.get(), &status) < 0 || !S_ISREG(status.st_mode) || status.st_nlink > 1)) {
        die(path.c_str());
    }
    return fd;
}

void writeAll(int fd, const void* data, std::size_t size) {
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        die("write");
    }
}

void writeFile(const std::string& path, int flags, std::string_view text, FloorCare care) {
    const Descriptor fd = openFile(path, flags | O_WRONLY, care);
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

FloorTrace::FloorTrace(const std::string& path, FloorCare care) : care_(care) {
    paths_[0] = path;
    for (std::size_t generation = 1; generation < paths_.size(); ++generation) {
        paths_[generation] = path + "." + std::to_string(generation);
    }
    begin();
}

void FloorTrace::begin() {
    fd_ = openFile(paths_[0], O_WRONLY | O_CREAT | O_TRUNC, care_);
    size_ = 0;
}

void FloorTrace::wrote(std::size_t bytes) {
    size_ += bytes;
    if (care_ == FloorCare::kRequired && size_ > kTurnOverAbove) {
        turnOver();
    }
}

// The first times there is not yet a file of each generation.
void FloorTrace::turnOver() {
    fd_.reset();
    for (std::size_t at = paths_.size() - 1; at-- > 0;) {
        if (rename(paths_[at].c_str(), paths_[at + 1].c_str()) < 0 && errno != ENOENT) {
            die("rename");
        }
    }
    begin();
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
    wrote(line.size());
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
    wrote(start.size() + text.size());
}

FloorQueue::FloorQueue(std::string directory, unsigned waiting, FloorCare care)
    : care_(care), directory_(std::move(directory)), order_(waiting + 1, 0) {
}

void FloorQueue::stage(unsigned messages) const {
    for (unsigned number = 0; number < messages; ++number) {
        writeFile(pathOf(number), O_CREAT | O_TRUNC, kMessage, FloorCare::kBare);
    }
}

void FloorQueue::writeOrder(bool shorter) const {
    const Descriptor fd = openFile(directory_ + "/order", O_RDWR | O_CREAT, care_);
    const std::size_t size = order_.size() * sizeof order_[0];
    writeAll(fd.get(), order_.data(), size);
    if (shorter && ftruncate(fd.get(), static_cast<off_t>(size)) < 0) {
        die("ftruncate");
    }
}

void FloorQueue::admit(unsigned number) {
    writeFile(pathOf(number), O_CREAT | (care_ == FloorCare::kRequired ? O_EXCL : O_TRUNC), kMessage, care_);
    order_.push_back(number);
    order_[0] = static_cast<std::uint32_t>(order_.size() - 1);
    writeOrder(false);
    writeFile(pathOf(number), O_APPEND, kStateBlock, care_);
}

void FloorQueue::remove(unsigned number) {
    order_.pop_back();
    writeOrder(true);
    if (care_ == FloorCare::kBare) {
        unlink(pathOf(number).c_str());
    } else {
        const Descriptor place = openFile(directory_, O_PATH | O_DIRECTORY, care_);
        unlinkat(place.get(), ("m" + std::to_string(number)).c_str(), 0);
    }
}

namespace {

// Connects within a limit, and has replies come within one.
void connectWithin(int fd, const sockaddr_in& server) {
    pollfd writable{fd, POLLOUT, 0};
    int error = 0;
    socklen_t size = sizeof error;
    if ((connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) < 0 && errno != EINPROGRESS) ||
        poll(&writable, 1, kConnectLimitMs) <= 0 || getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) < 0 ||
        error != 0 || fcntl(fd, F_SETFL, 0) < 0 ||
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReplyLimit, sizeof kReplyLimit) < 0) {
        die("connect");
    }
}

Descriptor openDialogue(std::uint16_t port, FloorCare care) {
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool limited = care == FloorCare::kRequired;
    Descriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | (limited ? SOCK_NONBLOCK : 0), 0));
    const int on = 1;
    if (!fd) {
        die("socket");
    }
    if (limited) {
        connectWithin(fd.get(), server);
    }
    if ((!limited && connect(fd.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) < 0) ||
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

std::string readFile(const std::string& path, FloorCare care) {
    const Descriptor fd = openFile(path, O_RDONLY, care);
    std::string text(static_cast<std::size_t>(lseek(fd.get(), 0, SEEK_END)), '\0');
    if (pread(fd.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        die("read");
    }
    return text;
}

}  // namespace

void floorSendMail(std::uint16_t port, std::string_view text, FloorCare care) {
    const Descriptor fd = openDialogue(port, care);
    say(fd.get(), text);
    endDialogue(fd);
}

void floorStageLargeMail(const std::string& directory, std::string_view text) {
    writeFile(directory + "/large", O_CREAT | O_TRUNC, text, FloorCare::kBare);
}

void floorSendLargeMail(std::uint16_t port, const std::string& directory, FloorTrace& trace, FloorCare care) {
    const Descriptor fd = openDialogue(port, care);
    const std::string text = readFile(directory + "/large", care);
    writeFile(directory + "/copy", O_CREAT | O_TRUNC, text, care);
    trace.text(text);
    say(fd.get(), text);
    endDialogue(fd);
}
