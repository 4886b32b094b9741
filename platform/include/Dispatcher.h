// One thread's event loop: waits for descriptors and timers and calls their owners.
//
// Everything but wake() belongs to the thread that runs the loop, or to the time before it runs.
#pragma once

#include "Timeval.h"

#include <cstdint>
#include <functional>
#include <memory>

class Event_Handler;

class Dispatcher {
public:
    Dispatcher();
    ~Dispatcher();
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    // The main thread's loop; it is never destroyed.
    static Dispatcher* instance();

    // Watches handler->get_handle() for the events in mask (Event_Handler::READ ...). A handler registered again
    // gets the new mask. 0, or -1 when it has no descriptor.
    [[nodiscard]] int register_handler(Event_Handler* handler, unsigned mask);
    // Stops watching; calls handle_close unless mask holds DONT_CALL. 0, or -1 when it is not registered.
    int remove_handler(Event_Handler* handler, unsigned mask);

    // One turn of the loop: waits until something happens or the limit has passed (null: no limit), and calls the
    // owners of what happened. Returns the number of calls made, or -1 when waiting fails for good: what a want of
    // memory or a signal does to it is waited out for a few seconds.
    [[nodiscard]] int handle_events(const Timeval* limit);

    // Calls action once or periodically; returns a number for cancel_timer, never 0. Used by Hsb_Timer.
    std::uint64_t schedule_timer(const Timeval& interval, bool periodic, std::function<void()> action);
    void cancel_timer(std::uint64_t number);

    // Any thread: makes a waiting handle_events return soon.
    void wake();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
