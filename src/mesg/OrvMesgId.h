// What the number behind a message identifier says about the message's kind. Any thread.
#pragma once

#include <cstdint>
#include <string>

// The identifier of a message number: "%4.4X.%4.4X" of its upper and lower 16 bits.
std::string orvMesgId(std::uint32_t number);

// The number behind eight hexadecimal digits. Kept: read as a signed number, so that no identifier from 8000.0000 on
// comes back as itself; restored messages of the daemon's own group are log events because of that.
std::int32_t orvMesgNumber(const std::string& digits);

enum class OrvMesgKind { kLogEvent, kCronCapture, kNone };
OrvMesgKind orvMesgKind(std::int32_t number);
