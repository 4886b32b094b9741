// A queue that a Dispatcher serves: it delivers every message on the dispatcher's thread, then destroys it.
//
// Made and destroyed on the dispatcher's thread, or while its loop does not run.
#pragma once

#include "Dispatcher.h"
#include "Event_Handler.h"
#include "thread/MtSelectQueue.h"

namespace Mt {

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
