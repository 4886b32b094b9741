#include "platform/transport/dbus/DbusAlarm.h"

#include "Dispatcher.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <ctime>

int DbusAlarm::start() {
    timer_ = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    if (!timer_ || Dispatcher::instance()->register_handler(this, READ) < 0) {
        timer_.reset();
        return -1;
    }
    return 0;
}

void DbusAlarm::stop() noexcept {
    if (timer_) {
        Dispatcher::instance()->remove_handler(this, READ | DONT_CALL);
        timer_.reset();
        set_ = false;
    }
}

void DbusAlarm::set(std::uint64_t deadline) noexcept {
    if (!timer_ || (deadline == NEVER && !set_)) {
        return;
    }
    itimerspec setting{};  // all zeros: never
    if (deadline != NEVER) {
        const std::uint64_t time = std::max<std::uint64_t>(deadline, 1);
        setting.it_value.tv_sec = static_cast<decltype(setting.it_value.tv_sec)>(time / 1000000);
        setting.it_value.tv_nsec = static_cast<decltype(setting.it_value.tv_nsec)>(time % 1000000 * 1000);
    }
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
    set_ = deadline != NEVER;
}

void DbusAlarm::setIn(int milliseconds) noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    set(static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000 +
        static_cast<std::uint64_t>(milliseconds) * 1000);
}

// Stays readable until it is set anew: whoever throws in here is called again.
int DbusAlarm::handle_input(int /*fd*/) {
    owner_.alarmRang();
    return 0;
}
