// Entries of the event log in short: what they say once, and for each only which of that it says and when. A log that
// has filled up with one failure is a few texts and a hundred thousand times.
#pragma once

#include "switchd/store/LogEntry.h"

#include <cstdint>
#include <vector>

struct LogSeries {
    struct Entry {
        std::uint32_t what = 0;  // its place in texts
        std::int64_t time = 0;   // microseconds since 1970

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    std::vector<LogEntry> texts;  // without number and time
    std::vector<Entry> entries;   // oldest first
    std::uint64_t last = 0;       // the number of the last of them; 0: there is none
    bool more = false;            // behind it
};
