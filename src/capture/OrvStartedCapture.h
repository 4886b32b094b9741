// A capture that has been handed to the thread: its own copy of the item, so that a profile change meanwhile does
// not touch it, and the time of the check that started it.
#pragma once

#include "profile/CronCaptureItem.h"

#include <ctime>

struct OrvStartedCapture {
    OrvStartedCapture() = default;
    // The one copy that is made of an item when it is started.
    OrvStartedCapture(const CronCaptureItem& started, std::time_t time) : item(started), checkTime(time) {}

    CronCaptureItem item;
    std::time_t checkTime = 0;
};
