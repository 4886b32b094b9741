#include "base/OrvAwaitConnection.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

int orvAwaitConnection(int socket, std::chrono::milliseconds limit) {
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
