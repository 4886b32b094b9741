// Messages of the configuration monitor (format 105). Codes 1, 96 and 97 have no payload.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// Code 2: the component has read its configuration, with this status.
struct CmonConfReadAck {
    std::int32_t status = 0;

    std::vector<std::uint8_t> encode() const;
    static std::optional<CmonConfReadAck> decode(std::span<const std::uint8_t> payload);
};
