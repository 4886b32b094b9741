// The records of one of the daemon's traces.
//
// A record begins with date, zone, time, process and method, as in
//     11/14/2023 UTC 22:13:20.123  17 OrvCallHome probe: Entry
// and goes on to the next one. Some messages have several lines, and some do not end theirs: the next record then
// begins in the middle of a line.
#pragma once

#include "switchctl/traces/DaemonWords.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Views of the text that it was found in.
struct TraceRecord {
    std::string_view text;  // all of it, its line feeds included
    std::string_view head;  // date, zone and time
    long process = 0;
    std::string_view method;   // "OrvCallHome probe"
    std::string_view message;  // what stands behind it

    // One that begins with these words.
    bool is(const TraceWords& words) const;
    // Microseconds since 1970. Nothing when it was traced without a time, or in another zone than ours.
    std::optional<std::int64_t> time() const;
};

// What stands before the first record, the end of an older one, is left out.
std::vector<TraceRecord> traceRecords(std::string_view text);
