// The pauses before a retry, as the event log tells them: in the order that is prescribed, and kept.
#pragma once

#include "box/Times.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>

namespace box {

class Delays {
public:
    // A dialogue has failed, and another one is announced after this time. What is wrong with that; "" when nothing is.
    std::string announced(Time now, std::uint32_t seconds);
    // The next announcement is about one message, which servers have put off: others go on meanwhile, and failures in
    // a row begin anew.
    void putsOff() { putOff_ = true; }
    // A dialogue begins.
    std::string connects(Time now);
    // A message was finished, or the queue has run empty: failures in a row begin anew.
    void beginAnew();
    // The servers' settings are being read: they may begin anew from now on.
    void mayBeginAnew();

private:
    // With two servers each pause is made twice: failures count one each, with one server two.
    using State = std::pair<std::uint32_t, std::uint32_t>;  // what a failure counts, and how many there are

    std::set<State> possible_{{1, 0}, {2, 0}};
    Time notBefore_ = 0;
    bool putOff_ = false;
};

}  // namespace box
