// Calls that are made once, later, on the platform's timers. Those not yet made when this dies are never made.
// Main thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <set>

class DelayedCalls {
public:
    DelayedCalls() = default;
    ~DelayedCalls();
    DelayedCalls(const DelayedCalls&) = delete;
    DelayedCalls& operator=(const DelayedCalls&) = delete;

    void after(std::uint32_t milliseconds, std::function<void()> call);

private:
    std::set<std::uint64_t> timers_;
};
