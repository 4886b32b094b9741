// The last day in quarters of an hour: what was received, mailed, failed and waited, as the daemon's main trace and the
// event log tell it. Holds a day, however much happens in it.
#pragma once

#include "switchctl/text/Json.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

class DayBook {
public:
    static constexpr std::int64_t STEP = 900;  // seconds
    static constexpr std::int64_t STEPS = 96;

    // What the main trace has had added. whole: nothing before it has gone unread.
    void takeTrace(std::string_view text, bool whole);
    // Entries of the daemon's, as the command log prints them; their time is that of a line.
    void takeLog(const std::string& lines);
    // The last entry that it was given.
    std::uint64_t lastEntry() const { return lastEntry_; }
    // So many wait now, in seconds since 1970.
    void takeWaiting(std::uint64_t count, std::int64_t now);

    // What came before is forgotten.
    Json upTo(std::int64_t now);

private:
    struct Step {
        std::uint64_t received = 0;
        std::uint64_t mailed = 0;
        std::uint64_t failed = 0;
        std::optional<std::uint64_t> mostWaiting{};
        std::uint64_t lastWaiting = 0;
        bool gap = false;  // more may have happened
    };

    Step& at(std::int64_t seconds) { return steps_[seconds / STEP]; }
    static void takeWaiting(Step& step, std::uint64_t count);
    void forget(std::int64_t first);

    std::map<std::int64_t, Step> steps_;  // by their number since 1970
    std::string rest_;                    // a record that may not be whole yet
    std::optional<std::int64_t> begin_;   // where the trace begins, in seconds since 1970
    std::optional<std::uint64_t> waitedBefore_;
    std::uint64_t lastEntry_ = 0;
};
