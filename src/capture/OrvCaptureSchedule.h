// Which capture runs when: the items of all profiles in the order of their next run.
//
// Calendar times are compared as they stand, 64 bits wide on the switch too, so the order holds beyond 2038.
// Daylight-saving changes before a run are not corrected for. Main thread only.
#pragma once

#include "profile/CronCaptureItem.h"

#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <vector>

class OrvCaptureSchedule {
public:
    // The next local occurrence of the item's day and time from now on; the present second counts as not passed.
    static void computeFirstExecution(CronCaptureItem& item);
    // One interval on from the scheduled time, whenever the capture really ran.
    static void computeNextExecution(CronCaptureItem& item);

    // Takes these items in place of all others, each from now on, whatever its rhythm was. One that was there before
    // with the same owner, day, time and interval keeps its times when it is due already; one that has run in this
    // second waits for its next weekday.
    void replace(const std::vector<CronCaptureItem>& items);
    // Every item starts afresh from now on: the clock was set.
    void recomputeQueue();

    // The first item whose time has come; null when there is none. Valid until the schedule changes.
    const CronCaptureItem* due(std::time_t now) const;
    // The copy of this item that is scheduled; null when there is none. Valid until the schedule changes.
    const CronCaptureItem* find(const CronCaptureItem& item) const;
    // Moves the first item one interval on. There must be one.
    void advance();

    bool empty() const { return items_.empty(); }
    std::size_t size() const { return items_.size(); }
    // One line an item, in order.
    std::string dump() const;

private:
    using Items = std::multimap<std::time_t, CronCaptureItem>;

    static void moveOn(CronCaptureItem& item);
    static void traceTimes(const char* method, const CronCaptureItem& item);
    // The times of an item that comes into the schedule.
    void setTimes(CronCaptureItem& item, std::time_t now) const;
    const CronCaptureItem* findDue(const CronCaptureItem& item, std::time_t now) const;
    const CronCaptureItem* findRun(const CronCaptureItem& item) const;

    Items items_;  // by NextExecution; equal times in the order of insertion
};
