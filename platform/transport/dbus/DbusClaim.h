// One process a component: its name on the bus, which the bus takes back when the process is gone. Main thread only.
#pragma once

#include "platform/transport/Transport.h"
#include "platform/transport/dbus/DbusConnection.h"

#include <chrono>
#include <string>
#include <utility>

class DbusClaim {
public:
    // Opens the connection when it is not, without a word: whoever opens it again says what is wrong.
    [[nodiscard]] Transport::Claim take(DbusConnection& connection, const std::string& component,
                                        std::chrono::milliseconds patience);
    // The connection is closed, and the name free.
    void forget() { held_ = false; }
    // How long claiming took since this was asked.
    std::chrono::steady_clock::duration takeSpent() { return std::exchange(spent_, {}); }

private:
    bool held_ = false;
    std::chrono::steady_clock::duration spent_{};
};
