// The one source of chance. Its whole state is one number, which is carried from life to life.
#pragma once

#include <cstdint>

namespace box {

class Random {
public:
    explicit Random(std::uint64_t state) : state_(state) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        return mixed ^ (mixed >> 31);
    }

    // From 0 to bound - 1; the bound is not 0.
    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>((next() >> 32) * bound >> 32); }
    bool oneIn(std::uint32_t bound) { return below(bound) == 0; }
    // A generator of its own for a part, so that what one part draws does not move the others.
    Random branch() { return Random(next()); }

    std::uint64_t state() const { return state_; }

    static void fields(auto& io, auto& random) { io(random.state_); }

private:
    std::uint64_t state_;
};

}  // namespace box
