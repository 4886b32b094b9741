// A span of time in seconds and microseconds. Plain data.
#pragma once

#include <cstdint>

class Timeval {
public:
    Timeval() = default;
    Timeval(std::int64_t seconds, std::int32_t microseconds) : seconds_(seconds), microseconds_(microseconds) {}

    std::int64_t sec() const { return seconds_; }
    std::int32_t usec() const { return microseconds_; }

private:
    std::int64_t seconds_ = 0;
    std::int32_t microseconds_ = 0;
};
