// Sockets and names as a box has them: every connection leads to a model.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace box {

#if __SIZEOF_POINTER__ == 8
#define BOX_SETSOCKOPT "setsockopt"
#define BOX_GETSOCKOPT "getsockopt"
#define BOX_FCNTL "fcntl64"
#else
#define BOX_SETSOCKOPT "__setsockopt64"
#define BOX_GETSOCKOPT "__getsockopt64"
#define BOX_FCNTL "__fcntl_time64"
#endif

BOX_CALL(int, socketOpen, "socket", (int family, int type, int protocol))
BOX_CALL(int, socketConnect, "connect", (int file, const sockaddr* address, socklen_t length))
BOX_CALL(ssize_t, socketSend, "send", (int file, const void* bytes, std::size_t size, int flags))
BOX_CALL(ssize_t, socketReceive, "recv", (int file, void* bytes, std::size_t size, int flags))
BOX_CALL(int, socketSet, BOX_SETSOCKOPT, (int file, int level, int name, const void* value, socklen_t size))
BOX_CALL(int, socketGet, BOX_GETSOCKOPT, (int file, int level, int name, void* value, socklen_t* size))
BOX_CALL(int, fileControl, BOX_FCNTL, (int file, int command, long argument))
BOX_CALL(int, resolveName, "getaddrinfo",
         (const char* name, const char* service, const addrinfo* hints, addrinfo** list))
BOX_CALL(void, freeNames, "freeaddrinfo", (addrinfo * list))

void keepNetworkCalls() {
}

namespace {

int fails(int error) {
    errno = error;
    return -1;
}

std::shared_ptr<Connection> connectionOf(const Box* box, int file) {
    return box == nullptr ? nullptr : std::dynamic_pointer_cast<Connection>(box->file(file));
}

// As the model servers' addresses are written; empty for a family that a box does not have.
std::string addressText(const sockaddr_storage& address, std::uint16_t& port) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET) {
        sockaddr_in known{};
        std::memcpy(&known, &address, sizeof known);
        port = ntohs(known.sin_port);
        inet_ntop(AF_INET, &known.sin_addr, text, sizeof text);
    } else if (address.ss_family == AF_INET6) {
        sockaddr_in6 known{};
        std::memcpy(&known, &address, sizeof known);
        port = ntohs(known.sin6_port);
        inet_ntop(AF_INET6, &known.sin6_addr, text, sizeof text);
    }
    return text;
}

struct Resolved {
    addrinfo entry{};
    sockaddr_in address{};
    char name[256] = {};
};

struct Readable final : Condition {
    explicit Readable(const Connection& its) : connection(its) {}
    bool holds(Time now) override { return (now_ = now, (connection.ready(now) & POLLIN) != 0); }
    Time due() const override { return connection.due(now_); }
    const Connection& connection;

private:
    Time now_ = 0;
};

}  // namespace

int socketOpen(int family, int type, int protocol) {
    Box* const box = Box::ofCaller();
    if (box == nullptr || (family != AF_INET && family != AF_INET6)) {
        return socketOpenReally()(family, type, protocol);
    }
    if (const int error = box->call("socket"); error != 0) {
        return fails(error);
    }
    const Aside aside;
    auto connection = std::make_shared<Connection>(box->network());
    connection->waits = (type & SOCK_NONBLOCK) == 0;
    return box->open(std::move(connection));
}

int socketConnect(int file, const sockaddr* address, socklen_t length) {
    Box* const box = Box::ofCaller();
    const auto connection = connectionOf(box, file);
    if (connection == nullptr) {
        return socketConnectReally()(file, address, length);
    }
    if (const int error = box->call("connect"); error != 0) {
        return fails(error);
    }
    const Aside aside;
    sockaddr_storage wanted{};
    std::memcpy(&wanted, address, std::min<std::size_t>(length, sizeof wanted));
    std::uint16_t port = 0;
    const std::string text = addressText(wanted, port);
    if (text.empty()) {
        return fails(ENETUNREACH);
    }
    if (connection->waits) {
        box->end(LifeEnd::kUnowned, 1, "connect on a socket that waits");
    }
    const int error = connection->connect(text, port, box->now());
    return fails(error != 0 ? error : EINPROGRESS);
}

ssize_t socketSend(int file, const void* bytes, std::size_t size, int flags) {
    Box* const box = Box::ofCaller();
    const auto connection = connectionOf(box, file);
    if (connection == nullptr) {
        return socketSendReally()(file, bytes, size, flags);
    }
    const int error = box->call("send", file);
    if (error > 0) {
        return fails(error);
    }
    const Aside aside;
    const std::size_t moved = error != 0 && size > 1 ? size / 2 : size;
    const long sent = connection->send({static_cast<const char*>(bytes), moved}, box->now());
    return sent < 0 ? fails(static_cast<int>(-sent)) : sent;
}

ssize_t socketReceive(int file, void* bytes, std::size_t size, int flags) {
    Box* const box = Box::ofCaller();
    const auto connection = connectionOf(box, file);
    if (connection == nullptr) {
        return socketReceiveReally()(file, bytes, size, flags);
    }
    const int error = box->call("recv", file);
    if (error > 0) {
        return fails(error);
    }
    const Aside aside;
    if ((flags & MSG_PEEK) != 0) {
        const long there = connection->peek(static_cast<char*>(bytes), size, box->now());
        return there < 0 ? fails(static_cast<int>(-there)) : there;
    }
    if (connection->waits) {
        Readable readable(*connection);
        const Time limit = connection->receiveLimit;
        box->threads().wait("recv", readable, limit == 0 ? kNever : later(box->now(), limit));
    }
    // Less than there is: the least that a receive can bring.
    const long got = connection->receive(static_cast<char*>(bytes), error != 0 ? 1 : size, box->now());
    return got < 0 ? fails(static_cast<int>(-got)) : got;
}

int socketSet(int file, int level, int name, const void* value, socklen_t size) {
    Box* const box = Box::ofCaller();
    const auto connection = connectionOf(box, file);
    if (connection == nullptr) {
        return socketSetReally()(file, level, name, value, size);
    }
    if (level == SOL_SOCKET && name == SO_RCVTIMEO && size == sizeof(timeval)) {
        timeval limit{};
        std::memcpy(&limit, value, sizeof limit);
        connection->receiveLimit = static_cast<Time>(limit.tv_sec) * kSecond + static_cast<Time>(limit.tv_usec) * 1000;
    }
    return 0;
}

int socketGet(int file, int level, int name, void* value, socklen_t* size) {
    Box* const box = Box::ofCaller();
    const auto connection = connectionOf(box, file);
    if (connection == nullptr) {
        return socketGetReally()(file, level, name, value, size);
    }
    if (level != SOL_SOCKET || name != SO_ERROR || *size < sizeof(int)) {
        box->end(LifeEnd::kUnowned, 1, "getsockopt of anything but the error");
    }
    const int error = connection->error();
    std::memcpy(value, &error, sizeof error);
    return 0;
}

int fileControl(int file, int command, long argument) {
    Box* const box = Box::ofCaller();
    if (const auto connection = connectionOf(box, file); connection != nullptr && command == F_SETFL) {
        connection->waits = (argument & O_NONBLOCK) == 0;
        return 0;
    }
    return fileControlReally()(file, command, argument);
}

// A name of no server is unknown.
int resolveName(const char* name, const char* service, const addrinfo* hints, addrinfo** list) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return resolveNameReally()(name, service, hints, list);
    }
    if (const int error = box->call("getaddrinfo"); error != 0) {
        errno = error == EAI_SYSTEM ? EIO : errno;
        return error;
    }
    const Aside aside;
    const MailServer* const server = box->network().named(name);
    if (server == nullptr) {
        return EAI_NONAME;
    }
    auto* const found = new Resolved;
    std::strncpy(found->name, server->name.c_str(), sizeof found->name - 1);
    found->address.sin_family = AF_INET;
    inet_pton(AF_INET, server->address.c_str(), &found->address.sin_addr);
    found->entry.ai_family = AF_INET;
    found->entry.ai_socktype = SOCK_STREAM;
    found->entry.ai_addrlen = sizeof found->address;
    found->entry.ai_addr = reinterpret_cast<sockaddr*>(&found->address);
    found->entry.ai_canonname = found->name;
    *list = &found->entry;
    return 0;
}

void freeNames(addrinfo* list) {
    if (Box::ofCaller() == nullptr) {
        freeNamesReally()(list);
        return;
    }
    delete reinterpret_cast<Resolved*>(list);
}

}  // namespace box
