// Sends one message from a component: encodes its payload and hands it to the bus.
#pragma once

#include "platform/client/HostBus.h"
#include "platform/posix/persistently.h"

// Encode gives the payload. 0, or -1 when it could not be sent, for a lasting want of memory too: nobody asks again.
// Main thread only.
template <typename Encode>
[[nodiscard]] int request(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                          Encode&& encode) {
    int sent = -1;
    persistently("sending", [&] { sent = HostBus::instance().send(from, to, format, code, encode()); });
    return sent;
}
