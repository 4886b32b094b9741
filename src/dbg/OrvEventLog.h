// The one way to write to the switch's event log and to raise its alarms. Main thread only, but for reading the
// application.
//
// Every entry carries the flags value that marks the daemon's own entries, so none comes back as mail. Nothing here
// throws: an entry or alarm that finds no memory is lost, with a trace.
#pragma once

#include "dbg/OrvLogEntries.h"

#include <cstdint>
#include <type_traits>

class Hsb_Component;

inline constexpr std::uint32_t kOrvOwnEntryFlags = 4096;

__attribute__((format(printf, 3, 4))) void orvLog(int level, std::uint32_t id, const char* format, ...) noexcept;
// The same under kOrvLogId.
__attribute__((format(printf, 2, 3))) void orvLog(int level, const char* format, ...) noexcept;

// An alarm of the daemon: level 16, id 0.
void orvAlarm(const char* text) noexcept;
// The two alarms of a failed allocation.
void orvMemoryAlarm() noexcept;

// The component in whose name entries are written: the one application object, null before it exists. Any thread.
Hsb_Component* orvApplication();
void setOrvApplication(Hsb_Component* component);
