// Virtual time: nanoseconds since the world began.
#pragma once

#include <cstdint>

namespace box {

using Time = std::uint64_t;

constexpr Time kNever = UINT64_MAX;
constexpr Time kMillisecond = 1000000;
constexpr Time kSecond = 1000 * kMillisecond;
constexpr Time kDay = 86400 * kSecond;

// The calendar when a world begins that says nothing else: a Tuesday evening in November. Uptime begins with some
// seconds on it.
constexpr std::int64_t kFirstSecond = 1700000000;
constexpr std::int64_t kFirstUptime = 100;

// A time that is later by a span; never stays never.
constexpr Time later(Time time, Time span) {
    return span >= kNever - time ? kNever : time + span;
}

}  // namespace box
