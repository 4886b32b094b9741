#include "testing/sync/SyncFaults.h"

#include <sys/sendfile.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace {

thread_local SyncFaults* active = nullptr;

// The hook's result when it is set, else the real call's.
template <typename Hook, typename Real, typename... Arguments>
auto either(Hook SyncFaults::*hook, Real real, Arguments... arguments) {
    if (active == nullptr || !(active->*hook)) {
        return real();
    }
    struct Pause {
        SyncFaults* const faults = std::exchange(active, nullptr);
        ~Pause() { active = faults; }
    };
    const Pause pause;
    return (pause.faults->*hook)(arguments...);
}

// Lines of a trace log go the same way as what a peer has sent.
bool isTrace(int file) {
    char path[512] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    return ::readlink(link.c_str(), path, sizeof path - 1) > 0 && std::strstr(path, "/orv.out.") != nullptr;
}

}  // namespace

extern "C" {
int __real_socket(int domain, int type, int protocol);
int __real_connect(int socket, const sockaddr* address, socklen_t size);
int __real_bind(int socket, const sockaddr* address, socklen_t size);
int __real_listen(int socket, int backlog);
int __real_accept4(int socket, sockaddr* address, socklen_t* size, int flags);
ssize_t __real_send(int socket, const void* bytes, std::size_t count, int flags);
ssize_t __real_recv(int socket, void* bytes, std::size_t count, int flags);
ssize_t __real_sendfile64(int to, int from, off_t* offset, std::size_t count);
ssize_t __real_write(int file, const void* bytes, std::size_t count);
int __real_unlinkat(int parent, const char* name, int flags);
unsigned __real_sleep(unsigned seconds);

int __wrap_socket(int domain, int type, int protocol) {
    return either(&SyncFaults::socket, [=] { return __real_socket(domain, type, protocol); });
}
int __wrap_connect(int socket, const sockaddr* address, socklen_t size) {
    return either(
        &SyncFaults::connect, [=] { return __real_connect(socket, address, size); }, socket, address, size);
}
int __wrap_bind(int socket, const sockaddr* address, socklen_t size) {
    return either(
        &SyncFaults::bind, [=] { return __real_bind(socket, address, size); }, socket, address, size);
}
int __wrap_listen(int socket, int backlog) {
    return either(
        &SyncFaults::listen, [=] { return __real_listen(socket, backlog); }, socket, backlog);
}
int __wrap_accept4(int socket, sockaddr* address, socklen_t* size, int flags) {
    return either(
        &SyncFaults::accept4, [=] { return __real_accept4(socket, address, size, flags); }, socket);
}
ssize_t __wrap_send(int socket, const void* bytes, std::size_t count, int flags) {
    return either(
        &SyncFaults::send, [=] { return __real_send(socket, bytes, count, flags); }, socket, bytes, count, flags);
}
ssize_t __wrap_recv(int socket, void* bytes, std::size_t count, int flags) {
    return either(
        &SyncFaults::recv, [=] { return __real_recv(socket, bytes, count, flags); }, socket, bytes, count, flags);
}
ssize_t __wrap_sendfile64(int to, int from, off_t* offset, std::size_t count) {
    return either(
        &SyncFaults::sendfile, [=] { return __real_sendfile64(to, from, offset, count); }, to, from, count);
}
ssize_t __wrap_write(int file, const void* bytes, std::size_t count) {
    if (active != nullptr && active->write && isTrace(file)) {
        return __real_write(file, bytes, count);
    }
    return either(
        &SyncFaults::write, [=] { return __real_write(file, bytes, count); }, file, bytes, count);
}
int __wrap_unlinkat(int parent, const char* name, int flags) {
    return either(
        &SyncFaults::unlinkat, [=] { return __real_unlinkat(parent, name, flags); }, parent, name, flags);
}
unsigned __wrap_sleep(unsigned seconds) {
    return either(
        &SyncFaults::sleep, [=] { return __real_sleep(seconds); }, seconds);
}
}

SyncFaults::SyncFaults() {
    active = this;
}

SyncFaults::~SyncFaults() {
    active = nullptr;
}

int failWith(int error) {
    errno = error;
    return -1;
}
