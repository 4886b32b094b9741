// Messages of the component name service (format 2).
#pragma once

#include "Hsb_Address.h"
#include "platform/wire/Fields.h"

#include <cstdint>
#include <string>

// Code 1: the sender is the component called name.
struct CnsRegister {
    std::int32_t kind = 0;
    std::int32_t options = 0;
    std::string name;

    static void fields(auto& io, auto& message) {
        io(message.kind, message.options);
        io.text16(message.name);
    }
};

// Code 2: the sender is no longer known as name.
struct CnsUnregister {
    std::string name;

    static void fields(auto& io, auto& message) { io.text16(message.name); }
};

// Code 3: where is the component called name? Answered as soon as it is known, with the same tag.
struct CnsLookup {
    std::uint32_t tag = 0;
    std::int32_t kind = 0;
    std::int32_t options = 0;
    std::string name;
    std::string instance;

    static void fields(auto& io, auto& message) {
        io(message.tag, message.kind, message.options);
        io.text16(message.name);
        io.text16(message.instance);
    }
};

// Code 4.
struct CnsLookupResponse {
    std::uint32_t tag = 0;
    Hsb_Address address;

    static void fields(auto& io, auto& message) {
        io(message.tag);
        io(message.address);
    }
};
