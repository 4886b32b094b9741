// The one way to write to the switch's event log and to raise its alarms. Main thread only, but for reading the
// application.
//
// Every entry carries the flags value that marks the daemon's own entries, so none comes back as mail. Nothing here
// throws: an entry or alarm that finds no memory is lost, with a trace.
#pragma once

#include <cstdint>

class Hsb_Component;

// Levels of the daemon's entries.
inline constexpr int kOrvLogCritical = 2;
inline constexpr int kOrvLogWarning = 3;
inline constexpr int kOrvLogInternal = 15;
inline constexpr int kOrvLogTask = 16;
inline constexpr int kOrvLogDetail = 17;
inline constexpr int kOrvLogInfo = 31;
// The message number of every entry that has none of its own.
inline constexpr std::uint32_t kOrvLogId = 0x8B000001u;
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
