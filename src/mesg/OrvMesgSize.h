// Sums up the estimated bytes of a message file.
//
// Saturates instead of wrapping: a giant attachment must look too large for the queue, never negative.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

inline std::int32_t orvSaturate(std::int64_t bytes) {
    return bytes > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(bytes);
}

inline std::int64_t orvLengths(std::initializer_list<std::string_view> texts) {
    std::size_t sum = 0;
    for (std::string_view text : texts) {
        sum += text.size();
    }
    return static_cast<std::int64_t>(sum);
}
