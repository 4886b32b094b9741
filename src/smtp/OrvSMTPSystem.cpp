#include "smtp/OrvSMTPSystem.h"

#include "base/OrvSocketLimits.h"

#include <poll.h>

#include <cerrno>

int OrvSMTPSystem::resolve(const char* name, const addrinfo& hints, addrinfo** list) {
    return getaddrinfo(name, nullptr, &hints, list);
}

void OrvSMTPSystem::freeList(addrinfo* list) {
    freeaddrinfo(list);
}

int OrvSMTPSystem::connect(int socket, const sockaddr* address, socklen_t length) {
    return ::connect(socket, address, length);
}

ssize_t OrvSMTPSystem::send(int socket, const void* bytes, std::size_t length, Waiting waiting) {
    if (waiting == Waiting::kAllowed) {
        return ::send(socket, bytes, length, MSG_NOSIGNAL);
    }
#ifdef MSG_DONTWAIT
    return ::send(socket, bytes, length, MSG_NOSIGNAL | MSG_DONTWAIT);
#else
    errno = EAGAIN;  // whether it would have to wait cannot be known
    return -1;
#endif
}

ssize_t OrvSMTPSystem::receive(int socket, void* bytes, std::size_t length) {
    return ::recv(socket, bytes, length, 0);
}

bool OrvSMTPSystem::hasBytes(int socket) {
    pollfd ready{socket, POLLIN, 0};
    char byte = 0;
    return poll(&ready, 1, 0) > 0 && ::recv(socket, &byte, sizeof byte, MSG_PEEK) > 0;
}

std::chrono::steady_clock::time_point OrvSMTPSystem::now() {
    return std::chrono::steady_clock::now();
}

void OrvSMTPSystem::bound(int socket, int option, std::chrono::milliseconds limit) {
    orvBoundSocket(socket, option, limit);
}

int OrvSMTPSystem::lookUp(const std::string& name, int flags, AddressList& list) {
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    const int error = resolve(name.c_str(), hints, &first);
    if (error == 0) {
        list = AddressList(first, {this});
    }
    return error;
}

OrvSMTPSystem& OrvSMTPSystem::real() {
    static OrvSMTPSystem& system = *new OrvSMTPSystem;  // never destroyed: the send thread may outlive main
    return system;
}
