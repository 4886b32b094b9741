// The switch's event log service (message format 109): keeps every entry and publishes it as event category 1,
// number 0 (a Sw_Log_Type record whose kind is the entry's level). Main thread only.
#pragma once

#include "switchd/services/EventService.h"
#include "switchd/services/Observers.h"
#include "switchd/services/Service.h"
#include "switchd/store/EventLogStore.h"

#include <string>

class Hsb_Message;
struct Sw_Log_Type;

class EventLog final : public Service {
public:
    // Bytes of text that are kept; the rest of a longer one is cut.
    static constexpr std::size_t MAX_TEXT = 65535;

    EventLog(Transport& transport, EventLogStore& store, EventService& events);

    void receive(Hsb_Message& message) override;

    // Keeps a record under the component's name and publishes it as it stands. 0, or -1 when it could not be kept;
    // it is published all the same.
    [[nodiscard]] int enter(const Sw_Log_Type& record, const std::string& component);

    // Told of each entry that was kept.
    Observers<LogEntry>& entries() { return entries_; }

private:
    EventLogStore& store_;
    EventService& events_;
    Observers<LogEntry> entries_;
};
