#include "platform/posix/Timers.h"

#include "platform/posix/Clock.h"

#include <algorithm>

namespace {

std::uint64_t roundedUpMilliseconds(const Timeval& interval) {
    if (interval.sec() < 0 || interval.usec() < 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(interval.sec()) * 1000 +
           (static_cast<std::uint64_t>(interval.usec()) + 999) / 1000;
}

}  // namespace

std::uint64_t Timers::schedule(const Timeval& interval, bool periodic, std::function<void()> action) {
    const std::uint64_t span = roundedUpMilliseconds(interval);
    const std::uint64_t period = periodic ? std::max<std::uint64_t>(span, 1) : 0;
    auto shared = std::make_shared<const std::function<void()>>(std::move(action));
    timers_.emplace(Key{hostClock().milliseconds() + span, lastNumber_ + 1}, Timer{period, std::move(shared)});
    return ++lastNumber_;
}

void Timers::cancel(std::uint64_t number) {
    const auto found = std::ranges::find(timers_, number, [](const auto& timer) { return timer.first.second; });
    if (found != timers_.end()) {
        timers_.erase(found);
    }
}

// A timer scheduled by an action has a higher number and no earlier deadline than all that were due before it, so
// the first such timer in the order ends this run.
int Timers::runDue() {
    const std::uint64_t newestNow = lastNumber_;
    const std::uint64_t now = timers_.empty() ? 0 : hostClock().milliseconds();
    int calls = 0;
    while (!timers_.empty()) {
        const auto [deadline, number] = timers_.begin()->first;
        if (deadline > now || number > newestNow) {
            break;
        }
        auto node = timers_.extract(timers_.begin());
        const auto action = node.mapped().action;
        if (const std::uint64_t period = node.mapped().period; period != 0) {
            node.key().first = deadline + period * ((now - deadline) / period + 1);
            timers_.insert(std::move(node));
        }
        (*action)();
        ++calls;
    }
    return calls;
}

int Timers::realMillisecondsToNext() const {
    if (timers_.empty()) {
        return -1;
    }
    const std::uint64_t now = hostClock().milliseconds();
    const std::uint64_t deadline = timers_.begin()->first.first;
    return hostClock().realMilliseconds(deadline > now ? deadline - now : 0);
}
