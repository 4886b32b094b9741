// What is awaited, one after the other: the first step in peace after the last of them judges all.
#pragma once

#include "box/Times.h"

#include <cstdint>
#include <utility>

namespace box {

class Awaited {
public:
    void add(Time now) {
        ++count_;
        last_ = now;
    }
    void came() { count_ -= count_ > 0 ? 1 : 0; }
    std::uint32_t count() const { return count_; }
    // So many that have had their time; they are awaited no more.
    std::uint32_t takeOverdue(Time now) {
        return count_ == 0 || now < later(last_, kPeace) ? 0 : std::exchange(count_, 0);
    }

private:
    // What was begun has come to its end.
    static constexpr Time kPeace = kSecond;

    std::uint32_t count_ = 0;
    Time last_ = 0;
};

}  // namespace box
