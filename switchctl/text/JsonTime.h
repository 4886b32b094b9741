// A time as programs are told it: ISO 8601, with the colon in its offset that a person's line goes without.
#pragma once

#include <string>

// From what Text::timestamp() gives.
inline std::string jsonTime(std::string timestamp) {
    constexpr std::size_t OFFSET = 5;  // "+0000"
    const bool known = timestamp.size() > OFFSET &&
                       (timestamp[timestamp.size() - OFFSET] == '+' || timestamp[timestamp.size() - OFFSET] == '-');
    return known ? timestamp.insert(timestamp.size() - 2, ":") : timestamp;
}
