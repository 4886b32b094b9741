// Decimal texts to 32-bit numbers, the same on 32- and 64-bit machines. Any thread.
//
// Leading blanks, a sign and digits are read, the rest is ignored; a text without digits is 0 and no error, as
// with the C library's 32-bit strtoul and strtol.
#pragma once

#include <cstdint>
#include <string_view>

struct OrvUnsignedNumber {
    std::uint32_t value = 0;  // 4294967295 when out of range; a minus sign wraps as strtoul does
    bool outOfRange = false;
    bool complete = false;  // nothing follows the digits, and there was at least one
};
OrvUnsignedNumber orvToUnsigned(std::string_view text);

struct OrvSignedNumber {
    std::int32_t value = 0;  // saturated when out of range
    bool outOfRange = false;
    bool complete = false;
};
OrvSignedNumber orvToSigned(std::string_view text);
