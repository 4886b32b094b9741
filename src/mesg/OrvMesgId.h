// The identifiers of messages: the numbers of the daemon's own, and what a number says about the message's kind. Any
// thread.
#pragma once

#include <cstdint>
#include <string>

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
