#include "mesg/OrvMesgNumbers.h"

#include "base/OrvText.h"

#include <array>
#include <cstddef>
#include <sstream>

namespace {

constexpr std::array<const char*, 6> kLevelNames = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};

}  // namespace

std::string orvMesgId(std::uint32_t number) {
    return orvFormat("%4.4X.%4.4X", number >> 16, number & 0xFFFFu);
}

std::int32_t orvMesgNumber(const std::string& digits) {
    std::int32_t number = 4;
    std::istringstream stream(digits);
    stream >> std::hex >> number;
    return number;
}

OrvMesgKind orvMesgKind(std::int32_t number) {
    constexpr std::uint32_t kOwnGroup = kOrvTestMesg >> 16;
    constexpr std::uint32_t kFirstOther = 0x8B00F001u;
    const auto bits = static_cast<std::uint32_t>(number);
    if (bits == kOrvCaptureMesg) {
        return OrvMesgKind::kCronCapture;
    }
    return bits >> 16 == kOwnGroup && bits >= kFirstOther ? OrvMesgKind::kNone : OrvMesgKind::kLogEvent;
}

const char* orvLevelName(std::int32_t level) {
    if (level < kOrvLevelInfo || level > kOrvLevelNone) {
        level = kOrvLevelNone;
    }
    return kLevelNames[static_cast<std::size_t>(level)];
}

std::int32_t orvLevelNumber(std::string_view name) {
    for (std::size_t level = 0; level < kLevelNames.size(); ++level) {
        if (name == kLevelNames[level]) {
            return static_cast<std::int32_t>(level);
        }
    }
    return kOrvLevelNone;
}
