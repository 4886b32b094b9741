#include "testing/platform/FailingPoll.h"

#include <poll.h>

#include <cerrno>
#include <ctime>

// The name that the C library gives to the call.
#if __SIZEOF_POINTER__ == 8
#define ORV_NANOSLEEP nanosleep
#else
#define ORV_NANOSLEEP __nanosleep64
#endif
#define ORV_JOIN(a, b) a##b
#define ORV_REAL(name) ORV_JOIN(__real_, name)
#define ORV_WRAP(name) ORV_JOIN(__wrap_, name)

namespace {

thread_local FailingPoll* active = nullptr;

}  // namespace

extern "C" {
int __real_poll(pollfd* polled, nfds_t count, int wait);
int ORV_REAL(ORV_NANOSLEEP)(const timespec* span, timespec* left);

int __wrap_poll(pollfd* polled, nfds_t count, int wait) {
    const int error = active != nullptr ? active->nextError() : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return __real_poll(polled, count, wait);
}

int ORV_WRAP(ORV_NANOSLEEP)(const timespec* span, timespec* left) {
    if (active == nullptr) {
        return ORV_REAL(ORV_NANOSLEEP)(span, left);
    }
    active->paused(static_cast<int>(span->tv_sec * 1000 + span->tv_nsec / 1000000));
    return 0;
}
}

FailingPoll::FailingPoll(int error, int times) : error_(error), times_(times) {
    active = this;
}

FailingPoll::~FailingPoll() {
    active = nullptr;
}

int FailingPoll::nextError() {
    ++calls_;
    return times_ > 0 && times_-- > 0 ? error_ : 0;
}
