// Somebody else on a loopback bus: a process of its own with one party that keeps what it receives.
//
// For talking to services, or to the process under test, in plain messages. Main thread only; the bus outlives it.
#pragma once

#include "Hsb_Message.h"
#include "platform/transport/loopback/LoopbackBus.h"
#include "platform/transport/loopback/LoopbackTransport.h"

#include <cstdint>
#include <vector>

class BusParty final : private TransportReceiver {
public:
    // Throws when it cannot join.
    explicit BusParty(LoopbackBus& bus);

    const Hsb_Address& address() const { return address_; }
    void send(const Hsb_Address& to, std::uint16_t format, std::uint16_t code, std::vector<std::uint8_t> payload = {});
    // The whole process leaves the bus.
    void leave() { transport_.leave(); }

    // Everything received, in order; take empties it.
    const std::vector<Hsb_Message>& messages() const { return messages_; }
    std::vector<Hsb_Message> take();

private:
    void receive(Hsb_Message& message) override { messages_.push_back(message); }

    LoopbackTransport transport_;
    Hsb_Address address_;
    std::vector<Hsb_Message> messages_;
};
