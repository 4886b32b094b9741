#include "smtp/OrvRetryDelay.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::uint32_t kLastAttempt = 9;

// Seconds by attempt count. Kept: a count of 0, which only a client without a valid server reaches, waits longest.
constexpr std::array<std::uint32_t, kLastAttempt + 1> kDelays{3600, 5, 5, 300, 300, 600, 600, 1800, 1800, 3600};

}  // namespace

void OrvRetryDelay::setValidServers(unsigned servers) {
    constexpr std::array<std::uint32_t, 3> kSteps{0, 2, 1};
    step_ = kSteps[std::min<std::size_t>(servers, kSteps.size() - 1)];
}

std::uint32_t OrvRetryDelay::nextAfter(std::uint32_t& attempts) const {
    if (attempts <= kLastAttempt) {
        attempts += step_;
    }
    return kDelays[std::min(attempts, kLastAttempt)];
}
