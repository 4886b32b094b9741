// What time it is, for timers, uptime() and the calendar.
//
// One clock serves the whole process: the system's, or a manual one that only a test moves. Any thread reads.
#pragma once

#include "Guarding_Mutex.h"

#include <sys/time.h>

#include <cstdint>

class Clock {
public:
    virtual ~Clock() = default;
    // Milliseconds since some start, never going back.
    virtual std::uint64_t milliseconds() const = 0;
    virtual timeval calendar() const = 0;
    // How long to wait in real milliseconds until milliseconds() has moved on by span; -1 when it never will by
    // itself.
    virtual int realMilliseconds(std::uint64_t span) const = 0;
};

// The system's clocks; timers and uptime run scale times as fast. The calendar is the system's.
class SystemClock final : public Clock {
public:
    // The scale comes from HSB_TIME_SCALE: 1 when that is unset, 0 or not a number; a thousand at most, which is told
    // on stderr.
    SystemClock();
    explicit SystemClock(std::uint64_t scale);
    std::uint64_t milliseconds() const override;
    timeval calendar() const override;
    int realMilliseconds(std::uint64_t span) const override;

private:
    const std::uint64_t scale_;
    // Real milliseconds; only what has passed since is scaled, so that 32 bits of seconds last.
    const std::uint64_t start_;
};

// Stands still until it is moved; the calendar moves along and can be set. A loop that is waiting on another thread
// does not notice a move by itself: wake it.
class ManualClock final : public Clock {
public:
    explicit ManualClock(std::int64_t calendarSeconds, std::int32_t calendarMicroseconds = 0);
    std::uint64_t milliseconds() const override ORV_EXCLUDES(lock_);
    timeval calendar() const override ORV_EXCLUDES(lock_);
    int realMilliseconds(std::uint64_t span) const override;

    void advance(std::uint64_t milliseconds) ORV_EXCLUDES(lock_);
    void setCalendar(std::int64_t seconds, std::int32_t microseconds = 0) ORV_EXCLUDES(lock_);

private:
    mutable Guarding_Mutex lock_;  // not atomics: the target has none of 64 bits
    std::uint64_t milliseconds_ ORV_GUARDED_BY(lock_) = 1000000;
    std::int64_t calendarMicroseconds_ ORV_GUARDED_BY(lock_);
};

// The clock in use; the system's unless a test has put another one in its place (null: back to the system's). The
// caller keeps it, and takes it away before it dies. Running timers keep the deadlines of the clock they began with.
Clock& hostClock();
void useHostClock(Clock* clock);
