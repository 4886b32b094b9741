#include "base/OrvSocketLimits.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>

void orvBoundSocket(int socket, int option, std::chrono::milliseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
    value.tv_usec = static_cast<decltype(value.tv_usec)>((limit - seconds).count() * 1000);
    setsockopt(socket, SOL_SOCKET, option, &value, sizeof value);
}

int orvAwaitConnection(int socket, std::chrono::milliseconds limit) {
    int error = 0;
    socklen_t size = sizeof error;
    if (orvAwaitConnectionEnd(socket, limit) < 0 || getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) < 0) {
        return -1;
    }
    errno = error;
    return error == 0 ? 0 : -1;
}

int orvAwaitConnectionEnd(int socket, std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + limit;
    pollfd writable{socket, POLLOUT, 0};
    int ready = -1;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        ready = poll(&writable, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
        errno = ETIMEDOUT;
    }
    return ready > 0 ? 0 : -1;
}
