// All services of a switch on one transport, over its stores.
//
// The transport is joined before open() and outlives this, as do the stores. Main thread only.
#pragma once

#include "switchd/services/AttributeService.h"
#include "switchd/services/Components.h"
#include "switchd/services/ConfigurationMonitor.h"
#include "switchd/services/EventLog.h"
#include "switchd/services/EventService.h"
#include "switchd/services/Faults.h"
#include "switchd/services/ManagementService.h"
#include "switchd/services/NameService.h"
#include "switchd/services/OperatorService.h"
#include "switchd/services/SwitchEvents.h"

class SwitchServices {
public:
    SwitchServices(Transport& transport, AttributeStore& attributes, EventLogStore& log);

    // Takes the services' places on the bus. 0, or -1 when one of them is held by somebody else; then none is taken.
    [[nodiscard]] int open();
    void close();

    Faults& faults() { return faults_; }
    Components& components() { return components_; }
    EventService& events() { return events_; }
    EventLog& log() { return log_; }
    ManagementService& management() { return management_; }
    SwitchEvents& happenings() { return happenings_; }

private:
    Faults faults_;
    Components components_;
    NameService names_;
    EventService events_;
    AttributeService attributes_;
    ConfigurationMonitor monitor_;
    ManagementService management_;
    EventLog log_;
    SwitchEvents happenings_;
    OperatorService operator_;
};
