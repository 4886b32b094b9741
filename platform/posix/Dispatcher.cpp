#include "Dispatcher.h"

#include "Descriptor.h"
#include "Event_Handler.h"
#include "platform/posix/Patience.h"
#include "platform/posix/Timers.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>
#include <vector>

namespace {

// What other threads write to, so that poll returns.
class WakeUp {
public:
    WakeUp() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        if (!fd_) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    int fd() const { return fd_.get(); }

    // A counter that is full wakes just as well.
    void raise() const { [[maybe_unused]] const int result = eventfd_write(fd(), 1); }

    void clear() const {
        eventfd_t count = 0;
        [[maybe_unused]] const int result = eventfd_read(fd(), &count);
    }

private:
    Descriptor fd_;
};

// A handler's registration. Removed ones stay, without handler, until no turn is running: turns go by index.
struct Registration {
    Event_Handler* handler;
    int fd;
    unsigned mask;
};

short pollEvents(unsigned mask) {
    int events = 0;
    events |= (mask & Event_Handler::READ) != 0 ? POLLIN : 0;
    events |= (mask & Event_Handler::WRITE) != 0 ? POLLOUT : 0;
    events |= (mask & Event_Handler::EXCEPTION) != 0 ? POLLPRI : 0;
    return static_cast<short>(events);
}

// Which of the handler's interests the events concern. An error or a hang-up concerns the first one that there is:
// the read or write that follows finds out.
unsigned concerned(unsigned mask, int events) {
    unsigned result = 0;
    result |= (events & POLLOUT) != 0 ? Event_Handler::WRITE : 0;
    result |= (events & POLLPRI) != 0 ? Event_Handler::EXCEPTION : 0;
    result |= (events & POLLIN) != 0 ? Event_Handler::READ : 0;
    result &= mask;
    if (result == 0 && (events & (POLLERR | POLLHUP)) != 0) {
        for (const unsigned interest : {Event_Handler::READ, Event_Handler::WRITE, Event_Handler::EXCEPTION}) {
            if ((mask & interest) != 0) {
                return interest;
            }
        }
    }
    return result;
}

int realMilliseconds(const Timeval* limit) {
    if (limit == nullptr) {
        return -1;
    }
    if (limit->sec() < 0) {
        return 0;
    }
    if (limit->sec() >= INT_MAX / 1000) {
        return INT_MAX;
    }
    return static_cast<int>(limit->sec()) * 1000 + (std::max(limit->usec(), 0) + 999) / 1000;
}

// The shorter of two waits, of which -1 is the longest.
int shorter(int a, int b) {
    return a < 0 ? b : b < 0 ? a : std::min(a, b);
}

}  // namespace

class Dispatcher::Impl {
public:
    int registerHandler(Event_Handler* handler, unsigned mask);
    int removeHandler(Event_Handler* handler, unsigned mask);
    int turn(const Timeval* limit);

    Timers timers;
    WakeUp wakeUp;

private:
    // Counts the turns under way: a callback may run a turn of its own.
    class Turn {
    public:
        explicit Turn(Impl& owner) : owner_(owner) { ++owner_.turns_; }
        ~Turn() {
            if (--owner_.turns_ == 0) {
                std::erase_if(owner_.registrations_, [](const Registration& r) { return r.handler == nullptr; });
            }
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Impl& owner_;
    };

    std::vector<Registration>::iterator find(const Event_Handler* handler);
    int turn(std::vector<pollfd>& polled, const Timeval* limit);
    void fill(std::vector<pollfd>& polled) const;
    int callReady(const std::vector<pollfd>& polled);
    int callOwner(std::size_t index, int events);
    bool call(std::size_t index, unsigned interest);
    void drop(std::size_t index, bool tell);

    std::vector<Registration> registrations_;
    std::vector<pollfd>
        polled_;  // of the outermost turn; has room for all registrations, so that a turn needs no memory
    Patience patience_;
    int turns_ = 0;
};

std::vector<Registration>::iterator Dispatcher::Impl::find(const Event_Handler* handler) {
    return std::ranges::find(registrations_, handler, &Registration::handler);
}

int Dispatcher::Impl::registerHandler(Event_Handler* handler, unsigned mask) {
    const int fd = handler != nullptr ? handler->get_handle() : -1;
    if (fd < 0) {
        return -1;
    }
    const auto known = find(handler);
    if (known != registrations_.end()) {
        known->fd = fd;
        known->mask = mask;
    } else {
        polled_.reserve(registrations_.size() + 2);
        registrations_.push_back({handler, fd, mask});
    }
    return 0;
}

int Dispatcher::Impl::removeHandler(Event_Handler* handler, unsigned mask) {
    const auto known = handler != nullptr ? find(handler) : registrations_.end();
    if (known == registrations_.end()) {
        return -1;
    }
    drop(static_cast<std::size_t>(known - registrations_.begin()), (mask & Event_Handler::DONT_CALL) == 0);
    return 0;
}

void Dispatcher::Impl::drop(std::size_t index, bool tell) {
    const Registration gone = registrations_[index];
    registrations_[index].handler = nullptr;
    if (turns_ == 0) {
        registrations_.erase(registrations_.begin() + static_cast<std::ptrdiff_t>(index));
    }
    if (tell) {
        gone.handler->handle_close(gone.fd, gone.mask);
    }
}

int Dispatcher::Impl::turn(const Timeval* limit) {
    const Turn running(*this);
    if (turns_ == 1) {
        return turn(polled_, limit);
    }
    std::vector<pollfd> polled;
    return turn(polled, limit);
}

// Timers run whether or not waiting worked.
int Dispatcher::Impl::turn(std::vector<pollfd>& polled, const Timeval* limit) {
    fill(polled);
    const int wait = shorter(realMilliseconds(limit), timers.realMillisecondsToNext());
    const int ready = poll(polled.data(), static_cast<nfds_t>(polled.size()), wait);
    if (ready >= 0) {
        patience_.renew();
    } else if (patience_.waitOut(errno, wait < 0 ? INT_MAX : wait) < 0) {
        return -1;
    }
    const int calls = ready > 0 ? callReady(polled) : 0;
    return calls + timers.runDue();
}

void Dispatcher::Impl::fill(std::vector<pollfd>& polled) const {
    polled.clear();
    polled.reserve(registrations_.size() + 1);
    for (const Registration& r : registrations_) {
        // poll passes over negative descriptors: nobody waits for this one.
        const bool watched = r.handler != nullptr && r.mask != 0;
        polled.push_back({watched ? r.fd : -1, pollEvents(r.mask), 0});
    }
    polled.push_back({wakeUp.fd(), POLLIN, 0});
}

// Goes by index: a callback that registers another handler may move the list.
int Dispatcher::Impl::callReady(const std::vector<pollfd>& polled) {
    if (polled.back().revents != 0) {
        wakeUp.clear();
    }
    int calls = 0;
    const std::size_t last = polled.size() - 1;
    for (std::size_t i = 0; i < last; ++i) {
        if (polled[i].revents != 0 && polled[i].fd == registrations_[i].fd) {
            calls += callOwner(i, polled[i].revents);
        }
    }
    return calls;
}

// Looks at the registration anew before each call: any callback may have removed it.
int Dispatcher::Impl::callOwner(std::size_t index, int events) {
    const unsigned interests = concerned(registrations_[index].mask, events);
    if (registrations_[index].handler != nullptr && (events & POLLNVAL) != 0) {
        drop(index, true);  // not an open descriptor: poll would return at once for ever
        return 1;
    }
    int calls = 0;
    for (const unsigned interest : {Event_Handler::WRITE, Event_Handler::EXCEPTION, Event_Handler::READ}) {
        if ((interests & interest) != 0 && registrations_[index].handler != nullptr) {
            ++calls;
            if (!call(index, interest)) {
                break;
            }
        }
    }
    return calls;
}

// Calls one operation; false when it has ended the registration.
bool Dispatcher::Impl::call(std::size_t index, unsigned interest) {
    const Registration r = registrations_[index];
    int result = 0;
    switch (interest) {
        case Event_Handler::WRITE:
            result = r.handler->handle_output(r.fd);
            break;
        case Event_Handler::EXCEPTION:
            result = r.handler->handle_exception(r.fd);
            break;
        default:
            result = r.handler->handle_input(r.fd);
            break;
    }
    if (result < 0 && registrations_[index].handler != nullptr) {
        drop(index, true);
        return false;
    }
    return true;
}

Dispatcher::Dispatcher() : impl_(std::make_unique<Impl>()) {
}

Dispatcher::~Dispatcher() = default;

Dispatcher* Dispatcher::instance() {
    static Dispatcher* const main = new Dispatcher;
    return main;
}

int Dispatcher::register_handler(Event_Handler* handler, unsigned mask) {
    return impl_->registerHandler(handler, mask);
}

int Dispatcher::remove_handler(Event_Handler* handler, unsigned mask) {
    return impl_->removeHandler(handler, mask);
}

int Dispatcher::handle_events(const Timeval* limit) {
    return impl_->turn(limit);
}

std::uint64_t Dispatcher::schedule_timer(const Timeval& interval, bool periodic, std::function<void()> action) {
    return impl_->timers.schedule(interval, periodic, std::move(action));
}

void Dispatcher::cancel_timer(std::uint64_t number) {
    impl_->timers.cancel(number);
}

void Dispatcher::wake() {
    impl_->wakeUp.raise();
}
