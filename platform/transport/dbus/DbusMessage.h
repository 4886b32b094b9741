// An Hsb_Message as a D-Bus message: a one-way method call that carries addresses, format, code and payload.
#pragma once

#include "Hsb_Message.h"

#include <systemd/sd-bus.h>

#include <cstddef>
#include <memory>

struct DbusMessageUnref {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using DbusMessagePtr = std::unique_ptr<sd_bus_message, DbusMessageUnref>;

namespace DbusMessage {

inline constexpr const char* PATH = "/hsb";
inline constexpr const char* INTERFACE = "hsb.Bus";
inline constexpr const char* MEMBER = "Message";
// Destination and source as node, process, slot; format; code; payload.
inline constexpr const char* HEADER = "uuquuqqq";
inline constexpr const char* SIGNATURE = "uuquuqqqay";
// A bus cuts off who sends more than it takes, 32 MB on a system bus: stay well below.
inline constexpr std::size_t MAX_PAYLOAD = 30u << 20;

// Builds the call to the process named destination. Null when the payload is too large or memory is short.
DbusMessagePtr pack(sd_bus& bus, const char* destination, const Hsb_Message& message);

// Is it such a call?
bool isOurs(sd_bus_message& call);

// Reads a call, from its beginning however often. 0, or (message unchanged) a negative errno: -ENOMEM, or -EBADMSG when
// it is none.
[[nodiscard]] int unpack(sd_bus_message& call, Hsb_Message& message);

}  // namespace DbusMessage
