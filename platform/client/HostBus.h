// This process's place on the bus: the transport it has joined and the components that stand in slots.
//
// The classes of the seam are thin users of this one. Main thread only.
#pragma once

#include "Hsb_Address.h"
#include "platform/client/SlotParty.h"
#include "platform/transport/Transport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class Hsb_Component;
class Hsb_Message;

class HostBus {
public:
    static HostBus& instance();

    void useTransport(Transport* transport) { chosen_ = transport; }

    // Takes a component's name on the bus for this process, before join() or after it.
    [[nodiscard]] Transport::Claim claim(const std::string& component);
    // 0 (also when already joined), or -1.
    [[nodiscard]] int join();
    // Every component is off the bus afterwards, without being told.
    void leave();
    bool joined() const { return transport_ != nullptr; }
    bool lost() const { return joined() && transport_->lost(); }

    // Puts a component on the bus under an address of its own. 0, or -1: not joined, or it stands in a slot already.
    [[nodiscard]] int attach(Hsb_Component* component, Hsb_Address& address);
    void detach(Hsb_Component* component);
    // The component's place; null when it has none.
    SlotParty* find(const Hsb_Component* component);

    // Sends a message from a component in a slot. 0, or -1.
    [[nodiscard]] int send(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                           std::vector<std::uint8_t> payload = {});
    // Sends a message from the component, or, when it stands in no slot, from any that does.
    [[nodiscard]] int sendFromAny(const Hsb_Component* from, const Hsb_Address& to, std::uint16_t format,
                                  std::uint16_t code, std::vector<std::uint8_t> payload);
    // Sends a message whose addresses are set.
    [[nodiscard]] int send(const Hsb_Message& message);

    // Tells the name service that the component, or every one, is no longer known under its name.
    void unregister(SlotParty& party);
    void unregisterAll();

private:
    HostBus() = default;
    // The transport to join through; null when there is none.
    Transport* choose();
    [[nodiscard]] int send(const SlotParty& from, const Hsb_Address& to, std::uint16_t format, std::uint16_t code,
                           std::vector<std::uint8_t> payload);

    Transport* chosen_ = nullptr;        // not owned; null: the linked one
    std::unique_ptr<Transport> linked_;  // owned from the first use of it to the end of being joined
    Transport* transport_ = nullptr;     // the one in use; null while not joined
    std::vector<std::unique_ptr<SlotParty>> parties_;
};

// The name that a component gives itself; empty when it gives none.
std::string componentName(Hsb_Component* component);
