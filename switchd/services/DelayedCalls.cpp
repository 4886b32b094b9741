#include "switchd/services/DelayedCalls.h"

#include "Dispatcher.h"

#include <memory>
#include <utility>

DelayedCalls::~DelayedCalls() {
    for (const std::uint64_t timer : timers_) {
        Dispatcher::instance()->cancel_timer(timer);
    }
}

void DelayedCalls::after(std::uint32_t milliseconds, std::function<void()> call) {
    const Timeval interval(milliseconds / 1000, static_cast<std::int32_t>(milliseconds % 1000 * 1000));
    // The timer's number is known only once it is scheduled.
    auto number = std::make_shared<std::uint64_t>(0);
    *number = Dispatcher::instance()->schedule_timer(interval, false, [this, number, action = std::move(call)] {
        timers_.erase(*number);
        action();
    });
    timers_.insert(*number);
}
