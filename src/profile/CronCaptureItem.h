// One weekly capture of a profile: on which day and at what local time, every how many weeks, and what to run.
//
// The profile reader fills it from the attribute store's texts. Plain data, copied freely: the capture schedule keeps
// copies of it with the times of the last and the next run, and a started capture has its own. One thread at a time.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// What every scheduled item has: a kind, and the name of the profile that owns it.
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

class CronCaptureItem final : public ScheduleItem {
public:
    static constexpr std::uint32_t kSecondsPerWeek = 604800;

    CronCaptureItem();
    explicit CronCaptureItem(std::string profileName);
    CronCaptureItem(const CronCaptureItem& other);
    CronCaptureItem& operator=(const CronCaptureItem& other) = default;
    ~CronCaptureItem();

    // Each takes an attribute's text: 0, or -1 when it is refused, and then nothing changes.
    [[nodiscard]] int setDayOfWeek(std::string_view day);     // "Sun" to "Sat"
    [[nodiscard]] int setTimeOfDay(const std::string& time);  // hours:minutes, 0:0 to 23:59
    [[nodiscard]] int setInterval(const std::string& weeks);  // 1 to 26

    std::uint32_t dayOfWeek() const { return dayOfWeek_; }  // days since Sunday
    std::uint32_t hour() const { return hour_; }
    std::uint32_t minute() const { return minute_; }
    std::uint32_t intervalWeeks() const { return intervalWeeks_; }
    std::uint32_t interval() const { return interval_; }  // seconds
    const std::string& shell() const { return shell_; }
    const std::string& command() const { return command_; }

    // The same as texts: "Mon", "02:30", "1".
    const char* dayName() const;
    std::string timeOfDayText() const;
    std::string intervalText() const;

    // The same profile, day, time and interval; the times of the runs are not compared.
    bool sameRhythm(const CronCaptureItem& other) const;

    // Scheduled times, calendar seconds; 0 before there is one.
    std::time_t LastExecution = 0;
    std::time_t NextExecution = 0;

private:
    std::uint32_t dayOfWeek_ = 1;
    std::uint32_t hour_ = 2;
    std::uint32_t minute_ = 30;
    std::uint32_t intervalWeeks_ = 1;
    std::string shell_ = "clish";
    std::string command_ = "show support callhome";
    std::uint32_t interval_ = kSecondsPerWeek;
};
