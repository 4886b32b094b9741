#include "platform/posix/ServiceManager.h"

#include "Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool readySaid = false;

void tell(const char* text) noexcept {
    const char* const name = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = name != nullptr ? std::strlen(name) : 0;
    if (length < 2 || length >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) {
        return;
    }
    std::memcpy(address.sun_path, name, length);
    if (name[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket) {
        sendto(socket.get(), text, std::strlen(text), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&address),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
    }
}

std::optional<long long> number(const char* name) noexcept {
    const char* const text = std::getenv(name);
    long long value = 0;
    if (text == nullptr || std::from_chars(text, text + std::strlen(text), value).ec != std::errc{} || value <= 0) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

void ServiceManager::ready() noexcept {
    if (!readySaid) {
        readySaid = true;
        tell("READY=1\nSTATUS=serving");
    }
}

void ServiceManager::status(const char* text) noexcept {
    char line[256];
    std::snprintf(line, sizeof line, "STATUS=%s", text);
    tell(line);
}

void ServiceManager::alive() noexcept {
    tell("WATCHDOG=1");
}

// Twice as often as asked for. A child of the process that is watched need not.
std::optional<std::chrono::microseconds> ServiceManager::lifeSign() noexcept {
    const auto period = number("WATCHDOG_USEC");
    const auto process = number("WATCHDOG_PID");
    if (!period || (process && *process != getpid())) {
        return std::nullopt;
    }
    return std::chrono::microseconds(*period / 2);
}
