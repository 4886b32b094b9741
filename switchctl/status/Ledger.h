// The books: every message that came is mailed, counted as a repeat, discarded, refused, or still there.
//
// The daemon counts since its start, and tells in a probe; the event log is older, and tells of losses alone.
#pragma once

#include "switchctl/status/StatusFacts.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Ledger {
    // Since the daemon's start; everything in messages.
    struct Counts {
        std::int64_t received = 0;
        std::int64_t tests = 0;     // of them
        std::int64_t restored = 0;  // from the files of an earlier run
        std::int64_t mailed = 0;    // dialogues that were finished, whoever was refused in them
        std::int64_t repeats = 0;
        std::int64_t space = 0;
        std::int64_t files = 0;
        std::int64_t age = 0;
        std::int64_t cleared = 0;
        std::int64_t refused = 0;
        std::int64_t waiting = 0;  // those that are open included
        std::int64_t open = 0;
        std::int64_t parked = 0;  // mailed, and kept to count their repeats

        std::int64_t came() const { return received + restored; }
        std::int64_t accounted() const { return mailed + repeats + space + files + age + cleared + refused + waiting; }
    };
    enum class Verdict {
        EXACT,
        TWICE,    // More is accounted for than came: some are counted twice, for a reason that is known.
        MISSING,  // Less is.
        SURPLUS,  // More is, and no reason accounts for it.
        UNKNOWN,  // The daemon has not told its counts.
    };

    std::optional<Counts> counts;
    std::string unknown;                  // why there are none
    std::optional<std::int64_t> started;  // microseconds since 1970
    // What the event log has since the start; nothing when the start is not known.
    std::optional<std::uint64_t> refusalsTold;
    std::vector<std::string> remarks;  // what can explain it, what to know of it

    static Ledger of(const StatusFacts& facts);
    Verdict verdict() const;
    // Counted beyond what came; negative: missing.
    std::int64_t excess() const { return counts ? counts->accounted() - counts->came() : 0; }
};
