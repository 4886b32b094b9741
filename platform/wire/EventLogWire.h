// Messages to the event log (format 109): code 1 an entry, code 2 an alarm. Neither is answered.
#pragma once

#include "platform/wire/Fields.h"

#include <cstdint>
#include <string>

struct EventLogEntry {
    std::int32_t level = 0;
    std::uint32_t id = 0;
    std::int32_t slot = -1;
    std::int32_t chip = -1;
    std::int32_t port = -1;
    std::int32_t spare = -1;
    std::uint32_t flags = 0;
    std::string component;  // the component's name; empty when it has none
    std::string text;

    static void fields(auto& io, auto& message) {
        io(message.level, message.id, message.slot, message.chip, message.port, message.spare, message.flags);
        io.text16(message.component);
        io.text32(message.text);
    }

    friend bool operator==(const EventLogEntry&, const EventLogEntry&) = default;
};
