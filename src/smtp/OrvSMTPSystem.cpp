#include "smtp/OrvSMTPSystem.h"

#include <sys/socket.h>

int OrvSMTPSystem::resolve(const char* name, const addrinfo& hints, addrinfo** list) {
    return getaddrinfo(name, nullptr, &hints, list);
}

void OrvSMTPSystem::freeList(addrinfo* list) {
    freeaddrinfo(list);
}

int OrvSMTPSystem::connect(int socket, const sockaddr* address, socklen_t length) {
    return ::connect(socket, address, length);
}

ssize_t OrvSMTPSystem::send(int socket, const void* bytes, std::size_t length) {
    return ::send(socket, bytes, length, MSG_NOSIGNAL);
}

ssize_t OrvSMTPSystem::receive(int socket, void* bytes, std::size_t length) {
    return ::recv(socket, bytes, length, 0);
}

OrvSMTPSystem& OrvSMTPSystem::real() {
    static OrvSMTPSystem& system = *new OrvSMTPSystem;  // never destroyed: the send thread may outlive main
    return system;
}
