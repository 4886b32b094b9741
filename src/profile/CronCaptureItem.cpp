#include "profile/CronCaptureItem.h"

#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace {

constexpr char kTraceModule[] = "CronCaptureItem";

constexpr std::array kKindNames{"None", "Cron", "Event"};
constexpr std::array kDayNames{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::uint32_t kMostHours = 23;
constexpr std::uint32_t kMostMinutes = 59;
constexpr std::uint32_t kMostWeeks = 26;

// The number that a text begins with; 0 when it begins with none. A minus sign wraps, as streams do it.
std::uint32_t streamedNumber(const std::string& text) {
    std::uint32_t number = 0;
    std::istringstream(text) >> number;
    return number;
}

bool isOneOrTwoLong(const std::string& text) {
    return text.size() == 1 || text.size() == 2;
}

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

CronCaptureItem::CronCaptureItem() : ScheduleItem(kCron) {
    ORV_TRACE("constructor: %p\n", static_cast<void*>(this));
}

CronCaptureItem::CronCaptureItem(std::string profileName) : CronCaptureItem() {
    setProfileName(std::move(profileName));
}

CronCaptureItem::CronCaptureItem(const CronCaptureItem& other)
    : ScheduleItem(other),
      LastExecution(other.LastExecution),
      NextExecution(other.NextExecution),
      dayOfWeek_(other.dayOfWeek_),
      hour_(other.hour_),
      minute_(other.minute_),
      intervalWeeks_(other.intervalWeeks_),
      shell_(other.shell_),
      command_(other.command_),
      interval_(other.interval_) {
    ORV_TRACE("copy constructor:  %p <- %p\n", static_cast<void*>(this), static_cast<const void*>(&other));
}

CronCaptureItem::~CronCaptureItem() {
    ORV_TRACE("destructor: %p\n", static_cast<void*>(this));
}

int CronCaptureItem::setDayOfWeek(std::string_view day) {
    const auto* found = std::find(kDayNames.begin(), kDayNames.end(), day);
    if (found == kDayNames.end()) {
        return -1;
    }
    dayOfWeek_ = static_cast<std::uint32_t>(found - kDayNames.begin());
    return 0;
}

int CronCaptureItem::setTimeOfDay(const std::string& time) {
    const std::size_t separator = time.find(':');
    if (separator == std::string::npos) {
        ORV_TRACE("Time value separator not found\n");
        return -1;
    }
    const std::string hours = time.substr(0, separator);
    const std::string minutes = time.substr(separator + 1);
    if (!isOneOrTwoLong(hours)) {
        ORV_TRACE("Hours length is invalid: %d\n", static_cast<int>(hours.size()));
        return -1;
    }
    const std::uint32_t newHour = streamedNumber(hours);
    if (newHour > kMostHours) {
        ORV_TRACE("Hours value is invalid: %d\n", static_cast<int>(newHour));
        return -1;
    }
    if (!isOneOrTwoLong(minutes)) {
        ORV_TRACE("Minutes length is invalid: %d\n", static_cast<int>(minutes.size()));
        return -1;
    }
    const std::uint32_t newMinute = streamedNumber(minutes);
    if (newMinute > kMostMinutes) {
        ORV_TRACE("Minutes value is invalid: %d\n", static_cast<int>(newMinute));
        return -1;
    }
    minute_ = newMinute;
    hour_ = newHour;
    return 0;
}

int CronCaptureItem::setInterval(const std::string& weeks) {
    const std::uint32_t number = streamedNumber(weeks);
    if (number < 1 || number > kMostWeeks) {
        return -1;
    }
    intervalWeeks_ = number;
    interval_ = number * kSecondsPerWeek;
    return 0;
}

const char* CronCaptureItem::dayName() const {
    return kDayNames[dayOfWeek_];
}

std::string CronCaptureItem::timeOfDayText() const {
    return orvFormat("%02u:%02u", hour_, minute_);
}

std::string CronCaptureItem::intervalText() const {
    return orvFormat("%u", intervalWeeks_);
}

bool CronCaptureItem::sameRhythm(const CronCaptureItem& other) const {
    return profileName() == other.profileName() && dayOfWeek_ == other.dayOfWeek_ && hour_ == other.hour_ &&
           minute_ == other.minute_ && intervalWeeks_ == other.intervalWeeks_;
}
