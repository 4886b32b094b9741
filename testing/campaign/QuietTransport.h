// The daemon's way onto the bus, on which what the bus and the switch need of memory is not the daemon's.
//
// Everything that the main thread does within the bus is paused (MemoryFaults::Pause), but for what the daemon's own
// parties do with what they receive. Main thread only; outlives its parties.
#pragma once

#include "platform/transport/Transport.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "testing/MemoryFaults.h"

#include <list>

class QuietTransport final : public Transport {
public:
    explicit QuietTransport(LoopbackBus& bus) : inner_(bus) {}

    int join() override {
        const MemoryFaults::Pause pause;
        return inner_.join();
    }
    bool lost() const override { return inner_.lost(); }
    void leave() override {
        const MemoryFaults::Pause pause;
        inner_.leave();
    }
    int attach(TransportReceiver& receiver, Hsb_Address& address) override {
        const MemoryFaults::Pause pause;
        parties_.emplace_back(receiver);
        return inner_.attach(parties_.back(), address);
    }
    int attachService(TransportReceiver&, const Hsb_Address&) override { return -1; }
    void detach(const Hsb_Address& address) override {
        const MemoryFaults::Pause pause;
        inner_.detach(address);
    }
    int send(const Hsb_Message& message) override {
        const MemoryFaults::Pause pause;
        return inner_.send(message);
    }

private:
    class Party final : public TransportReceiver {
    public:
        explicit Party(TransportReceiver& owner) : owner_(owner) {}
        void receive(Hsb_Message& message) override {
            const MemoryFaults::Pause daemonsAgain(false);
            owner_.receive(message);
        }

    private:
        TransportReceiver& owner_;
    };

    LoopbackTransport inner_;
    std::list<Party> parties_;
};
