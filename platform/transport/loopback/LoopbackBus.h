// A bus within one process, for tests and for programs that hold the whole switch.
//
// Messages arrive in exactly the order sent, from the main dispatcher's loop: one turn delivers what was waiting when
// it began. Faults are asked for here, by what a message looks like; the first one that matches decides. Main thread
// only; outlives the transports on it.
#pragma once

#include "Hsb_Message.h"
#include "platform/transport/Transport.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>

class LoopbackTransport;

class LoopbackBus {
public:
    using Match = std::function<bool(const Hsb_Message&)>;
    static constexpr unsigned ALWAYS = 0xFFFFFFFFu;

    // Matches every message of this format and code.
    static Match messages(std::uint16_t format, std::uint16_t code);
    // Matches every message to this address.
    static Match messagesTo(const Hsb_Address& address);
    static Match any();

    LoopbackBus() = default;
    ~LoopbackBus();
    LoopbackBus(const LoopbackBus&) = delete;
    LoopbackBus& operator=(const LoopbackBus&) = delete;

    // The next `times` sends that match fail, as if the bus had no room.
    void refuse(Match match, unsigned times = ALWAYS);
    // The next `times` messages that match get lost on the way.
    void drop(Match match, unsigned times = ALWAYS);
    // The next `times` messages that match wait until they are released.
    void hold(Match match, unsigned times = ALWAYS);
    // No more faults; what is held stays held.
    void clearFaults() { faults_.clear(); }
    // No process can join any more, or again.
    void refuseJoins(bool refused) { joinsRefused_ = refused; }

    std::size_t held() const { return held_.size(); }
    // Lets the held messages go on, behind all that is queued, oldest or newest first.
    void release();
    void releaseReversed();
    // Lets one held message go on, 0 being the oldest. Nothing when there is no such message.
    void releaseOne(std::size_t index);
    void dropHeld() { held_.clear(); }

    // Sees every message that is sent and not refused, at once; null ends it.
    void observe(std::function<void(const Hsb_Message&)> observer) { observer_ = std::move(observer); }

    // Told when a delivery begins (true) and when it has ended: what happens in between is the bus's, and its parties'.
    void watchDeliveries(std::function<void(bool)> watcher) { deliveryWatcher_ = std::move(watcher); }

    // Nothing is on its way; held messages do not count.
    bool idle() const { return queue_.empty(); }

private:
    friend class LoopbackTransport;

    enum class Fate { DELIVER, REFUSE, DROP, HOLD };
    struct Fault {
        Match match;
        Fate fate;
        unsigned times;
    };
    struct Party {
        TransportReceiver* receiver;
        const LoopbackTransport* process;
        bool service;
    };
    // A message, or, when there is a process, the news that this one has left.
    struct Item {
        Hsb_Message message;
        Hsb_Address left;
    };
    using Key = std::pair<std::uint64_t, std::uint16_t>;  // node and process, slot

    static Key key(const Hsb_Address& address);

    std::uint32_t newProcess() { return ++lastProcess_; }
    [[nodiscard]] int attach(const Hsb_Address& address, const Party& party);
    void detach(const Hsb_Address& address, const LoopbackTransport& process);
    bool holdsServices(const LoopbackTransport& process) const;
    // Takes all of its parties off the bus and tells the services.
    void leave(const Hsb_Address& process, const LoopbackTransport& transport);
    [[nodiscard]] int send(const Hsb_Message& message);

    Fate fateOf(const Hsb_Message& message);
    void enqueue(Item item);
    void armDelivery();
    void rearmDelivery() noexcept;
    void deliver();
    void deliver(Item& item);
    void tellWatcher(bool begins) const;
    void tellServices(const Hsb_Address& process);

    std::map<Key, Party> parties_;
    std::deque<Item> queue_;
    std::deque<Hsb_Message> held_;
    std::list<Fault> faults_;
    std::function<void(const Hsb_Message&)> observer_;
    std::function<void(bool)> deliveryWatcher_;
    std::uint32_t lastProcess_ = 0;
    std::uint64_t delivery_ = 0;  // the timer of the next delivery; 0: none is due
    bool joinsRefused_ = false;
};
