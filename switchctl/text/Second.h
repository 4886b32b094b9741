// Moments and spans are counted in microseconds here, as the daemon's traces have them.
#pragma once

#include <cstdint>

inline constexpr std::int64_t SECOND = 1000000;
