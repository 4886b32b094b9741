// What a machine lets fail under a life: some of its system calls, and some of its requests for memory.
//
// Only the daemon is met by it: not the box, nor the switch around the daemon.
#pragma once

#include "box/Random.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace box {

// When something fails, counted from the moment at which this is set. 0 calls or allocations: none.
struct Trouble {
    std::uint64_t callsBefore = 0;  // of those that can fail
    std::uint32_t calls = 0;
    bool ofOneName = false;  // only calls of the first one's name
    std::uint64_t allocationsBefore = 0;
    std::uint32_t allocations = 0;
};

class Troubles {
public:
    // In the place of an error number: less is moved than was asked for.
    static constexpr int kShort = -2;

    Troubles(Random random, const Trouble& trouble) : random_(random), trouble_(trouble) {}

    void set(const Trouble& trouble) {
        trouble_ = trouble;
        name_.clear();
    }
    // The error number that this call fails with, or kShort; 0: it is made. file: what it moves bytes of, or -1.
    int ofCall(std::string_view name, int file);
    bool ofAllocation();
    // So many have failed by now.
    std::uint32_t failedCalls() const { return failedCalls_; }
    std::uint32_t failedAllocations() const { return failedAllocations_; }

private:
    Random random_;
    Trouble trouble_;
    std::string name_;  // of the first call that has failed
    std::uint32_t failedCalls_ = 0;
    std::uint32_t failedAllocations_ = 0;
};

// How a failure is called in a timeline.
std::string failureText(std::string_view call, int error);

// Something that is not the daemon's is at work in this thread while one of these lives: nothing of it fails.
class Spared {
public:
    explicit Spared(bool spared = true) : before_(now_) { now_ = spared; }
    ~Spared() { now_ = before_; }
    Spared(const Spared&) = delete;
    Spared& operator=(const Spared&) = delete;

    static bool now() { return now_; }

private:
    static inline thread_local bool now_ = false;
    const bool before_;
};

}  // namespace box
