#include "platform/transport/dbus/DbusClaim.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// A killed process is on the bus until the bus has noticed.
constexpr std::chrono::seconds HOLDER_PATIENCE(2);
constexpr int PAUSE_MS = 20;

// 0, or the error of sd-bus.
int requestName(sd_bus& bus, const std::string& name) {
    const auto deadline = std::chrono::steady_clock::now() + HOLDER_PATIENCE;
    for (;;) {
        const int result = sd_bus_request_name(&bus, name.c_str(), 0);
        if (result != -EEXIST || std::chrono::steady_clock::now() >= deadline) {
            return result >= 0 || result == -EALREADY ? 0 : result;
        }
        poll(nullptr, 0, PAUSE_MS);
    }
}

Transport::Claim claimName(sd_bus& bus, const std::string& name) {
    const int result = requestName(bus, name);
    if (result == -EEXIST) {
        return Transport::Claim::ANOTHERS;
    }
    if (result < 0) {
        std::fprintf(stderr, "hsb: cannot take the name %s against a second daemon: %s\n", name.c_str(),
                     std::strerror(-result));
        return Transport::Claim::UNKNOWN;
    }
    return Transport::Claim::MINE;
}

}  // namespace

Transport::Claim DbusClaim::take(DbusConnection& connection, const std::string& component,
                                 std::chrono::milliseconds patience) {
    if (held_) {
        return Transport::Claim::MINE;
    }
    const auto start = std::chrono::steady_clock::now();
    const bool reached = connection || connection.openQuietly(start + patience);
    const Transport::Claim result =
        reached ? claimName(connection.bus(), "hsb." + component) : Transport::Claim::UNKNOWN;
    held_ = result == Transport::Claim::MINE;
    spent_ = std::chrono::steady_clock::now() - start;
    return result;
}
