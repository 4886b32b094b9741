#include "dbg/OrvEventLog.h"

#include "app_log.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <exception>

namespace {

constexpr std::size_t kLongestAlarm = 256;
constexpr std::size_t kLongestText = 512;  // in the catalogue

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

// The catalogue's texts were held against their arguments when they were compiled.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

void write(int level, std::uint32_t id, const char* format, std::va_list arguments) noexcept {
    reportOrTrace("orvLog", [&] {
        app_log(level, id, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), "%s",
                orvFormatV(format, arguments).c_str());
    });
}

// Into a buffer: an alarm may be about memory.
void fill(char* text, std::size_t size, const char* format, std::va_list arguments) noexcept {
    static_cast<void>(std::vsnprintf(text, size, format, arguments));
}

void trace(OrvDbg& logger, const char* module, const char* function, const char* format,
           std::va_list arguments) noexcept {
    logger.trace(module, function, format, arguments);
}

#pragma GCC diagnostic pop

void raise(int level, std::uint32_t id, const char* text) noexcept {
    reportOrTrace("orvAlarm",
                  [&] { switch_alarm(level, id, -1, -1, -1, -1, kOrvOwnEntryFlags, orvApplication(), text); });
}

}  // namespace

void orvWriteEntry(int level, std::uint32_t id, const char* text, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, text);
    write(level, id, text, arguments);
    va_end(arguments);
}

void orvTraceEntry(const char* module, const char* function, const char* text, ...) noexcept {
    OrvDbg* const logger = OrvDbg::ofThread();
    if (logger == nullptr) {
        return;
    }
    char line[kLongestText];
    static_cast<void>(
        std::snprintf(line, sizeof line, "%s%s", text, std::string_view(text).ends_with('\n') ? "" : "\n"));
    std::va_list arguments;
    va_start(arguments, text);
    trace(*logger, module, function, line, arguments);
    va_end(arguments);
}

void orvRaiseAlarm(int level, std::uint32_t id, const char* text, ...) noexcept {
    char filled[kLongestAlarm];
    std::va_list arguments;
    va_start(arguments, text);
    fill(filled, sizeof filled, text, arguments);
    va_end(arguments);
    raise(level, id, filled);
}

void orvFillText(char* buffer, std::size_t size, const char* text, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, text);
    fill(buffer, size, text, arguments);
    va_end(arguments);
}

void orvMemoryAlarm() noexcept {
    orvAlarm(orv_log::kNoMemory);
    orvAlarm(orv_log::kNoMemoryHere);
}

Hsb_Component* orvApplication() {
    return application.load(std::memory_order_acquire);
}

void setOrvApplication(Hsb_Component* component) {
    application.store(component, std::memory_order_release);
}
