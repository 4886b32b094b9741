#include "platform/transport/dbus/DbusLoop.h"

#include "Dispatcher.h"
#include "platform/transport/dbus/DbusMessage.h"

#include <poll.h>

#include <cerrno>
#include <ctime>

namespace {

// sd-bus's deadline, a time of CLOCK_MONOTONIC, as a span from now.
Timeval spanUntil(std::uint64_t deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto present =
        static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    const std::uint64_t span = deadline > present ? deadline - present : 0;
    return Timeval(static_cast<std::int64_t>(span / 1000000), static_cast<std::int32_t>(span % 1000000));
}

}  // namespace

int DbusLoop::start(sd_bus& bus) {
    bus_ = &bus;
    if (watch(Event_Handler::READ) < 0) {
        bus_ = nullptr;
        return -1;
    }
    arrangeNextTurn();  // Messages may have arrived while the connection was made.
    return 0;
}

void DbusLoop::stop() {
    if (bus_ == nullptr) {
        return;
    }
    forgetTimer();
    Dispatcher::instance()->remove_handler(this, READ | WRITE | DONT_CALL);
    mask_ = 0;
    bus_ = nullptr;
}

void DbusLoop::sent() {
    if (bus_ != nullptr) {
        arrangeNextTurn();
    }
}

int DbusLoop::handle_input(int /*fd*/) {
    return turn();
}
int DbusLoop::handle_output(int /*fd*/) {
    return turn();
}
int DbusLoop::handle_exception(int /*fd*/) {
    return turn();
}

int DbusLoop::get_handle() const {
    return bus_ == nullptr ? -1 : sd_bus_get_fd(bus_);
}

int DbusLoop::turn() {
    int more = 1;
    for (int count = 0; more > 0 && count < MESSAGES_PER_TURN && bus_ != nullptr; ++count) {
        more = step();
    }
    if (bus_ == nullptr) {
        return 0;
    }
    if (more < 0 || sd_bus_is_open(bus_) <= 0) {
        lose(more < 0 ? -more : ECONNRESET);
        return 0;
    }
    arrangeNextTurn();
    return 0;
}

int DbusLoop::step() {
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_process(bus_, &raw);
    const DbusMessagePtr message(raw);
    if (message) {
        owner_.busMessage(*message);
    }
    return result;
}

int DbusLoop::watch(unsigned mask) {
    if (mask == mask_) {
        return 0;
    }
    if (Dispatcher::instance()->register_handler(this, mask) < 0) {
        return -1;
    }
    mask_ = mask;
    return 0;
}

// Watches for room to write only while something waits for it, and comes back without waiting for the socket when
// sd-bus already holds messages: poll would not report those.
void DbusLoop::arrangeNextTurn() {
    const int events = sd_bus_get_events(bus_);
    const unsigned output = events > 0 && (events & POLLOUT) != 0 ? WRITE : 0u;
    std::uint64_t deadline = UINT64_MAX;
    if (watch(READ | output) < 0 || sd_bus_get_timeout(bus_, &deadline) < 0) {
        lose(ENOTCONN);
        return;
    }
    forgetTimer();
    if (deadline != UINT64_MAX) {
        timer_ = Dispatcher::instance()->schedule_timer(spanUntil(deadline), false, [this] {
            timer_ = 0;
            turn();
        });
    }
}

void DbusLoop::forgetTimer() {
    if (timer_ != 0) {
        Dispatcher::instance()->cancel_timer(timer_);
        timer_ = 0;
    }
}

void DbusLoop::lose(int error) {
    stop();
    owner_.busLost(error);
}
