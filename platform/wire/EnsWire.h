// Messages of the event service (formats 3 and 4).
#pragma once

#include "platform/wire/Fields.h"

#include <cstdint>
#include <span>

// Format 3 code 0, and format 4 code 5: an event and its data. The data are a view: of the payload once it is
// read, of the caller's bytes until it is written.
struct EnsEventData {
    std::uint32_t category = 0;
    std::uint32_t number = 0;
    std::span<const std::uint8_t> data;

    static void fields(auto& io, auto& message) {
        io(message.category, message.number);
        io.rest(message.data);
    }
};

// Format 4 codes 1 to 4: subscribe, unsubscribe, add and remove as producer. (Code 51 has no payload.)
struct EnsRequest {
    std::uint32_t category = 0;
    std::uint32_t event = 0;

    static void fields(auto& io, auto& message) { io(message.category, message.event); }
};
