#include "dbg/OrvEventLog.h"

#include "app_log.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <atomic>
#include <cstdarg>
#include <exception>

namespace {

constexpr int kAlarmLevel = 16;
constexpr std::uint32_t kAlarmId = 0;
constexpr int kResourceAlarmLevel = 0;
constexpr std::uint32_t kResourceAlarmId = 0x10050034u;

// Written by the main thread, read by the workers too.
std::atomic<Hsb_Component*> application{nullptr};

constexpr char kTraceModule[] = "OrvEventLog";

// Reporting a failure must not become one itself.
template <typename Report>
void reportOrTrace(const char* function, Report&& report) noexcept {
    try {
        report();
    } catch (const std::exception& exception) {
        orvTrace(kTraceModule, function, "lost: exception %s\n", exception.what());
    }
}

__attribute__((format(printf, 3, 0))) void write(int level, std::uint32_t id, const char* format,
                                                 std::va_list arguments) noexcept {
    reportOrTrace("orvLog", [&] {
        app_log(level, id, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), "%s",
                orvFormatV(format, arguments).c_str());
    });
}

void raise(int level, std::uint32_t id, const char* text) noexcept {
    reportOrTrace("orvAlarm",
                  [&] { switch_alarm(level, id, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), text); });
}

}  // namespace

void orvLog(int level, std::uint32_t id, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    write(level, id, format, arguments);
    va_end(arguments);
}

void orvLog(int level, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    write(level, kOrvLogId, format, arguments);
    va_end(arguments);
}

void orvAlarm(const char* text) noexcept {
    raise(kAlarmLevel, kAlarmId, text);
}

void orvMemoryAlarm() noexcept {
    raise(kResourceAlarmLevel, kResourceAlarmId, "System resource error - contact technical support");
    orvAlarm("OrvApp - cannot allocate memory");
}

Hsb_Component* orvApplication() {
    return application.load(std::memory_order_acquire);
}

void setOrvApplication(Hsb_Component* component) {
    application.store(component, std::memory_order_release);
}
