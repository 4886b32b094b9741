// The switch's event service (message formats 3 and 4): hands every event to those who subscribed to it.
//
// A consumer gets code 51 once, after its first subscription. A consumer that has left the bus is forgotten.
// Main thread only.
#pragma once

#include "MessageCodes.h"
#include "switchd/services/Service.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

class Hsb_Message;
struct EnsRequest;

class EventService final : public Service {
public:
    explicit EventService(Transport& transport);

    void receive(Hsb_Message& message) override;
    void peerLeft(const Hsb_Address& process) override;

    // Sends the event to its subscribers, in the order in which they subscribed; returns how many there are.
    std::size_t publish(const EventId& event, std::span<const std::uint8_t> data);

    std::size_t subscribers(const EventId& event) const;

private:
    void handlePublish(const Hsb_Message& message);
    void subscribe(const Hsb_Address& consumer, const EventId& event);
    void unsubscribe(const Hsb_Address& consumer, const EventId& event);

    std::map<EventId, std::vector<Hsb_Address>> subscribers_;
    std::vector<Hsb_Address> consumers_;  // those who got code 51
};
