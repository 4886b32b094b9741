// The one place where words become bytes and bytes become words; the order is named at each call.
//
// Big-endian on the wire, the processor's own ("native") order in the files that the daemon keeps for itself.
// Reads beyond the end of the data are the caller's to prevent. Any thread.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

inline std::uint16_t bigEndian16(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

inline std::uint32_t bigEndian32(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]);
}

inline void appendBigEndian16(std::vector<std::uint8_t>& bytes, std::uint16_t word) {
    bytes.push_back(static_cast<std::uint8_t>(word >> 8));
    bytes.push_back(static_cast<std::uint8_t>(word));
}

inline void appendBigEndian32(std::vector<std::uint8_t>& bytes, std::uint32_t word) {
    appendBigEndian16(bytes, static_cast<std::uint16_t>(word >> 16));
    appendBigEndian16(bytes, static_cast<std::uint16_t>(word));
}

inline std::uint32_t native32(std::span<const std::uint8_t, 4> bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    return word;
}

inline void storeNative32(std::span<std::uint8_t, 4> bytes, std::uint32_t word) {
    std::memcpy(bytes.data(), &word, sizeof word);
}
