// The timers of one dispatcher, on hostClock(). Belongs to the dispatcher's thread.
//
// Due timers run in the order of their deadlines, then of their numbers. A periodic timer keeps its phase and skips
// the deadlines that it has missed. A single timer without delay runs in the next turn, whatever the clock does.
#pragma once

#include "Timeval.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <utility>

class Timers {
public:
    std::uint64_t schedule(const Timeval& interval, bool periodic, std::function<void()> action);
    void cancel(std::uint64_t number);

    // Runs what is due now; what becomes due by running it waits for the next call. Returns the number of calls.
    int runDue();
    // Real milliseconds until the next is due; -1 when none is, or when no waiting brings it.
    int realMillisecondsToNext() const;

private:
    using Action = std::function<void()>;
    struct Timer {
        std::uint64_t period;                  // milliseconds; 0: runs once
        std::shared_ptr<const Action> action;  // shared: it may cancel its own timer while it runs
    };
    using Key = std::pair<std::uint64_t, std::uint64_t>;  // deadline in milliseconds, number

    int runUndelayed(std::uint64_t newest);
    int runDelayed(std::uint64_t newest);

    std::deque<std::pair<std::uint64_t, Action>> undelayed_;  // by number
    std::map<Key, Timer> timers_;
    std::uint64_t lastNumber_ = 0;
};
