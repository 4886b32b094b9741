// A capture that has been handed to the thread: its own copy of the item, so that a profile change meanwhile does
// not touch it, and the time of the check that started it.
#pragma once

#include "profile/CronCaptureItem.h"

#include <ctime>

struct OrvStartedCapture {
    CronCaptureItem item;
    std::time_t checkTime = 0;
};
