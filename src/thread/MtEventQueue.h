// Queues that their consumer need not ask: one makes a descriptor readable, the other is served by a Dispatcher.
#pragma once

#include "Descriptor.h"
#include "Dispatcher.h"
#include "Event_Handler.h"
#include "thread/MtQueue.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Mt {

// Each push makes the read end of a pipe readable. The pipe carries no data, only wake-ups. Any thread pushes; what
// concerns the read end is the consumer's.
template <typename T>
class SelectQueue : public Queue<T> {
public:
    // Throws a text (const char*) when there is no pipe to be had.
    SelectQueue() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) < 0) {
            throw "pipe create";
        }
        readFd_.reset(ends[0]);
        writeFd_.reset(ends[1]);
        if (fcntl(ends[0], F_SETFL, O_NONBLOCK) < 0 || fcntl(ends[1], F_SETFL, O_NONBLOCK) < 0) {
            throw "pipe nonblock";
        }
    }

    void push(std::unique_ptr<T> message, std::uint32_t* sequenceOut, bool block) override {
        {
            const Lock lock(this->mutex());
            this->append(std::move(message), sequenceOut);
            this->fillIfHigh(block);
            if (this->isFull()) {
                wakeConsumer();  // before the wait, which only the consumer can end
                this->waitWhileFull();
                return;
            }
        }
        wakeConsumer();
    }

protected:
    int readFd() const { return readFd_.get(); }

    // Takes what the pipe holds: less than was asked for is the rest of it.
    void drainPipe() ORV_REQUIRES(this->mutex()) {
        char bytes[256];
        constexpr auto kAll = static_cast<ssize_t>(sizeof bytes);
        ssize_t taken = 0;
        do {
            taken = ::read(readFd(), bytes, sizeof bytes);
        } while (taken == kAll || (taken < 0 && errno == EINTR));
    }

private:
    // A pipe that is full wakes the consumer anyway.
    void wakeConsumer() {
        while (::write(writeFd_.get(), "X", 1) < 0 && errno == EINTR) {
        }
    }

    // The last one goes first: nobody finds a pipe to write to that has no reader.
    Descriptor readFd_;
    Descriptor writeFd_;
};

// Delivers every message on the dispatcher's thread, then destroys it. Made and destroyed on the dispatcher's thread,
// or while its loop does not run.
//
// Of the platform's dispatcher, or of one that is like it.
template <typename T, typename Loop = Dispatcher>
class EventQueue : public SelectQueue<T>, protected Event_Handler {
public:
    // Throws a text (const char*) when there is no pipe or the dispatcher refuses.
    explicit EventQueue(Loop& dispatcher) : dispatcher_(dispatcher) {
        if (dispatcher_.register_handler(this, READ) != 0) {
            throw "register_handler failed";
        }
    }
    ~EventQueue() override { deregister(); }

    // Hands one message to its owner. Without the lock: the owner may push into this very queue.
    virtual void process(T* message) = 0;

protected:
    int get_handle() const final { return this->readFd(); }

    int handle_input(int /*fd*/) override {
        while (const std::unique_ptr<T> message = take()) {
            process(message.get());
        }
        const Lock lock(this->mutex());
        if (this->empty()) {  // else a push came in between: the bytes stay, and the dispatcher calls again
            this->drainPipe();
        }
        return 0;
    }

    int handle_close(int /*fd*/, unsigned /*mask*/) override { return deregister(); }

private:
    std::unique_ptr<T> take() {
        const Lock lock(this->mutex());
        return this->pop();
    }

    int deregister() { return dispatcher_.remove_handler(this, READ | DONT_CALL); }

    Loop& dispatcher_;
};

}  // namespace Mt
