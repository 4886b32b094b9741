#include "Hsb_Timer.h"

#include "Dispatcher.h"
#include "platform/posix/persistently.h"

Hsb_Timer::~Hsb_Timer() {
    cancel();
}

void Hsb_Timer::set(const Timeval& interval, bool periodic) {
    interval_ = interval;
    periodic_ = periodic;
}

int Hsb_Timer::start() {
    if (interval_.sec() < 0 || interval_.usec() < 0 || (interval_.sec() == 0 && interval_.usec() == 0)) {
        return -1;
    }
    // The action keeps its own copy of periodic: set() may change ours while the timer runs.
    const auto action = [this, again = periodic_] {
        if (!again) {
            armed_ = 0;
        }
        handle_timeout();  // last: it may destroy the timer
    };
    std::uint64_t next = 0;
    // A daemon without its tick does nothing more.
    if (!persistently("setting a timer",
                      [&] { next = Dispatcher::instance()->schedule_timer(interval_, periodic_, action); })) {
        return -1;
    }
    cancel();  // not before: a timer that cannot be set anew for want of memory runs on
    armed_ = next;
    return 0;
}

void Hsb_Timer::cancel() {
    if (armed_ != 0) {
        Dispatcher::instance()->cancel_timer(armed_);
        armed_ = 0;
    }
}
