// The numbers that a message goes by: its identifier, with the daemon's own and what it says about the message's kind,
// and its level. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

inline constexpr std::uint32_t kOrvTestMesg = 0x8B000002u;
inline constexpr std::uint32_t kOrvPowerUpMesg = 0x8B000003u;
inline constexpr std::uint32_t kOrvStateMesg = 0x8B000004u;
inline constexpr std::uint32_t kOrvCaptureMesg = 0x8B00FFFFu;

// The identifier of a message number: "%4.4X.%4.4X" of its upper and lower 16 bits.
std::string orvMesgId(std::uint32_t number);

// The number behind eight hexadecimal digits. Kept: read as a signed number, so that no identifier from 8000.0000 on
// comes back as itself; restored messages of the daemon's own group are log events because of that.
extern "C" std::int32_t orvMesgNumber(const std::string& digits);

enum class OrvMesgKind { kLogEvent, kCronCapture, kNone };
OrvMesgKind orvMesgKind(std::int32_t number);

// The severity vocabulary shared by profiles and messages: 0 "Info" to 5 "None".
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
