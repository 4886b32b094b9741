#include "platform/posix/Patience.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

bool Patience::isTransient(int error) {
    return error == EINTR || error == EAGAIN || error == ENOMEM || error == ENOBUFS;
}

int Patience::next(int atMost) {
    if (passed_ >= limit_) {
        return -1;
    }
    const int pause = std::clamp(atMost, SHORTEST_MS, step_);
    step_ = std::min(step_ * 2, longest_);
    passed_ += pause;
    return pause;
}

// A signal may cut the pause short: whoever sent it wants to be heard.
int Patience::waitOut(int error, int atMost) {
    const int pause = isTransient(error) ? next(atMost) : -1;
    if (pause < 0) {
        return -1;
    }
    const timespec span{pause / 1000, pause % 1000 * 1000000L};
    nanosleep(&span, nullptr);
    return 0;
}
