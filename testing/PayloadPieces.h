// Test support: payloads, put together from what stands in them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

// A text in a field of this size, filled up with zeros.
inline std::vector<std::uint8_t> paddedText(const std::string& text, std::size_t size) {
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    bytes.resize(size);
    return bytes;
}

inline std::vector<std::uint8_t> joined(std::initializer_list<std::vector<std::uint8_t>> pieces) {
    std::vector<std::uint8_t> all;
    for (const std::vector<std::uint8_t>& piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}
