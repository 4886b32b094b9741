// A component to test other rooms with: stands on the bus under a name, keeps what it receives, and hands the
// attribute service's answers to whoever asked for them. Main thread only.
#pragma once

#include "DSCallbacks.h"
#include "Hsb_Component.h"
#include "Hsb_Message.h"
#include "Hsb_Slot.h"
#include "dsClient.h"

#include <functional>
#include <string>
#include <vector>

class StubComponent final : public Hsb_Component, private DSCallbacks {
public:
    explicit StubComponent(std::string name = "OrvApp") : name_(std::move(name)) {}
    ~StubComponent() override { slot_.remove(); }

    // Stands on the bus from now on, registered under its name and connected with the attribute service once the
    // loop has run. Throws when it cannot.
    void insert();
    void remove() { slot_.remove(); }

    const Hsb_Address& address() const { return slot_.address(); }
    dsClient& ds() { return ds_; }
    bool dsReady() const { return dsReady_; }

    // Everything received, in order.
    const std::vector<Hsb_Message>& messages() const { return messages_; }
    std::vector<Hsb_Message> take();

    // Called with each message after it was kept; answers of the attribute service also go to the others.
    std::function<void(Hsb_Message&)> onMessage;
    std::function<void(const DsAttrReply&)> onAttribute;
    std::function<void(const DsBulkReply&)> onBulk;
    std::function<void(const DsStatusReply&)> onStatus;

    int component_name(char* buffer, int length) override;
    int handle_message(Hsb_Message* message) override;

private:
    void DSApiReady() override { dsReady_ = true; }
    void handOut(const Hsb_Message& message);

    std::string name_;
    dsClient ds_;
    bool dsReady_ = false;
    std::vector<Hsb_Message> messages_;
    Hsb_Slot slot_;
};
