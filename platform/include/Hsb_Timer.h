// A timer on the main thread's dispatcher. Main thread only.
#pragma once

#include "Timeval.h"

#include <cstdint>

class Hsb_Timer {
public:
    Hsb_Timer() = default;
    virtual ~Hsb_Timer();
    Hsb_Timer(const Hsb_Timer&) = delete;
    Hsb_Timer& operator=(const Hsb_Timer&) = delete;

    // Called on the main thread each time the timer runs out. Returns 0, or -1 (ignored).
    virtual int handle_timeout() = 0;

    void set(const Timeval& interval, bool periodic);
    // Arms the timer for one interval from now. 0, or -1 when no interval is set or no memory is to be had.
    [[nodiscard]] int start();
    // Stops a running timer; nothing when it is not running.
    void cancel();

private:
    Timeval interval_;
    bool periodic_ = false;
    std::uint64_t armed_ = 0;  // The dispatcher's number of the running timer; 0 when not running.
};
