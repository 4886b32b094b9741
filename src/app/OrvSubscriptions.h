// What the daemon asks of the event server. A request that cannot be sent raises an alarm.
//
// Main thread only.
#pragma once

#include "Hsb_Address.h"
#include "MessageCodes.h"

class Hsb_Component;

class OrvSubscriptions {
public:
    // In its name; must outlive this object.
    explicit OrvSubscriptions(Hsb_Component& component) : component_(component) {}

    // The event server is found.
    void setServer(const Hsb_Address& server) { server_ = server; }
    // Subscribes there to all that the daemon wants to hear of.
    void begin();
    // Kept: only the log's and the state's events are given up, the others stay subscribed.
    void end();

    // 0 or -1.
    int subscribeConsumer(const EventId& event);
    int unsubscribeConsumer(const EventId& event);
    int addProducer(const EventId& event);
    int removeProducer(const EventId& event);

private:
    Hsb_Component& component_;
    Hsb_Address server_;
};
