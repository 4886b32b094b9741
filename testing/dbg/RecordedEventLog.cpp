#include "testing/dbg/RecordedEventLog.h"

#include "app_log.h"
#include "base/OrvText.h"
#include "catalogue/OrvEventCatalogue.h"
#include "dbg/OrvEventLog.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <new>
#include <utility>

std::vector<RecordedEntry>& recordedEventLog() {
    static thread_local std::vector<RecordedEntry> entries;
    return entries;
}

bool& eventLogWithoutMemory() {
    static thread_local bool without = false;
    return without;
}

static void throwWithoutMemory() {
    if (eventLogWithoutMemory()) {
        throw std::bad_alloc();
    }
}

// What the daemon writes itself must be in its catalogue.
static void record(RecordedEntry entry) {
    const bool daemons = entry.flags == kOrvOwnEntryFlags && entry.component == orvApplication();
    if (daemons && !orvFindInCatalogue(entry.level, entry.id, entry.text)) {
        ADD_FAILURE() << "not in the daemon's catalogue: " << entry;
    }
    recordedEventLog().push_back(std::move(entry));
}

void app_log(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
             Hsb_Component* component, const char* format, ...) {
    throwWithoutMemory();
    std::va_list arguments;
    va_start(arguments, format);
    record({false, level, id, {slot, chip, port, spare}, flags, component, orvFormatV(format, arguments)});
    va_end(arguments);
}

void switch_alarm(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
                  Hsb_Component* component, const char* text) {
    throwWithoutMemory();
    record({true, level, id, {slot, chip, port, spare}, flags, component, text});
}
