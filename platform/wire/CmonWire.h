// Messages of the configuration monitor (format 105). Codes 1, 96 and 97 have no payload.
#pragma once

#include "platform/wire/Fields.h"

#include <cstdint>

// Code 2: the component has read its configuration, with this status.
struct CmonConfReadAck {
    std::int32_t status = 0;

    static void fields(auto& io, auto& message) { io(message.status); }
};
