// The severity vocabulary shared by profiles and messages: 0 "Info" to 5 "None". Any thread.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr std::int32_t kOrvLevelInfo = 0;
inline constexpr std::int32_t kOrvLevelWarn = 1;
inline constexpr std::int32_t kOrvLevelCritical = 2;
inline constexpr std::int32_t kOrvLevelAlarm = 3;
inline constexpr std::int32_t kOrvLevelFault = 4;
inline constexpr std::int32_t kOrvLevelNone = 5;

// Any number outside the table gives "None".
const char* orvLevelName(std::int32_t level);
// Exact, case-sensitive; anything else gives 5.
std::int32_t orvLevelNumber(std::string_view name);
