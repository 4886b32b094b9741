// Calls in which a program could wait without the box's knowing: the first one in a box ends the life and is named.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace box {

void keepUnownedCalls() {
}

namespace {

void refuse(const char* name) {
    if (Box* const box = Box::ofCaller()) {
        box->end(LifeEnd::kUnowned, 1, name);
    }
}

}  // namespace

#define BOX_UNOWNED(type, name, symbol, parameters, arguments) \
    BOX_CALL(type, name, symbol, parameters)                   \
    type name parameters {                                     \
        refuse(symbol);                                        \
        name##Call* const really = name##Really();             \
        return really arguments;                               \
    }

BOX_UNOWNED(int, unownedSelect, "select", (int count, fd_set* in, fd_set* out, fd_set* error, timeval* limit),
            (count, in, out, error, limit))
BOX_UNOWNED(int, unownedAccept, "accept", (int file, sockaddr* address, socklen_t* length), (file, address, length))
BOX_UNOWNED(int, unownedAccept4, "accept4", (int file, sockaddr* address, socklen_t* length, int flags),
            (file, address, length, flags))
BOX_UNOWNED(ssize_t, unownedReceiveMessage, "recvmsg", (int file, msghdr* message, int flags), (file, message, flags))
BOX_UNOWNED(ssize_t, unownedSendMessage, "sendmsg", (int file, const msghdr* message, int flags),
            (file, message, flags))
BOX_UNOWNED(unsigned, unownedSleep, "sleep", (unsigned seconds), (seconds))
BOX_UNOWNED(int, unownedMicrosleep, "usleep", (useconds_t span), (span))
BOX_UNOWNED(int, unownedPause, "pause", (), ())
BOX_UNOWNED(int, unownedSystem, "system", (const char* command), (command))
BOX_UNOWNED(pid_t, unownedWait, "wait", (int* status), (status))
BOX_UNOWNED(int, unownedSignalWait, "sigwait", (const sigset_t* set, int* number), (set, number))
BOX_UNOWNED(int, unownedReadLock, "pthread_rwlock_rdlock", (pthread_rwlock_t * lock), (lock))
BOX_UNOWNED(int, unownedWriteLock, "pthread_rwlock_wrlock", (pthread_rwlock_t * lock), (lock))
BOX_UNOWNED(int, unownedBarrier, "pthread_barrier_wait", (pthread_barrier_t * barrier), (barrier))

#if __SIZEOF_POINTER__ == 8
BOX_UNOWNED(int, unownedTimedWait, "pthread_cond_timedwait",
            (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* limit), (condition, mutex, limit))
BOX_UNOWNED(int, unownedClockWait, "pthread_cond_clockwait",
            (pthread_cond_t * condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* limit),
            (condition, mutex, clock, limit))
BOX_UNOWNED(int, unownedClockSleep, "clock_nanosleep",
            (clockid_t clock, int flags, const timespec* span, timespec* left), (clock, flags, span, left))
#endif

}  // namespace box
