#include "capture/OrvCaptureSchedule.h"

#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"

#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";

constexpr std::time_t kMinute = 60;
constexpr std::time_t kHour = 3600;
constexpr std::time_t kDay = 86400;
constexpr int kDaysOfWeek = 7;
constexpr std::time_t kWeek = kDaysOfWeek * kDay;

int daysUntil(int dayDifference, bool timeHasPassed) {
    if (dayDifference < 0 || (dayDifference == 0 && timeHasPassed)) {
        return dayDifference + kDaysOfWeek;
    }
    return dayDifference;
}

}  // namespace

void OrvCaptureSchedule::computeFirstExecution(CronCaptureItem& item) {
    ORV_TRACE("Entry\n");
    const std::time_t now = orvCalendarNow();
    std::tm local{};
    if (orvLocalTime(now, local) < 0) {
        ORV_TRACE("no local time\n");
    }
    const std::time_t offset = (static_cast<std::time_t>(item.minute()) - local.tm_min) * kMinute +
                               (static_cast<std::time_t>(item.hour()) - local.tm_hour) * kHour - local.tm_sec;
    const int days = daysUntil(static_cast<int>(item.dayOfWeek()) - local.tm_wday, offset < 0);
    item.LastExecution = 0;
    item.NextExecution = now + offset + days * kDay;
    ORV_TRACE("\nCurrentTime(%s)\nLastExecution(%s)\nNextExecution(%s)\n", orvMailDateText(now).c_str(),
              orvMailDateText(item.LastExecution).c_str(), orvMailDateText(item.NextExecution).c_str());
}

void OrvCaptureSchedule::computeNextExecution(CronCaptureItem& item) {
    moveOn(item);
    traceTimes("computeNextExecution", item);
}

void OrvCaptureSchedule::moveOn(CronCaptureItem& item) {
    item.LastExecution = item.NextExecution;
    item.NextExecution += static_cast<std::time_t>(item.interval());
}

void OrvCaptureSchedule::traceTimes(const char* method, const CronCaptureItem& item) {
    orvTrace(kTraceModule, method, "\nLastExecution(%s)\nNextExecution(%s)\n",
             orvMailDateText(item.LastExecution).c_str(), orvMailDateText(item.NextExecution).c_str());
}

void OrvCaptureSchedule::replace(const std::vector<CronCaptureItem>& items) {
    const std::time_t now = orvCalendarNow();
    Items fresh;
    for (CronCaptureItem item : items) {
        setTimes(item, now);
        fresh.emplace(item.NextExecution, item);
    }
    items_.swap(fresh);
}

void OrvCaptureSchedule::setTimes(CronCaptureItem& item, std::time_t now) const {
    // A configuration change in the minute before the check must not lose the capture that is due in it,
    if (const CronCaptureItem* due = findDue(item, now)) {
        item.LastExecution = due->LastExecution;
        item.NextExecution = due->NextExecution;
        traceTimes("replace", item);
        return;
    }
    computeFirstExecution(item);
    // nor repeat one that the check has started in this very second. Like any other it goes on with its next weekday.
    if (const CronCaptureItem* run = findRun(item)) {
        item.LastExecution = run->LastExecution;
        item.NextExecution += kWeek;
        traceTimes("replace", item);
    }
}

const CronCaptureItem* OrvCaptureSchedule::findDue(const CronCaptureItem& item, std::time_t now) const {
    for (const auto& [time, scheduled] : items_) {
        if (time <= now && scheduled.sameRhythm(item)) {
            return &scheduled;
        }
    }
    return nullptr;
}

// The same item, already started for the time that this one waits for.
const CronCaptureItem* OrvCaptureSchedule::findRun(const CronCaptureItem& item) const {
    for (const auto& [time, scheduled] : items_) {
        if (scheduled.LastExecution == item.NextExecution && scheduled.sameRhythm(item)) {
            return &scheduled;
        }
    }
    return nullptr;
}

void OrvCaptureSchedule::recomputeQueue() {
    ORV_TRACE("Entry\n");
    Items fresh;
    for (const auto& [time, scheduled] : items_) {
        CronCaptureItem item = scheduled;
        computeFirstExecution(item);
        fresh.emplace(item.NextExecution, item);
    }
    items_.swap(fresh);
}

const CronCaptureItem* OrvCaptureSchedule::due(std::time_t now) const {
    if (items_.empty() || items_.begin()->first > now) {
        return nullptr;
    }
    return &items_.begin()->second;
}

const CronCaptureItem* OrvCaptureSchedule::find(const CronCaptureItem& item) const {
    for (const auto& [time, scheduled] : items_) {
        if (scheduled.sameRhythm(item)) {
            return &scheduled;
        }
    }
    return nullptr;
}

// Composing the trace may fail for want of memory; by then the item has its new place.
void OrvCaptureSchedule::advance() {
    Items::node_type node = items_.extract(items_.begin());
    moveOn(node.mapped());
    node.key() = node.mapped().NextExecution;
    traceTimes("computeNextExecution", items_.insert(std::move(node))->second);
}

std::string OrvCaptureSchedule::dump() const {
    std::string text;
    for (const auto& [time, item] : items_) {
        text += orvFormat("  %s: %s %s, every %s weeks, LastExecution = %s, NextExecution = %s\n",
                          item.profileName().c_str(), item.dayName(), item.timeOfDayText().c_str(),
                          item.intervalText().c_str(), orvMailDateText(item.LastExecution).c_str(),
                          orvMailDateText(time).c_str());
    }
    return text;
}
