// One line of the switch's event log, as it is kept.
#pragma once

#include <cstdint>
#include <string>

struct LogEntry {
    std::uint64_t id = 0;      // given by the store
    std::int64_t seconds = 0;  // calendar time since the epoch
    std::int32_t microseconds = 0;
    std::int32_t level = 0;
    std::uint32_t number = 0;
    std::uint32_t flags = 0;
    std::string component;  // empty: nobody in particular
    std::string text;

    friend bool operator==(const LogEntry&, const LogEntry&) = default;
};

inline std::int64_t microsecondsOf(const LogEntry& entry) {
    return entry.seconds * 1000000 + entry.microseconds;
}
