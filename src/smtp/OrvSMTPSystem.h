// What the SMTP client asks of the operating system about names and the network, so that both can be put on stage.
#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>

class OrvSMTPSystem {
public:
    virtual ~OrvSMTPSystem() = default;

    // As getaddrinfo and freeaddrinfo, without a service.
    virtual int resolve(const char* name, const addrinfo& hints, addrinfo** list);
    virtual void freeList(addrinfo* list);
    virtual int connect(int socket, const sockaddr* address, socklen_t length);
    // As send, without flags but for the signal that a closed connection would raise.
    virtual ssize_t send(int socket, const void* bytes, std::size_t length);
    // As recv, without flags.
    virtual ssize_t receive(int socket, void* bytes, std::size_t length);
    // Bounds every single send and receive from now on. A socket that cannot be bounded is broken: using it will tell.
    virtual void limitSteps(int socket, std::chrono::milliseconds limit);

    // The system itself. Any thread.
    static OrvSMTPSystem& real();
};
