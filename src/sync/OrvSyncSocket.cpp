#include "sync/OrvSyncSocket.h"

#include "base/OrvSocketLimits.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

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

}  // namespace

void OrvSyncSocket::take(Descriptor descriptor) {
    end();
    descriptor_ = std::move(descriptor);
}

void OrvSyncSocket::end() {
    if (descriptor_.get() > 0) {
        shutdown(descriptor_.get(), SHUT_RDWR);
        descriptor_.reset();
    } else {
        [[maybe_unused]] const int leftOpen = descriptor_.release();
    }
}

void OrvSyncSocket::prepare(std::chrono::milliseconds limit) const {
    orvBoundSocket(descriptor_.get(), SO_RCVTIMEO, limit);
    orvBoundSocket(descriptor_.get(), SO_SNDTIMEO, limit);
    const int on = 1;
    setsockopt(descriptor_.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(descriptor_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

ssize_t OrvSyncSocket::send(std::span<const std::uint8_t> bytes, int flags) const {
    return persistently([&] { return ::send(descriptor_.get(), bytes.data(), bytes.size(), flags | MSG_NOSIGNAL); });
}

ssize_t OrvSyncSocket::sendFile(int file, std::size_t count) const {
    return persistently([&] { return sendfile(descriptor_.get(), file, nullptr, count); });
}

ssize_t OrvSyncSocket::receive(std::span<std::uint8_t> bytes, int flags) const {
    return persistently([&] { return recv(descriptor_.get(), bytes.data(), bytes.size(), flags); });
}

ssize_t OrvSyncSocket::awaitAndReceive(std::span<std::uint8_t> bytes, int flags) const {
    ssize_t got = -1;
    do {
        got = recv(descriptor_.get(), bytes.data(), bytes.size(), flags);
    } while (got < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK));
    return got;
}
