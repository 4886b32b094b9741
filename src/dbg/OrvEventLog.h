// The one way to write to the switch's event log and to raise its alarms. Main thread only, but for reading the
// application.
//
// Every entry carries the flags value that marks the daemon's own entries, so none comes back as mail. Nothing here
// throws: an entry or alarm that finds no memory is lost, with a trace.
#pragma once

#include "catalogue/OrvLogEntries.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

class Hsb_Component;

// Writes an entry of the catalogue, with what is to be filled in.
template <typename... Arguments>
void orvLog(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) noexcept;
// An alarm of the catalogue likewise.
template <typename... Arguments>
void orvAlarm(const OrvLogEntry<Arguments...>& alarm, std::type_identity_t<Arguments>... arguments) noexcept;

// The developer's share: the same text as a trace line of the calling method, before the entry or after it.
template <typename... Arguments>
void orvTraceAndLog(const char* module, const char* function, const OrvLogEntry<Arguments...>& entry,
                    std::type_identity_t<Arguments>... arguments) noexcept;
template <typename... Arguments>
void orvLogAndTrace(const char* module, const char* function, const OrvLogEntry<Arguments...>& entry,
                    std::type_identity_t<Arguments>... arguments) noexcept;

// An entry's text with what is to be filled in, cut to what the buffer takes. Needs no memory. Any thread.
template <typename... Arguments>
void orvFillEntry(std::span<char> buffer, const OrvLogEntry<Arguments...>& entry,
                  std::type_identity_t<Arguments>... arguments) noexcept;

// The two alarms of a failed allocation.
void orvMemoryAlarm() noexcept;

// The component in whose name entries are written: the one application object, null before it exists. Any thread.
Hsb_Component* orvApplication();
void setOrvApplication(Hsb_Component* component);

// Below the templates: the types were judged with the catalogue.
void orvTraceEntry(const char* module, const char* function, const char* text, ...) noexcept;
void orvWriteEntry(int level, std::uint32_t id, const char* text, ...) noexcept;
void orvRaiseAlarm(int level, std::uint32_t id, const char* text, ...) noexcept;
void orvFillText(char* buffer, std::size_t size, const char* text, ...) noexcept;

template <typename... Arguments>
void orvLog(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) noexcept {
    orvWriteEntry(entry.level, entry.id, entry.text, arguments...);
}

template <typename... Arguments>
void orvAlarm(const OrvLogEntry<Arguments...>& alarm, std::type_identity_t<Arguments>... arguments) noexcept {
    orvRaiseAlarm(alarm.level, alarm.id, alarm.text, arguments...);
}

template <typename... Arguments>
void orvTraceAndLog(const char* module, const char* function, const OrvLogEntry<Arguments...>& entry,
                    std::type_identity_t<Arguments>... arguments) noexcept {
    orvTraceEntry(module, function, entry.text, arguments...);
    orvLog(entry, arguments...);
}

template <typename... Arguments>
void orvLogAndTrace(const char* module, const char* function, const OrvLogEntry<Arguments...>& entry,
                    std::type_identity_t<Arguments>... arguments) noexcept {
    orvLog(entry, arguments...);
    orvTraceEntry(module, function, entry.text, arguments...);
}

template <typename... Arguments>
void orvFillEntry(std::span<char> buffer, const OrvLogEntry<Arguments...>& entry,
                  std::type_identity_t<Arguments>... arguments) noexcept {
    orvFillText(buffer.data(), buffer.size(), entry.text, arguments...);
}
