// What can happen to a switch, made to happen: each operation publishes the event that components would see.
//
// Main thread only. What can fail returns 0, or -1 with a reason for an operator to read; then nothing was published,
// unless said otherwise.
#pragma once

#include "MessageCodes.h"
#include "Sw_Log_Type.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

class AttributeStore;
class EventLog;
class EventService;

class SwitchEvents {
public:
    static constexpr const char* STATE_KEY = "Config.Switch.AdminState";

    SwitchEvents(AttributeStore& store, EventService& events, EventLog& log);

    // Enters a record in the event log and publishes it, even when it could not be kept. Without a time of its own it
    // gets the present time.
    [[nodiscard]] int logRecord(Sw_Log_Type record, bool timed);
    // The switch's operational state: attribute and event.
    [[nodiscard]] int state(const std::string& text);
    // The addresses of the management interface have changed.
    [[nodiscard]] int addresses(const std::vector<std::string>& addresses);
    // The switch's host name has changed.
    void hostname(const std::string& name);
    // Any event at all.
    void raw(const EventId& event, std::span<const std::uint8_t> data);

    const std::string& reason() const { return reason_; }

private:
    void publishText(const EventId& event, const std::string& text);

    AttributeStore& store_;
    EventService& events_;
    EventLog& log_;
    std::string reason_;
};
