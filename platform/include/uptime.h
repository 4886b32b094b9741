// The platform's clocks. Any thread.
#pragma once

#include <sys/time.h>

#include <cstdint>

// Seconds since the switch started.
std::uint32_t uptime();

// The calendar clock, as gettimeofday gives it.
timeval calendar_time();
