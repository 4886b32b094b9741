#include "box/Box.h"

#include "box/BoxThread.h"
#include "box/RealCalls.h"

#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace box {

namespace {

// The box's own way to the system, past its own definitions.
int pollReally(pollfd* polled, nfds_t count) {
    const Aside aside;
    return ::poll(polled, count, 0);
}

}  // namespace

// Also holds when the main thread's alarm is due.
class Box::PollCondition final : public Condition {
public:
    static constexpr std::size_t kMost = 64;

    PollCondition(Box& owner, pollfd* polled, nfds_t count)
        : box_(owner), polled_(polled), count_(count), hearsAlarm_(owner.threads_.onMainThread()) {}

    bool holds(Time now) override {
        ready_ = 0;
        systems_ = 0;
        for (nfds_t i = 0; i < count_; ++i) {
            if (const BoxFile* const file = box_.look(polled_[i].fd)) {
                const int seen = file->ready(now) & (polled_[i].events | POLLERR | POLLHUP);
                polled_[i].revents = static_cast<short>(seen);
                ready_ += seen != 0 ? 1 : 0;
            } else {
                places_[systems_] = i;
                asked_[systems_].fd = polled_[i].fd;
                asked_[systems_++].events = polled_[i].events;
            }
        }
        if (systems_ > 0 && pollReally(asked_.data(), systems_) < 0) {
            return true;
        }
        for (nfds_t i = 0; i < systems_; ++i) {
            polled_[places_[i]].revents = asked_[i].revents;
            ready_ += asked_[i].revents != 0 ? 1 : 0;
        }
        return ready_ > 0 || alarmIsDue(now);
    }

    Time due() const override {
        Time next = hearsAlarm_ ? box_.alarm_ : kNever;
        for (nfds_t i = 0; i < count_; ++i) {
            if (const BoxFile* const file = box_.look(polled_[i].fd)) {
                next = std::min(next, file->due(box_.now()));
            }
        }
        return next;
    }

    int ready() const { return ready_; }
    bool alarmIsDue(Time now) const { return hearsAlarm_ && box_.alarm_ <= now; }

private:
    Box& box_;
    pollfd* const polled_;
    const nfds_t count_;
    const bool hearsAlarm_;
    int ready_ = 0;
    nfds_t systems_ = 0;
    std::array<pollfd, kMost> asked_{};
    std::array<nfds_t, kMost> places_{};
};

Box::Box(const Settings& settings, Timeline& timeline, Network& network, Ended ended, MainWaits mainWaits)
    : settings_(settings),
      timeline_(timeline),
      network_(network),
      ended_(std::move(ended)),
      chance_(settings.chance),
      troubles_(Random(~settings.chance), settings.trouble),
      threads_(chance_.branch(), settings.now,
               {[this](const std::string& why) { end(LifeEnd::kStuck, 1, why); }, std::move(mainWaits)}),
      commands_(settings.root) {
    threads_.begin();
    active_ = this;
}

Box::~Box() {
    active_ = nullptr;
}

int Box::call(const char* name, int file) {
    const Aside aside;
    if (settings_.progress != nullptr) {
        settings_.progress->made(name);
    }
    if (++calls_ == settings_.killAtCall) {
        end(LifeEnd::kKilled, 0, name);
    }
    threads_.point();
    const int error = Spared::now() ? 0 : troubles_.ofCall(name, file);
    if (error != 0) {
        tell("machine", failureText(name, error));
    }
    return error;
}

bool Box::memoryFails() {
    Box* const box = ofCaller();
    if (box == nullptr || Spared::now() || !box->troubles_.ofAllocation()) {
        return false;
    }
    const Aside aside;
    box->tell("machine", "no memory");
    return true;
}

void Box::end(LifeEnd how, int status, const std::string& why) {
    const Aside aside;
    for (const int descriptor : written_) {
        stamp(descriptor);
    }
    ended_(how, status, why);
    ::_exit(0);
}

int Box::open(std::shared_ptr<BoxFile> file) {
    const Aside aside;
    const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor >= 0) {
        adopt(descriptor, std::move(file));
    }
    return descriptor;
}

void Box::adopt(int descriptor, std::shared_ptr<BoxFile> file) {
    const auto place = static_cast<std::size_t>(descriptor);
    files_.resize(std::max(files_.size(), place + 1));
    files_[place] = std::move(file);
}

BoxFile* Box::look(int descriptor) const {
    const auto place = static_cast<std::size_t>(descriptor);
    return descriptor >= 0 && place < files_.size() ? files_[place].get() : nullptr;
}

std::shared_ptr<BoxFile> Box::file(int descriptor) const {
    return look(descriptor) != nullptr ? files_[static_cast<std::size_t>(descriptor)] : nullptr;
}

WakeUp* Box::wakeUp(int descriptor) {
    return active_ != nullptr && Scheduler::ownsThread() ? dynamic_cast<WakeUp*>(active_->look(descriptor)) : nullptr;
}

void Box::close(int descriptor) {
    const Aside aside;
    if (written_.erase(descriptor) > 0) {
        stamp(descriptor);
    }
    if (look(descriptor) != nullptr) {
        files_[static_cast<std::size_t>(descriptor)].reset();
        threads_.changed();
    }
}

// No two files have the same time.
void Box::stamp(int descriptor) {
    const Time time = now() + ++writes_;
    timespec stamp{};
    stamp.tv_sec = static_cast<time_t>(settings_.calendar + static_cast<std::int64_t>(time / kSecond));
    stamp.tv_nsec = static_cast<long>(time % kSecond);
    const timespec both[2] = {stamp, stamp};
    static_cast<void>(::futimens(descriptor, both));
}

int Box::poll(pollfd* polled, nfds_t count, int limit) {
    if (count > PollCondition::kMost) {
        end(LifeEnd::kUnowned, 1, "poll of more descriptors than the box can watch");
    }
    PollCondition condition(*this, polled, count);
    const Time deadline = limit < 0 ? kNever : later(now(), static_cast<Time>(limit) * kMillisecond);
    threads_.wait("poll", condition, deadline);
    if (condition.alarmIsDue(now())) {
        const Aside aside;
        alarm_ = kNever;
        static_cast<void>(std::raise(SIGALRM));
        threads_.changed();
        errno = EINTR;
        return -1;
    }
    return condition.ready();
}

void Box::sleep(Time span) {
    struct Never final : Condition {
        bool holds(Time /*now*/) override { return false; }
    } never;
    threads_.wait("nanosleep", never, later(now(), span));
}

unsigned Box::alarm(unsigned seconds) {
    const Time left = alarm_ == kNever ? 0 : alarm_ - std::min(alarm_, now());
    alarm_ = seconds == 0 ? kNever : later(now(), seconds * kSecond);
    return static_cast<unsigned>((left + kSecond - 1) / kSecond);
}

}  // namespace box

bool orvInBoxThread() {
    return box::Box::ofCaller() != nullptr;
}
