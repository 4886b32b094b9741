// The daemon's way onto the bus of a box: what happens on the bus is spared from trouble, but for what the daemon does
// with what it receives. Main thread only; outlives its parties.
#pragma once

#include "box/Trouble.h"
#include "platform/transport/Transport.h"
#include "platform/transport/loopback/LoopbackTransport.h"

#include <list>

namespace box {

class DaemonSide final : public Transport {
public:
    explicit DaemonSide(LoopbackBus& bus) : inner_(bus) {}

    int join() override {
        const Spared spared;
        return inner_.join();
    }
    bool lost() const override { return inner_.lost(); }
    void leave() override {
        const Spared spared;
        inner_.leave();
    }
    int attach(TransportReceiver& receiver, Hsb_Address& address) override {
        const Spared spared;
        parties_.emplace_back(receiver);
        return inner_.attach(parties_.back(), address);
    }
    int attachService(TransportReceiver& /*receiver*/, const Hsb_Address& /*address*/) override { return -1; }
    void detach(const Hsb_Address& address) override {
        const Spared spared;
        inner_.detach(address);
    }
    int send(const Hsb_Message& message) override {
        const Spared spared;
        return inner_.send(message);
    }

private:
    class Party final : public TransportReceiver {
    public:
        explicit Party(TransportReceiver& owner) : owner_(owner) {}
        void receive(Hsb_Message& message) override {
            const Spared daemonsAgain(false);
            owner_.receive(message);
        }

    private:
        TransportReceiver& owner_;
    };

    LoopbackTransport inner_;
    std::list<Party> parties_;
};

}  // namespace box
