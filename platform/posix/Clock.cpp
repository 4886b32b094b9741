#include "platform/posix/Clock.h"

#include "uptime.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

namespace {

constexpr std::uint64_t MILLISECONDS = 1000;
constexpr std::int64_t MICROSECONDS = 1000000;
constexpr std::uint64_t LARGEST_SCALE = 1000;  // timers wait in whole milliseconds: beyond, uptime() would outrun them

std::atomic<Clock*> replacement{nullptr};

std::uint64_t realMillisecondsNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * MILLISECONDS + static_cast<std::uint64_t>(now.tv_nsec / 1000000);
}

std::uint64_t scaleFromEnvironment() {
    const char* text = std::getenv("HSB_TIME_SCALE");
    if (text == nullptr || text[0] < '0' || text[0] > '9') {
        return 1;
    }
    char* end = nullptr;
    const unsigned long long scale = std::strtoull(text, &end, 10);
    if (*end == '\0' && scale > LARGEST_SCALE) {
        std::fprintf(stderr, "hsb: HSB_TIME_SCALE=%s is too large: timers run %u times as fast\n", text,
                     static_cast<unsigned>(LARGEST_SCALE));
    }
    return *end == '\0' ? scale : 1;
}

}  // namespace

SystemClock::SystemClock() : SystemClock(scaleFromEnvironment()) {
}

SystemClock::SystemClock(std::uint64_t scale)
    : scale_(std::clamp<std::uint64_t>(scale, 1, LARGEST_SCALE)), start_(realMillisecondsNow()) {
}

std::uint64_t SystemClock::milliseconds() const {
    return start_ + (realMillisecondsNow() - start_) * scale_;
}

timeval SystemClock::calendar() const {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

int SystemClock::realMilliseconds(std::uint64_t span) const {
    const std::uint64_t real = span / scale_ + (span % scale_ != 0 ? 1 : 0);
    return static_cast<int>(std::min<std::uint64_t>(real, INT_MAX));
}

ManualClock::ManualClock(std::int64_t calendarSeconds, std::int32_t calendarMicroseconds)
    : calendarMicroseconds_(calendarSeconds * MICROSECONDS + calendarMicroseconds) {
}

std::uint64_t ManualClock::milliseconds() const {
    const Guarding_Lock guard(lock_);
    return milliseconds_;
}

timeval ManualClock::calendar() const {
    const Guarding_Lock guard(lock_);
    timeval now{};
    now.tv_sec = static_cast<decltype(now.tv_sec)>(calendarMicroseconds_ / MICROSECONDS);
    now.tv_usec = static_cast<decltype(now.tv_usec)>(calendarMicroseconds_ % MICROSECONDS);
    return now;
}

int ManualClock::realMilliseconds(std::uint64_t span) const {
    return span == 0 ? 0 : -1;
}

void ManualClock::advance(std::uint64_t milliseconds) {
    const Guarding_Lock guard(lock_);
    milliseconds_ += milliseconds;
    calendarMicroseconds_ += static_cast<std::int64_t>(milliseconds) * 1000;
}

void ManualClock::setCalendar(std::int64_t seconds, std::int32_t microseconds) {
    const Guarding_Lock guard(lock_);
    calendarMicroseconds_ = seconds * MICROSECONDS + microseconds;
}

Clock& hostClock() {
    // Never destroyed, for threads may ask while the process ends; and no memory is asked for, for a start's first
    // trace line, before anybody catches anything, asks what time it is.
    alignas(SystemClock) static std::byte place[sizeof(SystemClock)];
    static Clock* const system = new (place) SystemClock;
    Clock* const other = replacement.load();
    return other != nullptr ? *other : *system;
}

void useHostClock(Clock* clock) {
    replacement.store(clock);
}

std::uint32_t uptime() {
    return static_cast<std::uint32_t>(hostClock().milliseconds() / MILLISECONDS);
}

timeval calendar_time() {
    return hostClock().calendar();
}
