#include "mesg/OrvLevel.h"

#include <array>
#include <cstddef>

static constexpr std::array<const char*, 6> kNames = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};

const char* orvLevelName(std::int32_t level) {
    if (level < kOrvLevelInfo || level > kOrvLevelNone) {
        level = kOrvLevelNone;
    }
    return kNames[static_cast<std::size_t>(level)];
}

std::int32_t orvLevelNumber(std::string_view name) {
    for (std::size_t level = 0; level < kNames.size(); ++level) {
        if (name == kNames[level]) {
            return static_cast<std::int32_t>(level);
        }
    }
    return kOrvLevelNone;
}
