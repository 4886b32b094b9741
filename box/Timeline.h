// What happens in a box, in order: one line a happening, and a number that stands for all of it.
//
// The number also takes in what the daemon writes to its files, byte for byte. Nothing here comes from the machine.
#pragma once

#include "box/Times.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace box {

class Timeline {
public:
    // Lines from one time on can be read on standard output.
    void print(bool on) { printing_ = on; }

    void tell(Time now, std::string_view who, std::string_view what);
    // Counts for the number alone.
    void take(std::string_view bytes);
    // The same, but for where a schedule's entries stand in memory: that is the machine's affair.
    void takeTraces(std::string_view bytes);

    std::uint64_t digest() const { return digest_; }

    static void fields(auto& io, auto& timeline) { io(timeline.digest_); }

private:
    std::uint64_t digest_ = 0xCBF29CE484222325u;
    bool printing_ = false;
};

// As the timeline shows it: days, then hours, minutes, seconds and microseconds.
std::string timeText(Time time);

}  // namespace box
