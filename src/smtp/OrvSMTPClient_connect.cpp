// How the client gets at an address and connects to it, and what it calls itself.
#include "smtp/OrvSMTPClient.h"

#include "base/OrvText.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

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

}  // namespace

int OrvSMTPClient::connectServer(const std::string& address, std::uint32_t port, SmtpAddrMode kind) {
    startAfresh();
    disconnect();
    server_ = {};
    if (kind == SmtpAddrMode::kHostName) {
        if (connectByName(address, port) < 0) {
            return -1;
        }
    } else {
        if (setLiteral(address, kind) < 0) {
            return -1;
        }
        tryConnect(port);
    }
    if (!connected_) {
        return -1;
    }
    limitSteps(timeouts_.greeting);
    return recvResponse();
}

int OrvSMTPClient::resolve(const std::string& name, int flags, AddressList& list) {
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    if (const int error = system_.resolve(name.c_str(), hints, &first); error != 0) {
        return fail(kResolveError, gai_strerror(error));
    }
    list.reset(first);
    return 0;
}

// 0 also when no address could be connected to.
int OrvSMTPClient::connectByName(const std::string& name, std::uint32_t port) {
    AddressList list(nullptr, {&system_});
    if (resolve(name, AI_CANONNAME | AI_ADDRCONFIG, list) < 0) {
        return -1;
    }
    for (const addrinfo* entry = list.get(); entry != nullptr && !connected_; entry = entry->ai_next) {
        server_ = addressOf(*entry);
        tryConnect(port);
    }
    return 0;
}

// Any kind beside the two literal ones leaves the address without a family.
int OrvSMTPClient::setLiteral(const std::string& address, SmtpAddrMode kind) {
    int converted = 1;
    if (kind == SmtpAddrMode::kIPv4) {
        sockaddr_in literal{};
        literal.sin_family = AF_INET;
        converted = inet_pton(AF_INET, address.c_str(), &literal.sin_addr);
        storeAddress(server_, literal);
    } else if (kind == SmtpAddrMode::kIPv6) {
        sockaddr_in6 literal{};
        literal.sin6_family = AF_INET6;
        converted = inet_pton(AF_INET6, address.c_str(), &literal.sin6_addr);
        storeAddress(server_, literal);
    }
    if (converted == 1) {
        return 0;
    }
    return fail(kSetAddressError, converted == 0 ? "Not a valid network address string" : orvErrorText(errno));
}

// Connects to the server address, or leaves the reason and no socket behind.
void OrvSMTPClient::tryConnect(std::uint32_t port) {
    const socklen_t length = completeAddress(server_, port);
    connected_ = false;
    socket_.reset(socket(server_.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket_) {
        fail(kSocketCreateError, orvErrorText(errno));
        return;
    }
    limit_ = {};
    if (openConnection(length) < 0) {
        const int error = errno;
        disconnect();
        fail(kConnectError, orvErrorText(error));
        return;
    }
    connected_ = true;
}

// Connects within the limit and makes the socket wait from then on. 0, or -1 with errno.
int OrvSMTPClient::openConnection(socklen_t length) {
    const int begun = system_.connect(socket_.get(), reinterpret_cast<const sockaddr*>(&server_), length);
    if (begun < 0 && errno != EINPROGRESS && errno != EINTR) {
        return -1;
    }
    if (begun < 0 && awaitConnection() < 0) {
        return -1;
    }
    // The text and the line that ends it are two sends with no reply between them: with Nagle's algorithm the second
    // would wait for the acknowledgement of the first.
    const int on = 1;
    setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fcntl(socket_.get(), F_SETFL, fcntl(socket_.get(), F_GETFL) & ~O_NONBLOCK);
}

// Waits for the connect that is in progress. 0, or -1 with errno.
int OrvSMTPClient::awaitConnection() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + timeouts_.connect;
    pollfd writable{socket_.get(), POLLOUT, 0};
    int ready = -1;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        ready = poll(&writable, 1, std::max(0, static_cast<int>(left.count())));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
        errno = ETIMEDOUT;
    }
    if (ready <= 0) {
        return -1;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size) < 0) {
        return -1;
    }
    errno = error;
    return error == 0 ? 0 : -1;
}

int OrvSMTPClient::identityText(const std::string& identity, SmtpAddrMode kind, std::string& text) {
    switch (kind) {
        case SmtpAddrMode::kIPv4:
            text = "[" + identity + "]";
            return 0;
        case SmtpAddrMode::kIPv6:
            text = "[IPv6:" + identity + "]";
            return 0;
        case SmtpAddrMode::kHostName:
            return canonicalName(identity, text);
        default:
            text.clear();
            return 0;
    }
}

int OrvSMTPClient::canonicalName(const std::string& name, std::string& text) {
    AddressList list(nullptr, {&system_});
    if (resolve(name, AI_CANONNAME, list) < 0) {
        return -1;
    }
    const bool known = list != nullptr && list->ai_canonname != nullptr;
    text = known ? list->ai_canonname : name;
    return 0;
}

void OrvSMTPClient::disconnect() {
    socket_.reset();
    connected_ = false;
    limitPassed_ = false;
}
