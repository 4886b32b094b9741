#include "box/search/Delays.h"

#include <algorithm>
#include <iterator>

namespace box {

namespace {

constexpr std::uint32_t kPauses[] = {0, 5, 5, 300, 300, 600, 600, 1800, 1800, 3600};

constexpr Time kTick = 20 * kMillisecond;

}  // namespace

std::string Delays::announced(Time now, std::uint32_t seconds) {
    if (std::exchange(putOff_, false)) {
        beginAnew();
        const bool known = seconds != 0 && std::count(std::begin(kPauses), std::end(kPauses), seconds) != 0;
        return known ? "" : "a message is put off by " + std::to_string(seconds) + " s";
    }
    std::set<State> next;
    for (const auto& [step, failures] : possible_) {
        const std::uint32_t count = std::min<std::uint32_t>(failures + step, std::size(kPauses) - 1);
        if (kPauses[count] == seconds) {
            next.insert({step, count});
        }
    }
    const std::uint32_t before = possible_.begin()->second;
    // The wait is counted by ticks, of which the first may come at once, and one may be a little late.
    notBefore_ = later(now, seconds * kSecond) - kSecond - kTick;
    if (next.empty()) {
        beginAnew();
        return "a pause of " + std::to_string(seconds) + " s after " + std::to_string(before) + " failures";
    }
    possible_ = std::move(next);
    return "";
}

std::string Delays::connects(Time now) {
    const Time due = std::exchange(notBefore_, 0);
    return now < due ? "a retry " + std::to_string((due - now) / kSecond + 1) + " s before its time" : "";
}

void Delays::beginAnew() {
    possible_ = {{1, 0}, {2, 0}};
    notBefore_ = 0;
}

void Delays::mayBeginAnew() {
    possible_.insert({1, 0});
    possible_.insert({2, 0});
    notBefore_ = 0;
}

}  // namespace box
