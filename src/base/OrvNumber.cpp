#include "base/OrvNumber.h"

#include <limits>

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

struct Magnitude {
    std::uint32_t value = 0;  // saturated
    bool negative = false;
    bool tooLarge = false;  // beyond 32 bits
    bool complete = false;
};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

Magnitude readMagnitude(std::string_view text) {
    Magnitude magnitude;
    std::size_t at = text.find_first_not_of(kBlanks);
    if (at == std::string_view::npos) {
        return magnitude;
    }
    if (text[at] == '-' || text[at] == '+') {
        magnitude.negative = text[at] == '-';
        ++at;
    }
    const std::size_t firstDigit = at;
    std::uint64_t value = 0;
    for (; at < text.size() && isDigit(text[at]); ++at) {
        value = value * 10 + static_cast<std::uint64_t>(text[at] - '0');
        if (value > std::numeric_limits<std::uint32_t>::max()) {
            magnitude.tooLarge = true;
            value = std::numeric_limits<std::uint32_t>::max();
        }
    }
    magnitude.value = static_cast<std::uint32_t>(value);
    magnitude.complete = at > firstDigit && at == text.size();
    return magnitude;
}

}  // namespace

OrvUnsignedNumber orvToUnsigned(std::string_view text) {
    const Magnitude magnitude = readMagnitude(text);
    const bool wraps = magnitude.negative && !magnitude.tooLarge;
    return {wraps ? 0u - magnitude.value : magnitude.value, magnitude.tooLarge, magnitude.complete};
}

OrvSignedNumber orvToSigned(std::string_view text) {
    constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
    const Magnitude magnitude = readMagnitude(text);
    const std::int64_t value = magnitude.negative ? -std::int64_t{magnitude.value} : std::int64_t{magnitude.value};
    if (value < kLowest || value > kHighest) {
        return {static_cast<std::int32_t>(value < 0 ? kLowest : kHighest), true, magnitude.complete};
    }
    return {static_cast<std::int32_t>(value), false, magnitude.complete};
}
