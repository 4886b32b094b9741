#include "app_log.h"

#include "Log_Event.h"
#include "MessageCodes.h"
#include "platform/client/HostBus.h"
#include "platform/posix/guarded.h"
#include "platform/wire/EventLogWire.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr std::size_t LONGEST_TEXT = 4096;  // its NUL included; what is longer is cut

// While the event log cannot be reached, or memory is short, the line goes to syslog: it must not get lost.
template <typename Entry>
void enter(std::uint16_t code, Hsb_Component* component, const char* text, Entry&& entryOf) {
    const bool open = Log_Event::instance_m != nullptr && Log_Event::instance_m->isOpen();
    int sent = -1;
    if (open) {
        guarded("event log", [&] {
            EventLogEntry entry = entryOf();
            entry.component = componentName(component);
            sent = HostBus::instance().sendFromAny(component, ServiceAddress::EVENT_LOG, MessageFormat::EVENT_LOG, code,
                                                   encodeFields(entry));
        });
    }
    if (sent < 0) {
        syslog(LOG_NOTICE, "%s", text);
    }
}

}  // namespace

void app_log(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
             Hsb_Component* component, const char* format, ...) {
    std::array<char, LONGEST_TEXT> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    enter(EventLogCode::ENTRY, component, text.data(),
          [&] { return EventLogEntry{level, id, slot, chip, port, spare, flags, {}, text.data()}; });
}

void switch_alarm(int level, std::uint32_t id, int slot, int chip, int port, int spare, std::uint32_t flags,
                  Hsb_Component* component, const char* text) {
    const char* const shown = text != nullptr ? text : "";
    enter(EventLogCode::ALARM, component, shown,
          [&] { return EventLogEntry{level, id, slot, chip, port, spare, flags, {}, shown}; });
}
