#include "platform/transport/dbus/DbusLoop.h"

#include "Dispatcher.h"

#include <poll.h>
#include <syslog.h>

#include <cerrno>
#include <new>
#include <utility>

// At the end of every turn, however it ends.
class DbusLoop::TurnEnd {
public:
    explicit TurnEnd(DbusLoop& loop) : loop_(loop) {}
    ~TurnEnd() { loop_.arrangeNextTurn(); }
    TurnEnd(const TurnEnd&) = delete;
    TurnEnd& operator=(const TurnEnd&) = delete;

private:
    DbusLoop& loop_;
};

int DbusLoop::start(sd_bus& bus) {
    bus_ = &bus;
    pause_ = 0;
    patience_.renew();
    if (enlist() < 0) {
        stop();
        return -1;
    }
    mask_ = READ;
    arrangeNextTurn();  // Messages may have arrived while the connection was made.
    return 0;
}

int DbusLoop::enlist() {
    try {
        return alarm_.start() < 0 ? -1 : Dispatcher::instance()->register_handler(this, READ);
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

void DbusLoop::stop() noexcept {
    if (bus_ == nullptr) {
        return;
    }
    alarm_.stop();
    Dispatcher::instance()->remove_handler(this, READ | WRITE | DONT_CALL);
    mask_ = 0;
    held_.reset();
    bus_ = nullptr;
}

void DbusLoop::sent() noexcept {
    if (pause_ == 0) {
        arrangeNextTurn();
    }
}

int DbusLoop::handle_input(int /*fd*/) {
    turn();
    return 0;
}
int DbusLoop::handle_output(int /*fd*/) {
    turn();
    return 0;
}
int DbusLoop::handle_exception(int /*fd*/) {
    turn();
    return 0;
}
void DbusLoop::alarmRang() {
    turn();
}

int DbusLoop::get_handle() const {
    return bus_ == nullptr ? -1 : sd_bus_get_fd(bus_);
}

void DbusLoop::turn() {
    const TurnEnd end(*this);
    pause_ = 0;
    int more = 1;
    for (int count = 0; more > 0 && count < MESSAGES_PER_TURN && bus_ != nullptr; ++count) {
        more = step();
    }
    judge(more);
}

int DbusLoop::step() {
    if (held_) {
        return hand(std::move(held_));
    }
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_process(bus_, &raw);
    DbusMessagePtr message(raw);
    return message ? hand(std::move(message)) : result;
}

// A message that a receiver threw at is not handed over twice.
int DbusLoop::hand(DbusMessagePtr message) {
    if (owner_.busMessage(*message) < 0 && bus_ != nullptr) {
        held_ = std::move(message);
        return -ENOMEM;
    }
    return 1;
}

void DbusLoop::judge(int result) noexcept {
    if (bus_ == nullptr) {
        return;
    }
    if (result >= 0) {
        patience_.renew();
    } else if (!Patience::isTransient(-result)) {
        lose(-result);
    } else if (pause_ = patience_.next(); pause_ < 0) {
        endPatience(-result);
    }
}

// A message that memory never suffices for must not keep all others waiting for ever.
void DbusLoop::endPatience(int error) noexcept {
    pause_ = 0;
    if (!held_) {
        lose(error);
        return;
    }
    syslog(LOG_ERR, "memory is short: a message from %s is lost", sd_bus_message_get_sender(held_.get()));
    held_.reset();
    patience_.renew();
}

// Needs no memory: the dispatcher knows us already.
int DbusLoop::watch(unsigned mask) noexcept {
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
void DbusLoop::arrangeNextTurn() noexcept {
    if (bus_ == nullptr) {
        return;
    }
    if (sd_bus_is_open(bus_) <= 0) {
        lose(ECONNRESET);
        return;
    }
    if (pause_ > 0) {
        if (watch(0) < 0) {
            lose(ENOTCONN);
        }
        alarm_.setIn(pause_);
        return;
    }
    const int events = sd_bus_get_events(bus_);
    const unsigned output = events > 0 && (events & POLLOUT) != 0 ? WRITE : 0u;
    std::uint64_t deadline = DbusAlarm::NEVER;
    if (watch(READ | output) < 0 || sd_bus_get_timeout(bus_, &deadline) < 0) {
        lose(ENOTCONN);
        return;
    }
    alarm_.set(deadline);
}

void DbusLoop::lose(int error) noexcept {
    stop();
    owner_.busLost(error);
}
