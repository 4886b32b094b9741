#include "Hsb.h"

#include "Dispatcher.h"
#include "Timeval.h"
#include "platform/client/HostBus.h"
#include "platform/posix/guarded.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::seconds;

constexpr int NOT_SERVED = -1;

std::atomic<bool> toldToEnd{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler writes it

void tellToEnd(int /*signal*/) {
    const int error = errno;  // the code that it interrupts may be about to look at it
    toldToEnd.store(true);
    Dispatcher::instance()->wake();
    errno = error;
}

// SIGTERM and SIGINT end the loop from here until released.
class EndSignals {
public:
    void take() {
        struct sigaction action {};
        action.sa_handler = tellToEnd;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(SIGTERM, &action, &formerTerminate_);
        sigaction(SIGINT, &action, &formerInterrupt_);
    }
    void release() {
        sigaction(SIGTERM, &formerTerminate_, nullptr);
        sigaction(SIGINT, &formerInterrupt_, nullptr);
    }

private:
    struct sigaction formerTerminate_ {};
    struct sigaction formerInterrupt_ {};
};

EndSignals endSignals;

// The end of a limit, and what is left of it for one turn.
class Deadline {
public:
    explicit Deadline(const Timeval* limit) {
        if (limit != nullptr) {
            end_ = SteadyClock::now() + seconds(std::min<std::int64_t>(limit->sec(), LONGEST)) +
                   microseconds(limit->usec());
        }
    }

    bool passed() const { return end_ && SteadyClock::now() >= *end_; }

    // Null when there is no limit.
    const Timeval* left() {
        if (!end_) {
            return nullptr;
        }
        const auto span = std::chrono::duration_cast<microseconds>(*end_ - SteadyClock::now()).count();
        const std::int64_t rest = std::max<std::int64_t>(span, 0);
        left_ = Timeval(rest / 1000000, static_cast<std::int32_t>(rest % 1000000));
        return &left_;
    }

private:
    static constexpr std::int64_t LONGEST = 100LL * 365 * 24 * 3600;  // seconds that any clock can add

    std::optional<SteadyClock::time_point> end_;
    Timeval left_;
};

}  // namespace

Hsb* Hsb::instance() {
    static Hsb hsb;
    return &hsb;
}

int Hsb::init(int /*maxMessages*/, int /*flags*/, int /*options*/) {
    HostBus& bus = HostBus::instance();
    if (bus.joined()) {
        return 1;
    }
    int result = -1;
    guarded("joining the bus", [&] {
        Dispatcher::instance();  // a signal handler may need it from now on
        result = bus.join();
    });
    if (result < 0) {
        return 0;
    }
    toldToEnd.store(false);
    endSignals.take();
    return 1;
}

int Hsb::handle_events(const Timeval* limit) {
    Deadline deadline(limit);
    while (!toldToEnd.exchange(false)) {
        if (HostBus::instance().lost()) {
            return NOT_SERVED;
        }
        int calls = 0;
        guarded("event handler", [&] { calls = Dispatcher::instance()->handle_events(deadline.left()); });
        if (calls < 0) {
            return NOT_SERVED;
        }
        if (deadline.passed()) {
            break;
        }
    }
    return 0;
}

void Hsb::shutdown() {
    if (HostBus::instance().joined()) {
        HostBus::instance().leave();
        endSignals.release();
    }
}
