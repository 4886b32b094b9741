#include "dbg/OrvEventLog.h"

#include "app_log.h"
#include "base/OrvText.h"

#include <atomic>
#include <cstdarg>

namespace {

constexpr int kAlarmLevel = 16;
constexpr std::uint32_t kAlarmId = 0;
constexpr int kResourceAlarmLevel = 0;
constexpr std::uint32_t kResourceAlarmId = 0x10050034u;

// Written by the main thread, read by the workers too.
std::atomic<Hsb_Component*> application{nullptr};

__attribute__((format(printf, 3, 0))) void write(int level, std::uint32_t id, const char* format,
                                                 std::va_list arguments) {
    app_log(level, id, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), "%s",
            orvFormatV(format, arguments).c_str());
}

}  // namespace

void orvLog(int level, std::uint32_t id, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    write(level, id, format, arguments);
    va_end(arguments);
}

void orvLog(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    write(level, kOrvLogId, format, arguments);
    va_end(arguments);
}

void orvAlarm(const char* text) {
    switch_alarm(kAlarmLevel, kAlarmId, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), text);
}

void orvMemoryAlarm() {
    switch_alarm(kResourceAlarmLevel, kResourceAlarmId, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(),
                 "System resource error - contact technical support");
    orvAlarm("OrvApp - cannot allocate memory");
}

Hsb_Component* orvApplication() {
    return application.load(std::memory_order_acquire);
}

void setOrvApplication(Hsb_Component* component) {
    application.store(component, std::memory_order_release);
}
