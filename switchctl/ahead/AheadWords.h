// What the daemon traces and a look ahead listens for, beside DaemonWords. The tests of this room play the daemon
// itself: a text that has changed there is missed here.
#pragma once

#include "switchctl/traces/DaemonWords.h"

namespace AheadWords {

// A profile in a probe, and its keys.
inline constexpr TraceWords PROFILE = {"OrvCHProfile", "dumpProfileInfo", "\nProfile Information:"};
inline constexpr const char* NAME = "Name";
inline constexpr const char* LEVEL = "Level";
inline constexpr const char* PROCESSED = "ProcessedCount";
inline constexpr const char* RECIPIENT = "Email Addr[";
inline constexpr const char* DAY = "DayOfWeek";
inline constexpr const char* TIME = "TimeOfDay";
inline constexpr const char* WEEKS = "Interval";
inline constexpr const char* ENABLED = "CaptureEnable";
inline constexpr const char* NEXT = "NextExecution";

// Of the queue.
inline constexpr const char* THROTTLES = "throttleDuplicates";
inline constexpr const char* THROTTLE_PERIOD = "throttleDuplicatesPeriod";
inline constexpr const char* SPACE_IN_USE = "spaceInUse (total all queues)";
inline constexpr const char* ADDED = " added to the send queue";
inline constexpr const char* REMOVED = " removed from the send queue";
inline constexpr const char* TOO_LARGE = "message too big!";
inline constexpr const char* NO_ROOM = "unable to make room";

}  // namespace AheadWords
