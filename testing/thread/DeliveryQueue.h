// Test support: messages that count themselves, and a queue that remembers what it delivered.
#pragma once

#include "thread/MtQueue.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

using Codes = std::vector<std::uint32_t>;

class Counted final : public Mt::Message {
public:
    explicit Counted(std::uint32_t code) : Message(code) { ++alive; }
    ~Counted() override { --alive; }

    static inline std::atomic<int> alive{0};
};

template <typename Loop>
class DeliveryQueueOf final : public Mt::EventQueue<Counted, Loop> {
public:
    using Mt::EventQueue<Counted, Loop>::EventQueue;
    using Mt::EventQueue<Counted, Loop>::readFd;
    Event_Handler* handler() { return this; }
    void pushCode(std::uint32_t code, bool block = false) {
        this->push(std::make_unique<Counted>(code), nullptr, block);
    }
    void process(Counted* message) override {
        delivered.push_back(message->code());
        if (onProcess) {
            onProcess(message->code());
        }
    }

    std::vector<std::uint32_t> delivered;
    std::function<void(std::uint32_t)> onProcess;
};
using DeliveryQueue = DeliveryQueueOf<Dispatcher>;

// One turn that does not wait; the number of calls made.
inline int turn(Dispatcher& dispatcher) {
    const Timeval now(0, 0);
    return dispatcher.handle_events(&now);
}
