#include "smtp/OrvSMTPConnection.h"

#include "base/OrvSocketLimits.h"
#include "base/OrvText.h"
#include "catalogue/OrvSendReasons.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <cerrno>
#include <cstring>

namespace {

// A command line, which the system takes at once. Longer ones may have to wait.
constexpr std::size_t kLine = 1024;
// Hardly a reply takes longer, and hardly a step is given less: set once, it serves a whole dialogue. Half the patience
// of a stop, so that one that comes meanwhile sees the end of a wait that is then enough: the system may end a wait of
// seconds half a second late.
constexpr std::chrono::milliseconds kUsualWait(2500);

constexpr std::array<const char*, 14> kErrorNames{
    "Okay",
    "SMTP HELO Error",
    "SMTP MAIL FROM Error",
    "SMTP RCPT TO Error",
    "SMTP DATA Error",
    "SMTP DATA END Error",
    orv_reason::kResponse,
    "SMTP RESET error",
    orv_reason::kResolve,
    "Set Network Address Error",
    "Socket Create Error",
    orv_reason::kConnect,
    orv_reason::kSocketClosed,
    "Write Started Error",
};

// Copies an address into the storage.
template <typename Address>
void storeAddress(sockaddr_storage& storage, const Address& address) {
    static_assert(sizeof address <= sizeof storage);
    std::memcpy(&storage, &address, sizeof address);
}

// Length of the address; the port comes into it. An unknown family keeps an empty address, which no socket takes.
socklen_t completeAddress(sockaddr_storage& storage, std::uint32_t port) {
    const auto networkPort = htons(static_cast<std::uint16_t>(port));
    if (storage.ss_family == AF_INET) {
        sockaddr_in address{};
        std::memcpy(&address, &storage, sizeof address);
        address.sin_port = networkPort;
        storeAddress(storage, address);
        return sizeof address;
    }
    if (storage.ss_family == AF_INET6) {
        sockaddr_in6 address{};
        std::memcpy(&address, &storage, sizeof address);
        address.sin6_port = networkPort;
        address.sin6_flowinfo = 0;
        address.sin6_scope_id = 0;
        storeAddress(storage, address);
        return sizeof address;
    }
    return sizeof storage;
}

sockaddr_storage addressOf(const addrinfo& entry) {
    sockaddr_storage storage{};
    const bool known = entry.ai_family == AF_INET || entry.ai_family == AF_INET6;
    if (known && entry.ai_addrlen <= sizeof storage) {
        std::memcpy(&storage, entry.ai_addr, entry.ai_addrlen);
    }
    return storage;
}

// Any kind beside the two literal ones leaves the address without a family. 0 or -1.
int setLiteral(sockaddr_storage& server, const std::string& address, SmtpAddrMode kind, OrvSMTPError& error) {
    int converted = 1;
    if (kind == SmtpAddrMode::kIPv4) {
        sockaddr_in literal{};
        literal.sin_family = AF_INET;
        converted = inet_pton(AF_INET, address.c_str(), &literal.sin_addr);
        storeAddress(server, literal);
    } else if (kind == SmtpAddrMode::kIPv6) {
        sockaddr_in6 literal{};
        literal.sin6_family = AF_INET6;
        converted = inet_pton(AF_INET6, address.c_str(), &literal.sin6_addr);
        storeAddress(server, literal);
    }
    if (converted == 1) {
        return 0;
    }
    error = {OrvSMTPError::kSetAddressError,
             converted == 0 ? "Not a valid network address string" : orvErrorText(errno)};
    return -1;
}

// How a limit that has passed shows.
bool isPassedLimit(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

const char* OrvSMTPError::name() const {
    return kErrorNames.at(static_cast<std::size_t>(code));
}

int OrvSMTPConnection::connect(const std::string& address, std::uint32_t port, SmtpAddrMode kind, Limit limit,
                               OrvSMTPError& error) {
    close();
    if (kind == SmtpAddrMode::kHostName) {
        return connectByName(address, port, limit, error);
    }
    sockaddr_storage server{};
    return setLiteral(server, address, kind, error) < 0 ? -1 : tryConnect(server, port, limit, error);
}

int OrvSMTPConnection::connectByName(const std::string& name, std::uint32_t port, Limit limit, OrvSMTPError& error) {
    OrvSMTPSystem::AddressList list(nullptr, {&system_});
    if (const int failure = system_.lookUp(name, AI_CANONNAME | AI_ADDRCONFIG, list); failure != 0) {
        error = {OrvSMTPError::kResolveError, gai_strerror(failure)};
        return -1;
    }
    for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
        if (tryConnect(addressOf(*entry), port, limit, error) == 0) {
            return 0;
        }
    }
    return -1;
}

// Leaves no socket behind when it fails.
int OrvSMTPConnection::tryConnect(sockaddr_storage server, std::uint32_t port, Limit limit, OrvSMTPError& error) {
    const socklen_t length = completeAddress(server, port);
    socket_.reset(socket(server.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_) {
        error = {OrvSMTPError::kSocketCreateError, orvErrorText(errno)};
        return -1;
    }
    sendLimit_.limit = receiveLimit_.limit = Limit(0);
    if (openConnection(server, length, limit) < 0) {
        const int failure = errno;
        close();
        error = {OrvSMTPError::kConnectError, orvErrorText(failure)};
        return -1;
    }
    connected_ = true;
    return 0;
}

// Connects within the limit and makes the socket wait from then on. 0, or -1 with errno.
int OrvSMTPConnection::openConnection(const sockaddr_storage& server, socklen_t length, Limit limit) {
    const int begun = system_.connect(socket_.get(), reinterpret_cast<const sockaddr*>(&server), length);
    if (begun < 0 && errno != EINPROGRESS && errno != EINTR) {
        return -1;
    }
    if (begun < 0 && orvAwaitConnection(socket_.get(), limit) < 0) {
        return -1;
    }
    // The text and the line that ends it are two sends with no reply between them: with Nagle's algorithm the second
    // would wait for the acknowledgement of the first.
    const int on = 1;
    setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fcntl(socket_.get(), F_SETFL, 0);  // not waiting is all that was set
}

void OrvSMTPConnection::close() {
    socket_.reset();
    connected_ = false;
    limitPassed_ = false;
}

ssize_t OrvSMTPConnection::send(std::string_view bytes) {
    errno = ENOTCONN;
    const ssize_t sent = socket_ ? sendWithin(bytes) : -1;
    if (sent < 0 && errno != EINTR && errno != EMSGSIZE) {
        lose(errno);
    }
    return sent;
}

// A line finds room at once, as good as always: only what has to wait gets its limit set first.
ssize_t OrvSMTPConnection::sendWithin(std::string_view bytes) {
    if (bytes.size() <= kLine) {
        const ssize_t sent = system_.send(socket_.get(), bytes.data(), bytes.size(), OrvSMTPSystem::Waiting::kNever);
        if (sent >= 0 || !isPassedLimit(errno)) {
            return sent;
        }
    }
    bound(sendLimit_, limit_);
    return system_.send(socket_.get(), bytes.data(), bytes.size(), OrvSMTPSystem::Waiting::kAllowed);
}

int OrvSMTPConnection::receive() {
    if (!socket_) {
        return lose(ENOTCONN);
    }
    const ssize_t got = receiveWithin();
    if (got <= 0) {
        return lose(errno);
    }
    receivedSize_ = static_cast<std::size_t>(got);
    received_[receivedSize_] = '\0';
    return 0;
}

int OrvSMTPConnection::receiveBy(TimePoint due) {
    const Limit left = std::chrono::ceil<Limit>(due - system_.now());
    if (left <= Limit(0)) {
        return lose(EAGAIN);
    }
    limit_ = left;
    return receive();
}

// Only who takes longer than usual is waited for in two parts.
ssize_t OrvSMTPConnection::receiveWithin() {
    const Limit usual = std::min<Limit>(limit_, kUsualWait);
    bound(receiveLimit_, usual);
    const ssize_t got = receiveOnce();
    if (got >= 0 || !isPassedLimit(errno) || limit_ == usual || (enough_ != nullptr && *enough_)) {
        return got;
    }
    bound(receiveLimit_, limit_ - usual);
    return receiveOnce();
}

ssize_t OrvSMTPConnection::receiveOnce() {
    ssize_t got = -1;
    do {
        errno = 0;  // a connection closed in order has no error: its text is then the one for success
        got = system_.receive(socket_.get(), received_.data(), received_.size() - 1);
    } while (got < 0 && errno == EINTR);
    return got;
}

void OrvSMTPConnection::bound(SetLimit& set, Limit limit) {
    if (set.limit != limit) {
        set.limit = limit;
        system_.bound(socket_.get(), set.option, limit);
    }
}

// -1 with errno; for everybody else a passed limit is a connection that timed out.
int OrvSMTPConnection::lose(int error) {
    connected_ = false;
    limitPassed_ = isPassedLimit(error);
    errno = limitPassed_ ? ETIMEDOUT : error;
    return -1;
}
