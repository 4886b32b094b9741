// Test support: allocations of this whole program that fail, those of the C library and of other libraries included.
//
// A program linked with orv_memory_faults has its malloc and operator new replaced. Allocations are counted while
// watched, and so many of them fail from the one that the plan names on, whichever thread makes them. What is told and
// counted lies in one block of memory, which may be shared with another process. Any thread; one block at a time.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

struct MemoryFaults {
    // Who asks: the C library's functions, or a new expression of either kind.
    enum Kind : unsigned { kLibrary = 1, kThrowing = 2, kNothrow = 4, kObjects = 6, kAll = 7 };

    // From now on this block counts; null: nothing does, and no thread looks at the former block any more. The calling
    // thread is the plan's own.
    static void use(MemoryFaults* faults);

    // This thread's allocations neither count nor fail while one of these lives: they belong to the test.
    class Pause {
    public:
        explicit Pause(bool pauses = true);
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        const bool former_;
    };

    // --- The plan; first counts from 1, 0: none fails ---
    unsigned first = 0;
    unsigned burst = 1;
    unsigned kinds = kAll;      // that count
    bool onEveryThread = true;  // or on the plan's own only
    std::size_t least = 0;      // bytes of one that may fail
    std::size_t most = SIZE_MAX;
    bool tells = false;  // where the first of them is, on standard error
    // --- While true, allocations are counted and the plan counts ---
    std::atomic<bool> watched{false};
    // --- What has been seen ---
    std::atomic<unsigned> seen{0};
    std::atomic<std::size_t> bytes{0};
    std::atomic<bool> hit{false};
};
