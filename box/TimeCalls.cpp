// What time it is in a box, and waiting for it to pass.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <poll.h>
#include <sys/time.h>

#include <ctime>

namespace box {

#if __SIZEOF_POINTER__ == 8
#define BOX_GETTIME "clock_gettime"
#define BOX_GETTIMEOFDAY "gettimeofday"
#define BOX_TIME "time"
#define BOX_NANOSLEEP "nanosleep"
#else
#define BOX_GETTIME "__clock_gettime64"
#define BOX_GETTIMEOFDAY "__gettimeofday64"
#define BOX_TIME "__time64"
#define BOX_NANOSLEEP "__nanosleep64"
#endif

BOX_CALL(int, clockTime, BOX_GETTIME, (clockid_t clock, timespec* time))
BOX_CALL(int, dayTime, BOX_GETTIMEOFDAY, (timeval * time, void* zone))
BOX_CALL(time_t, secondsNow, BOX_TIME, (time_t * time))
BOX_CALL(int, sleepFor, BOX_NANOSLEEP, (const timespec* span, timespec* left))
BOX_CALL(unsigned, alarmIn, "alarm", (unsigned seconds))
BOX_CALL(int, pollAll, "poll", (pollfd * polled, nfds_t count, int limit))
int pollChecked(pollfd* polled, nfds_t count, int limit, std::size_t size) __asm__("__poll_chk");

void keepTimeCalls() {
}

namespace {

std::int64_t firstSecond(const Box& box, clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE ? box.settings().calendar : kFirstUptime;
}

template <typename Timespec>
void tellTime(const Box& box, clockid_t clock, Timespec& time) {
    const Time now = box.now();
    time.tv_sec =
        static_cast<decltype(time.tv_sec)>(firstSecond(box, clock) + static_cast<std::int64_t>(now / kSecond));
    time.tv_nsec = static_cast<decltype(time.tv_nsec)>(now % kSecond);
}

}  // namespace

#if __SIZEOF_POINTER__ == 4
// What libraries from before 64-bit times ask.
struct OldTimespec {
    std::int32_t tv_sec;
    std::int32_t tv_nsec;
};
BOX_CALL(int, oldClockTime, "clock_gettime", (clockid_t clock, OldTimespec* time))

int oldClockTime(clockid_t clock, OldTimespec* time) {
    const Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return oldClockTimeReally()(clock, time);
    }
    tellTime(*box, clock, *time);
    return 0;
}
#endif

int clockTime(clockid_t clock, timespec* time) {
    const Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return clockTimeReally()(clock, time);
    }
    tellTime(*box, clock, *time);
    return 0;
}

int dayTime(timeval* time, void* zone) {
    const Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return dayTimeReally()(time, zone);
    }
    timespec now{};
    tellTime(*box, CLOCK_REALTIME, now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return 0;
}

time_t secondsNow(time_t* time) {
    const Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return secondsNowReally()(time);
    }
    timespec now{};
    tellTime(*box, CLOCK_REALTIME, now);
    if (time != nullptr) {
        *time = now.tv_sec;
    }
    return now.tv_sec;
}

int sleepFor(const timespec* span, timespec* left) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return sleepForReally()(span, left);
    }
    box->sleep(static_cast<Time>(span->tv_sec) * kSecond + static_cast<Time>(span->tv_nsec));
    return 0;
}

unsigned alarmIn(unsigned seconds) {
    Box* const box = Box::ofCaller();
    return box == nullptr ? alarmInReally()(seconds) : box->alarm(seconds);
}

int pollAll(pollfd* polled, nfds_t count, int limit) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return pollAllReally()(polled, count, limit);
    }
    if (const int error = box->call("poll"); error != 0) {
        errno = error;
        return -1;
    }
    return box->poll(polled, count, limit);
}

int pollChecked(pollfd* polled, nfds_t count, int limit, std::size_t /*size*/) {
    return pollAll(polled, count, limit);
}

}  // namespace box
