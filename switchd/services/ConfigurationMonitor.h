// The switch's configuration monitor (message format 105): tells each component when to read its configuration and
// when to start.
//
// A component that says it is ready is told to read (96); once it acknowledges with status 0 it is told to start
// (97), once for each time it said it was ready. Main thread only.
#pragma once

#include "switchd/services/Components.h"
#include "switchd/services/Service.h"

class Hsb_Message;

class ConfigurationMonitor final : public Service {
public:
    ConfigurationMonitor(Transport& transport, Components& components);

    void receive(Hsb_Message& message) override;

private:
    void handleReady(const Hsb_Address& component);
    void handleAcknowledgement(const Hsb_Message& message);

    Components& components_;
};
