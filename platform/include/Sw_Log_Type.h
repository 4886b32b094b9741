// The switch log record that travels as event category 1: 312 bytes on the wire.
//
// Decoded form; the wire layout is known to decode and encode alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct Sw_Log_Type {
    static constexpr std::size_t SIZE = 312;
    static constexpr std::size_t NAME_SIZE = 16;   // location names, NUL-padded
    static constexpr std::size_t TEXT_SIZE = 228;  // text, NUL-padded

    std::int32_t kind = 0;  // log type; equals the level that app_log was given
    std::uint32_t number = 0;
    std::int32_t slot = -1;
    std::int32_t chip = -1;
    std::int32_t port = -1;
    std::int32_t spare = -1;
    std::uint32_t flags = 0;
    std::uint32_t componentClass = 0;
    std::uint32_t seconds = 0;  // since the epoch, unsigned: good until 2106
    std::uint32_t microseconds = 0;
    std::int32_t location1 = 0;
    std::int32_t location2 = 0;
    std::int16_t locationIndex = -1;
    std::string locationName1;
    std::string locationName2;
    std::string text;

    // Reads a record; texts end at their first NUL or at the end of their field. 0, or -1 (record unchanged)
    // when data is shorter than SIZE; longer data is read as far as SIZE.
    [[nodiscard]] static int decode(std::span<const std::uint8_t> data, Sw_Log_Type& record);
    // SIZE bytes; texts that are too long are cut, the last byte of each text field is always NUL.
    std::vector<std::uint8_t> encode() const;
};
