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
    if (span == 0 && !periodic) {
        undelayed_.emplace_back(lastNumber_ + 1, std::move(action));
        return ++lastNumber_;
    }
    const std::uint64_t period = periodic ? std::max<std::uint64_t>(span, 1) : 0;
    const std::uint64_t deadline = hostClock().milliseconds() + std::max<std::uint64_t>(span, 1);
    timers_.emplace(Key{deadline, lastNumber_ + 1}, Timer{period, std::make_shared<const Action>(std::move(action))});
    return ++lastNumber_;
}

void Timers::cancel(std::uint64_t number) {
    const auto delayed = std::ranges::find(timers_, number, [](const auto& timer) { return timer.first.second; });
    if (delayed != timers_.end()) {
        timers_.erase(delayed);
        return;
    }
    const auto undelayed = std::ranges::find(undelayed_, number, [](const auto& timer) { return timer.first; });
    if (undelayed != undelayed_.end()) {
        undelayed_.erase(undelayed);
    }
}

int Timers::runDue() {
    const std::uint64_t newest = lastNumber_;
    const int undelayed = runUndelayed(newest);
    return undelayed + runDelayed(newest);
}

int Timers::runUndelayed(std::uint64_t newest) {
    int calls = 0;
    while (!undelayed_.empty() && undelayed_.front().first <= newest) {
        const Action action = std::move(undelayed_.front().second);
        undelayed_.pop_front();
        action();
        ++calls;
    }
    return calls;
}

// A timer scheduled meanwhile has a higher number and is not due yet, unless an action has moved the clock.
int Timers::runDelayed(std::uint64_t newest) {
    const std::uint64_t now = timers_.empty() ? 0 : hostClock().milliseconds();
    int calls = 0;
    while (!timers_.empty()) {
        const auto [deadline, number] = timers_.begin()->first;
        if (deadline > now || number > newest) {
            break;
        }
        auto node = timers_.extract(timers_.begin());
        const std::shared_ptr<const Action> action = node.mapped().action;
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
    if (!undelayed_.empty()) {
        return 0;
    }
    if (timers_.empty()) {
        return -1;
    }
    const std::uint64_t now = hostClock().milliseconds();
    const std::uint64_t deadline = timers_.begin()->first.first;
    return hostClock().realMilliseconds(deadline > now ? deadline - now : 0);
}
