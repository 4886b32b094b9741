#include "platform/transport/loopback/LoopbackBus.h"

#include "Dispatcher.h"
#include "platform/posix/guarded.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

LoopbackBus::Match LoopbackBus::messages(std::uint16_t format, std::uint16_t code) {
    return [format, code](const Hsb_Message& message) { return message.format() == format && message.code() == code; };
}

LoopbackBus::Match LoopbackBus::messagesTo(const Hsb_Address& address) {
    return [address](const Hsb_Message& message) { return message.destination() == address; };
}

LoopbackBus::Match LoopbackBus::any() {
    return [](const Hsb_Message&) { return true; };
}

LoopbackBus::~LoopbackBus() {
    if (delivery_ != 0) {
        Dispatcher::instance()->cancel_timer(delivery_);
    }
}

void LoopbackBus::refuse(Match match, unsigned times) {
    faults_.push_back({std::move(match), Fate::REFUSE, times});
}

void LoopbackBus::drop(Match match, unsigned times) {
    faults_.push_back({std::move(match), Fate::DROP, times});
}

void LoopbackBus::hold(Match match, unsigned times) {
    faults_.push_back({std::move(match), Fate::HOLD, times});
}

void LoopbackBus::release() {
    while (!held_.empty()) {
        releaseOne(0);
    }
}

void LoopbackBus::releaseReversed() {
    while (!held_.empty()) {
        releaseOne(held_.size() - 1);
    }
}

void LoopbackBus::releaseOne(std::size_t index) {
    if (index >= held_.size()) {
        return;
    }
    Hsb_Message message = std::move(held_[index]);
    held_.erase(held_.begin() + static_cast<std::ptrdiff_t>(index));
    enqueue({std::move(message), {}});
}

LoopbackBus::Key LoopbackBus::key(const Hsb_Address& address) {
    return {std::uint64_t{address.node} << 32 | address.process, address.slot};
}

int LoopbackBus::attach(const Hsb_Address& address, const Party& party) {
    return parties_.emplace(key(address), party).second ? 0 : -1;
}

void LoopbackBus::detach(const Hsb_Address& address, const LoopbackTransport& process) {
    const auto party = parties_.find(key(address));
    if (party != parties_.end() && party->second.process == &process) {
        parties_.erase(party);
    }
}

bool LoopbackBus::holdsServices(const LoopbackTransport& process) const {
    return std::ranges::any_of(
        parties_, [&process](const auto& party) { return party.second.service && party.second.process == &process; });
}

void LoopbackBus::leave(const Hsb_Address& process, const LoopbackTransport& transport) {
    std::erase_if(parties_, [&transport](const auto& party) { return party.second.process == &transport; });
    enqueue({Hsb_Message{}, process});
}

int LoopbackBus::send(const Hsb_Message& message) {
    const Fate fate = fateOf(message);
    if (fate == Fate::REFUSE) {
        return -1;
    }
    if (observer_) {
        observer_(message);
    }
    if (fate == Fate::DELIVER) {
        enqueue({message, {}});
    } else if (fate == Fate::HOLD) {
        held_.push_back(message);
    }
    return 0;
}

LoopbackBus::Fate LoopbackBus::fateOf(const Hsb_Message& message) {
    const auto fault = std::ranges::find_if(faults_, [&message](const Fault& each) { return each.match(message); });
    if (fault == faults_.end()) {
        return Fate::DELIVER;
    }
    const Fate fate = fault->fate;
    if (fault->times != ALWAYS && --fault->times == 0) {
        faults_.erase(fault);
    }
    return fate;
}

void LoopbackBus::enqueue(Item item) {
    armDelivery();  // first: what cannot be delivered is not taken
    queue_.push_back(std::move(item));
}

// A timer that is due at once costs no system call, and fires also while a manual clock stands still.
void LoopbackBus::armDelivery() {
    if (delivery_ == 0) {
        delivery_ = Dispatcher::instance()->schedule_timer(Timeval(0, 0), false, [this] { deliver(); });
    }
}

// A bus for tests, of which many let memory fail for a while: it asks again.
void LoopbackBus::rearmDelivery() noexcept {
    bool armed = queue_.empty();
    for (int tries = 0; !armed && tries < 10000; ++tries) {
        try {
            armDelivery();
            armed = true;
        } catch (const std::bad_alloc&) {
        }
    }
}

void LoopbackBus::deliver() {
    // Whatever a receiver throws, the rest is delivered in the next turn.
    struct Rearm {
        LoopbackBus& bus;
        ~Rearm() {
            bus.rearmDelivery();
            bus.tellWatcher(false);
        }
    } const rearm{*this};
    tellWatcher(true);
    delivery_ = 0;
    for (std::size_t waiting = queue_.size(); waiting > 0 && !queue_.empty(); --waiting) {
        Item item = std::move(queue_.front());
        queue_.pop_front();
        deliver(item);
    }
}

void LoopbackBus::tellWatcher(bool begins) const {
    if (deliveryWatcher_) {
        deliveryWatcher_(begins);
    }
}

void LoopbackBus::deliver(Item& item) {
    if (item.left != Hsb_Address{}) {
        tellServices(item.left);
        return;
    }
    const auto party = parties_.find(key(item.message.destination()));
    if (party != parties_.end()) {
        party->second.receiver->receive(item.message);
    }
}

// Each service may take others off the bus when it is told.
void LoopbackBus::tellServices(const Hsb_Address& process) {
    std::vector<Key> services;
    for (const auto& [address, party] : parties_) {
        if (party.service) {
            services.push_back(address);
        }
    }
    for (const Key& address : services) {
        const auto party = parties_.find(address);
        if (party != parties_.end() && party->second.service) {
            guarded("a service", [&] { party->second.receiver->peerLeft(process); });
        }
    }
}
