// A span of time as the system's calls take it.
#pragma once

#include <sys/time.h>

#include <chrono>

inline timeval orvTimeval(std::chrono::milliseconds span) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
    value.tv_usec = static_cast<decltype(value.tv_usec)>((span - seconds).count() * 1000);
    return value;
}
