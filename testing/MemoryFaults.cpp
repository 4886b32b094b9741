#include "testing/MemoryFaults.h"

#include <sched.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// Where the memory really comes from: the sanitizer's allocator, or the C library's.
#if ORV_SANITIZED_MEMORY
#define ORV_REAL_MEMORY(call) __interceptor_##call
#else
#define ORV_REAL_MEMORY(call) __libc_##call
#endif

// They throw nothing, so that they are jumped to: a sanitizer then sees who asked for the memory.
extern "C" {
void* ORV_REAL_MEMORY(malloc)(std::size_t size) noexcept;
void* ORV_REAL_MEMORY(calloc)(std::size_t count, std::size_t size) noexcept;
void* ORV_REAL_MEMORY(realloc)(void* memory, std::size_t size) noexcept;
}

namespace {

std::atomic<MemoryFaults*> active{nullptr};
std::atomic<int> looking{0};  // threads at the active block
std::atomic<unsigned> plans{0};
thread_local unsigned ownPlan = 0;
thread_local bool paused = false;
// A new thread is the C library's and the sanitizer's own until it makes its first object.
thread_local bool threadIsUp = false;

// The sanitizer's, where there is one.
extern "C" void __sanitizer_print_stack_trace() __attribute__((weak));

void tellWhere(const MemoryFaults& faults, unsigned number) {
    if (faults.tells && number == faults.first && __sanitizer_print_stack_trace != nullptr) {
        const MemoryFaults::Pause pause;
        __sanitizer_print_stack_trace();
    }
}

bool failsBy(MemoryFaults& faults, std::size_t size, MemoryFaults::Kind kind) {
    if (!faults.watched || (faults.kinds & kind) == 0 || (!faults.onEveryThread && ownPlan != plans)) {
        return false;
    }
    const unsigned number = ++faults.seen;
    faults.bytes += size;
    if (faults.first == 0 || number < faults.first || number - faults.first >= faults.burst || size < faults.least ||
        size > faults.most) {
        return false;
    }
    faults.hit = true;
    tellWhere(faults, number);
    errno = ENOMEM;
    return true;
}

bool fails(std::size_t size, MemoryFaults::Kind kind) {
    if (active.load(std::memory_order_relaxed) == nullptr || paused || !threadIsUp) {
        return false;
    }
    ++looking;
    MemoryFaults* const faults = active;
    const bool result = faults != nullptr && failsBy(*faults, size, kind);
    --looking;
    return result;
}

void* memoryOfObject(std::size_t size, bool throws) {
    threadIsUp = true;
    const MemoryFaults::Kind kind = throws ? MemoryFaults::kThrowing : MemoryFaults::kNothrow;
    return fails(size, kind) ? nullptr : ORV_REAL_MEMORY(malloc)(size > 0 ? size : 1);
}

void giveBackObject(void* memory) {
    std::free(memory);
}

}  // namespace

void MemoryFaults::use(MemoryFaults* faults) {
    ownPlan = faults != nullptr ? ++plans : ownPlan;
    active = faults;
    while (faults == nullptr && looking != 0) {
        sched_yield();
    }
}

MemoryFaults::Pause::Pause(bool pauses) : former_(paused) {
    paused = pauses;
}

MemoryFaults::Pause::~Pause() {
    paused = former_;
}

extern "C" {

void* malloc(std::size_t size) noexcept {
    return fails(size, MemoryFaults::kLibrary) ? nullptr : ORV_REAL_MEMORY(malloc)(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails(count * size, MemoryFaults::kLibrary) ? nullptr : ORV_REAL_MEMORY(calloc)(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return fails(size, MemoryFaults::kLibrary) ? nullptr : ORV_REAL_MEMORY(realloc)(memory, size);
}

}  // extern "C"

#include "platform/posix/OwnNew.inc"
