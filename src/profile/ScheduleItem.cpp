#include "profile/ScheduleItem.h"

#include <array>

namespace {

constexpr std::array kKindNames{"None", "Cron", "Event"};

}  // namespace

const char* ScheduleItem::kindName(Kind kind) {
    return kind < kKindNames.size() ? kKindNames[kind] : kKindNames[kNone];
}

std::optional<ScheduleItem::Kind> ScheduleItem::kindByName(std::string_view name) {
    for (std::uint32_t kind = 0; kind < kKindNames.size(); ++kind) {
        if (name == kKindNames[kind]) {
            return static_cast<Kind>(kind);
        }
    }
    return std::nullopt;
}
