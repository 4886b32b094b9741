// Sends one message from a component: encodes its payload and hands it to the bus.
#pragma once

#include "platform/client/HostBus.h"
#include "platform/posix/persistently.h"

#include <cstdint>
#include <utility>
#include <vector>

// Of a request that could not be sent.
constexpr std::uint32_t NO_TAG = 0xFFFFFFFFu;

// Encode gives the payload. 0, or -1 when it could not be sent, for want of memory too; nobody asks again, so the
// payload is worth more than one try. Main thread only.
template <typename Encode>
[[nodiscard]] int request(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                          Encode&& encode) {
    std::vector<std::uint8_t> payload;
    int sent = -1;
    // The payload only: what has gone out must not go out again.
    if (persistently("encoding", [&] { payload = encode(); })) {
        guarded("sending", [&] { sent = HostBus::instance().send(from, to, format, code, std::move(payload)); });
    }
    return sent;
}
