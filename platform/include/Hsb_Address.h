// Where a component lives on the switch's message bus.
//
// Plain data, three words in wire order. All bytes 0xFF mean "not known yet".
#pragma once

#include <cstdint>

struct Hsb_Address {
    std::uint32_t node = 0xFFFFFFFFu;
    std::uint32_t process = 0xFFFFFFFFu;
    std::uint16_t slot = 0xFFFFu;

    friend bool operator==(const Hsb_Address&, const Hsb_Address&) = default;
};
