#include "platform/transport/loopback/LoopbackTransport.h"

#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "platform/transport/loopback/LoopbackBus.h"

LoopbackTransport::~LoopbackTransport() {
    leave();
}

int LoopbackTransport::join() {
    if (bus_.joinsRefused_) {
        return -1;
    }
    if (!joined_) {
        process_ = bus_.newProcess();
        joined_ = true;
        lost_ = false;
    }
    return 0;
}

void LoopbackTransport::leave() {
    if (joined_) {
        joined_ = false;
        bus_.leave({NODE, process_, 0xFFFF}, *this);
    }
}

void LoopbackTransport::breakConnection() {
    if (joined_) {
        leave();
        lost_ = true;
        Dispatcher::instance()->wake();
    }
}

int LoopbackTransport::attach(TransportReceiver& receiver, Hsb_Address& address) {
    const Hsb_Address own{NODE, process_, static_cast<std::uint16_t>(lastSlot_ + 1)};
    if (!joined_ || own.slot == 0xFFFF || bus_.attach(own, {&receiver, this, false}) < 0) {
        return -1;
    }
    lastSlot_ = own.slot;
    address = own;
    return 0;
}

int LoopbackTransport::attachService(TransportReceiver& receiver, const Hsb_Address& address) {
    return joined_ ? bus_.attach(address, {&receiver, this, true}) : -1;
}

void LoopbackTransport::detach(const Hsb_Address& address) {
    bus_.detach(address, *this);
}

int LoopbackTransport::send(const Hsb_Message& message) {
    if (!joined_) {
        return -1;
    }
    if (maySendAs(message.source())) {
        return bus_.send(message);
    }
    Hsb_Message vouched = message;
    vouched.source({NODE, process_, message.source().slot});
    return bus_.send(vouched);
}

bool LoopbackTransport::maySendAs(const Hsb_Address& source) const {
    return source.node == 0 ? bus_.holdsServices(*this) : source.node == NODE && source.process == process_;
}
