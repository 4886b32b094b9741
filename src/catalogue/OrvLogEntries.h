// The kinds of event-log entries and alarms that the daemon writes, as constants: orv_log::kRetryLater and so on. Their
// rows, with what each means to an operator, stand in OrvLogEntries.inc.
#pragma once

#include "catalogue/OrvLogEntry.h"

// Levels of the daemon's entries.
inline constexpr int kOrvLogCritical = 2;
inline constexpr int kOrvLogWarning = 3;
inline constexpr int kOrvLogInternal = 15;
inline constexpr int kOrvLogTask = 16;
inline constexpr int kOrvLogDetail = 17;
inline constexpr int kOrvLogInfo = 31;
// The number of every entry that has none of its own.
inline constexpr std::uint32_t kOrvLogId = 0x8B000001u;
// The flags that mark the daemon's own entries.
inline constexpr std::uint32_t kOrvOwnEntryFlags = 4096;

namespace orv_log {

#define ORV_TYPES(...) __VA_ARGS__
#define SECTION(title)
#define ENTRY(name, level, number, types, text, since, cause, remedy) \
    inline constexpr OrvLogEntry<ORV_TYPES types> name{level, number, text};
#define ALARM ENTRY
#include "catalogue/OrvLogEntries.inc"
#undef ALARM
#undef ENTRY
#undef SECTION
#undef ORV_TYPES

}  // namespace orv_log
