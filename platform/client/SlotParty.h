// One component in its slot, as the transport sees it: takes its messages and hands them over.
//
// What only services may say is dropped when somebody else says it (Speakers). The attribute store's answer to a
// connect is kept from the component; its DSCallbacks hear of it. A component's exception ends here.
#pragma once

#include "Hsb_Address.h"
#include "platform/transport/Transport.h"

#include <string>

class DSCallbacks;
class Hsb_Component;
class Hsb_Message;

class SlotParty final : public TransportReceiver {
public:
    explicit SlotParty(Hsb_Component& component) : component_(component) {}

    Hsb_Component& component() const { return component_; }

    // The component may leave its slot while this runs.
    void receive(Hsb_Message& message) override;

    // These are told when the attribute store answers.
    void awaitStore(DSCallbacks* callbacks) { awaitingStore_ = callbacks; }

    Hsb_Address address;
    std::string registeredName;  // known to the name service under this name; empty: not registered

private:
    void storeAnswered(const Hsb_Message& message);

    Hsb_Component& component_;
    DSCallbacks* awaitingStore_ = nullptr;  // null: no connect is under way
};
