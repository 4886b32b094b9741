#include "switchd/services/ConfigurationMonitor.h"

#include "Hsb_Message.h"
#include "MessageCodes.h"
#include "platform/wire/CmonWire.h"

ConfigurationMonitor::ConfigurationMonitor(Transport& transport, Components& components)
    : Service(transport, ServiceAddress::MONITOR), components_(components) {
}

void ConfigurationMonitor::receive(Hsb_Message& message) {
    if (message.format() != MessageFormat::CMON) {
        return;
    }
    switch (message.code()) {
        case CmonCode::READY_FOR_CONF:
            return handleReady(message.source());
        case CmonCode::CONF_READ_ACK:
            return handleAcknowledgement(message);
        default:
            return;
    }
}

void ConfigurationMonitor::handleReady(const Hsb_Address& component) {
    components_.reached(component, ComponentState::READY);
    send(component, MessageFormat::CMON, CmonCode::READ_CONF);
}

// A second acknowledgement of the same start finds the component started, and changes nothing.
void ConfigurationMonitor::handleAcknowledgement(const Hsb_Message& message) {
    const auto acknowledgement = decodeFields<CmonConfReadAck>(message.payload());
    const Hsb_Address& component = message.source();
    if (!acknowledgement || acknowledgement->status != 0 || components_.stateOf(component) != ComponentState::READY) {
        return;
    }
    components_.reached(component, ComponentState::CONFIGURED);
    send(component, MessageFormat::CMON, CmonCode::START);
    components_.reached(component, ComponentState::STARTED);
}
