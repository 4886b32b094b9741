// One process a component: its name on the bus, which the bus takes back when the process is gone.
#include "platform/transport/dbus/DbusTransport.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

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

}  // namespace

Transport::Claim DbusTransport::claim(const std::string& component) {
    if (claimed_) {
        return Claim::MINE;
    }
    const auto start = std::chrono::steady_clock::now();
    const bool reached = bus_ || reach(start + options_.patience);
    const Claim result = reached ? claimName("hsb." + component) : Claim::UNKNOWN;
    claimed_ = result == Claim::MINE;
    spent_ = std::chrono::steady_clock::now() - start;
    return result;
}

// Without a word: join() says what is wrong with the bus.
bool DbusTransport::reach(Deadline deadline) {
    patience_.renew();
    quiet_ = true;
    int result = -1;
    try {
        result = connect() < 0 ? -1 : awaitReady(deadline);
    } catch (const std::bad_alloc&) {
        // As with any other reason.
    }
    quiet_ = false;
    if (result < 0) {
        bus_.reset();
    }
    return result == 0;
}

Transport::Claim DbusTransport::claimName(const std::string& name) {
    const int result = requestName(*bus_, name);
    if (result == -EEXIST) {
        return Claim::ANOTHERS;
    }
    if (result < 0) {
        std::fprintf(stderr, "hsb: cannot take the name %s against a second daemon: %s\n", name.c_str(),
                     std::strerror(-result));
        return Claim::UNKNOWN;
    }
    return Claim::MINE;
}
