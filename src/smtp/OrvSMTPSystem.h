// What the SMTP client asks of the operating system about names and the network, so that both can be put on stage.
#pragma once

#include <netdb.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

class OrvSMTPSystem {
public:
    virtual ~OrvSMTPSystem() = default;

    // As getaddrinfo and freeaddrinfo, without a service.
    virtual int resolve(const char* name, const addrinfo& hints, addrinfo** list);
    virtual void freeList(addrinfo* list);
    virtual int connect(int socket, const sockaddr* address, socklen_t length);
    // As send, without flags but for the signal that a closed connection would raise. One that does not wait fails
    // with EAGAIN when it would have to.
    enum class Waiting { kAllowed, kNever };
    virtual ssize_t send(int socket, const void* bytes, std::size_t length, Waiting waiting);
    // As recv, without flags.
    virtual ssize_t receive(int socket, void* bytes, std::size_t length);
    // Bytes have come that nobody has received yet.
    virtual bool hasBytes(int socket);
    virtual std::chrono::steady_clock::time_point now();
    // As orvBoundSocket.
    virtual void bound(int socket, int option, std::chrono::milliseconds limit);

    // A resolved name's addresses, given back to the system that found them.
    struct ListFreer {
        OrvSMTPSystem* system;
        void operator()(addrinfo* list) const { system->freeList(list); }
    };
    using AddressList = std::unique_ptr<addrinfo, ListFreer>;
    // The addresses of a name for streams, of any family. 0, or the resolver's error and no list.
    int lookUp(const std::string& name, int flags, AddressList& list);

    // The system itself. Any thread.
    static OrvSMTPSystem& real();
};
