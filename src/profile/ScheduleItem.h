// What every scheduled item has: a kind, and the name of the profile that owns it.
//
// Plain data, copied freely: a started capture works on its own copy.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

class ScheduleItem {
public:
    enum Kind : std::uint32_t { kNone = 0, kCron = 1, kEvent = 2 };

    explicit ScheduleItem(Kind kind) : kind_(kind) {}

    // "None", "Cron", "Event".
    static const char* kindName(Kind kind);
    // Exact, case-sensitive; nothing for any other name.
    static std::optional<Kind> kindByName(std::string_view name);

    Kind kind() const { return kind_; }

    // The owner's name, by which the result of a capture finds its profile again. No profile bears the name that an
    // item starts with.
    const std::string& profileName() const { return profileName_; }
    void setProfileName(std::string name) { profileName_ = std::move(name); }

protected:
    ~ScheduleItem() = default;
    ScheduleItem(const ScheduleItem&) = default;
    ScheduleItem& operator=(const ScheduleItem&) = default;

private:
    Kind kind_;
    std::string profileName_ = "\xFF";
};
