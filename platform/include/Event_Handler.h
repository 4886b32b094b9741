// Somebody who waits for a descriptor on a Dispatcher. Called on the thread that runs that dispatcher.
#pragma once

class Event_Handler {
public:
    // Interest masks of Dispatcher::register_handler and remove_handler.
    static constexpr unsigned READ = 1;
    static constexpr unsigned WRITE = 2;
    static constexpr unsigned EXCEPTION = 4;
    static constexpr unsigned DONT_CALL = 16;  // remove_handler: do not call handle_close

    virtual ~Event_Handler() = default;

    // Each returns 0 to stay registered; a negative value makes the dispatcher drop the handler (handle_close).
    virtual int handle_output(int /*fd*/) { return 0; }
    virtual int handle_input(int /*fd*/) { return 0; }
    virtual int handle_exception(int /*fd*/) { return 0; }
    virtual int handle_close(int /*fd*/, unsigned /*mask*/) { return 0; }
    virtual int get_handle() const = 0;
    virtual void dump() const {}
};
