#include "sync/OrvSyncSocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Calls again after a signal. A passed limit shows as "try again": for everybody else it is a peer that timed out.
template <typename Call>
ssize_t persistently(Call call) {
    ssize_t result = -1;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    if (result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        errno = ETIMEDOUT;
    }
    return result;
}

timeval toTimeval(std::chrono::milliseconds span) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
    value.tv_usec = static_cast<decltype(value.tv_usec)>((span - seconds).count() * 1000);
    return value;
}

}  // namespace

void OrvSyncSocket::take(int descriptor) {
    end();
    descriptor_ = descriptor;
}

void OrvSyncSocket::end() {
    if (descriptor_ > 0) {
        shutdown(descriptor_, SHUT_RDWR);
        close(descriptor_);
    }
    descriptor_ = kNone;
}

void OrvSyncSocket::prepare(std::chrono::milliseconds limit) const {
    const timeval value = toTimeval(limit);
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value);
    setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
    const int on = 1;
    setsockopt(descriptor_, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

ssize_t OrvSyncSocket::send(std::span<const std::uint8_t> bytes, int flags) const {
    return persistently([&] { return ::send(descriptor_, bytes.data(), bytes.size(), flags | MSG_NOSIGNAL); });
}

ssize_t OrvSyncSocket::sendFile(int file, std::size_t count) const {
    return persistently([&] { return sendfile(descriptor_, file, nullptr, count); });
}

ssize_t OrvSyncSocket::receive(std::span<std::uint8_t> bytes, int flags) const {
    return persistently([&] { return recv(descriptor_, bytes.data(), bytes.size(), flags); });
}

ssize_t OrvSyncSocket::awaitAndReceive(std::span<std::uint8_t> bytes, int flags) const {
    ssize_t got = -1;
    do {
        got = recv(descriptor_, bytes.data(), bytes.size(), flags);
    } while (got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK));
    return got;
}

OrvSyncFile::~OrvSyncFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

int OrvSyncFile::write(std::span<const std::uint8_t> bytes) const {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written < 0 ? errno : EIO;
            return -1;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return 0;
}
