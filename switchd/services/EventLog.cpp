#include "switchd/services/EventLog.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "Sw_Log_Type.h"
#include "platform/wire/EventLogWire.h"
#include "uptime.h"

#include <cstdio>

namespace {

Sw_Log_Type recordOf(const EventLogEntry& entry) {
    const timeval now = calendar_time();
    Sw_Log_Type record;
    record.kind = entry.level;
    record.number = entry.id;
    record.slot = entry.slot;
    record.chip = entry.chip;
    record.port = entry.port;
    record.spare = entry.spare;
    record.flags = entry.flags;
    record.seconds = static_cast<std::uint32_t>(now.tv_sec);
    record.microseconds = static_cast<std::uint32_t>(now.tv_usec);
    record.text = entry.text.substr(0, EventLog::MAX_TEXT);
    return record;
}

LogEntry entryOf(const Sw_Log_Type& record, const std::string& component) {
    LogEntry entry;
    entry.seconds = record.seconds;
    entry.microseconds = static_cast<std::int32_t>(record.microseconds);
    entry.level = record.kind;
    entry.number = record.number;
    entry.flags = record.flags;
    entry.component = component;
    entry.text = record.text;
    return entry;
}

}  // namespace

EventLog::EventLog(Transport& transport, EventLogStore& store, EventService& events)
    : Service(transport, ServiceAddress::EVENT_LOG), store_(store), events_(events) {
}

void EventLog::receive(Hsb_Message& message) {
    const bool known = message.code() == EventLogCode::ENTRY || message.code() == EventLogCode::ALARM;
    if (message.format() != MessageFormat::EVENT_LOG || !known) {
        return;
    }
    if (const auto entry = decodeFields<EventLogEntry>(message.payload())) {
        (void)enter(recordOf(*entry), entry->component);
    }
}

int EventLog::enter(const Sw_Log_Type& record, const std::string& component) {
    LogEntry entry = entryOf(record, component);
    const int result = store_.append(entry);
    if (result < 0) {
        std::fprintf(stderr, "event log: an entry is lost: %s\n", store_.reason().c_str());
    } else {
        entries_.tell(entry);
    }
    events_.publish(SwitchEvent::LOG_RECORD, record.encode());
    return result;
}
