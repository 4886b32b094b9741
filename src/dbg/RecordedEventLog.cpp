#include "dbg/RecordedEventLog.h"

#include "app_log.h"
#include "base/OrvText.h"

#include <cstdarg>
#include <new>

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

void app_log(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
             Hsb_Component* component, const char* format, ...) {
    throwWithoutMemory();
    std::va_list arguments;
    va_start(arguments, format);
    recordedEventLog().push_back(
        {false, level, id, {slot, chip, port, spare}, flags, component, orvFormatV(format, arguments)});
    va_end(arguments);
}

void switch_alarm(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
                  Hsb_Component* component, const char* text) {
    throwWithoutMemory();
    recordedEventLog().push_back({true, level, id, {slot, chip, port, spare}, flags, component, text});
}
