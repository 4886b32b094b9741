// One process on a LoopbackBus. Any number of them may live in one program.
#pragma once

#include "platform/transport/Transport.h"

#include <cstdint>

class LoopbackBus;

class LoopbackTransport final : public Transport {
public:
    explicit LoopbackTransport(LoopbackBus& bus) : bus_(bus) {}
    ~LoopbackTransport();
    LoopbackTransport(const LoopbackTransport&) = delete;
    LoopbackTransport& operator=(const LoopbackTransport&) = delete;

    [[nodiscard]] int join() override;
    bool lost() const override { return lost_; }
    void leave() override;
    [[nodiscard]] int attach(TransportReceiver& receiver, Hsb_Address& address) override;
    [[nodiscard]] int attachService(TransportReceiver& receiver, const Hsb_Address& address) override;
    void detach(const Hsb_Address& address) override;
    [[nodiscard]] int send(const Hsb_Message& message) override;

    // The connection breaks: the process has left the bus without having wished to, and lost() says so until it
    // joins again.
    void breakConnection();

private:
    static constexpr std::uint32_t NODE = 1;  // services stand on node 0

    bool maySendAs(const Hsb_Address& source) const;

    LoopbackBus& bus_;
    bool joined_ = false;
    bool lost_ = false;
    std::uint32_t process_ = 0;  // a new one with every join
    std::uint16_t lastSlot_ = 0;
};
