#include "smtp/OrvSMTPSystem.h"

#include <sys/socket.h>
#include <sys/time.h>

namespace {

timeval toTimeval(std::chrono::milliseconds span) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
    value.tv_usec = static_cast<decltype(value.tv_usec)>((span - seconds).count() * 1000);
    return value;
}

}  // namespace

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

void OrvSMTPSystem::limitSteps(int socket, std::chrono::milliseconds limit) {
    const timeval value = toTimeval(limit);
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
}

OrvSMTPSystem& OrvSMTPSystem::real() {
    static OrvSMTPSystem& system = *new OrvSMTPSystem;  // never destroyed: the send thread may outlive main
    return system;
}
