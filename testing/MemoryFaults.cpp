#include "testing/MemoryFaults.h"

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

namespace {

std::atomic<MemoryFaults*> active{nullptr};
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

bool fails(std::size_t size, bool object) {
    MemoryFaults* const faults = active.load(std::memory_order_relaxed);
    if (faults == nullptr || paused || !threadIsUp || !faults->watched || (faults->objectsOnly && !object)) {
        return false;
    }
    const unsigned number = ++faults->seen;
    faults->bytes += size;
    if (faults->first == 0 || number < faults->first || number - faults->first >= faults->burst ||
        size < faults->least || size > faults->most) {
        return false;
    }
    faults->hit = true;
    tellWhere(*faults, number);
    errno = ENOMEM;
    return true;
}

}  // namespace

void MemoryFaults::use(MemoryFaults* faults) {
    active = faults;
}

MemoryFaults::Pause::Pause(bool pauses) : former_(paused) {
    paused = pauses;
}

MemoryFaults::Pause::~Pause() {
    paused = former_;
}

extern "C" {

void* ORV_REAL_MEMORY(malloc)(std::size_t size);
void* ORV_REAL_MEMORY(calloc)(std::size_t count, std::size_t size);
void* ORV_REAL_MEMORY(realloc)(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept {
    return fails(size, false) ? nullptr : ORV_REAL_MEMORY(malloc)(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails(count * size, false) ? nullptr : ORV_REAL_MEMORY(calloc)(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return fails(size, false) ? nullptr : ORV_REAL_MEMORY(realloc)(memory, size);
}

}  // extern "C"

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    threadIsUp = true;
    return fails(size, true) ? nullptr : ORV_REAL_MEMORY(malloc)(size > 0 ? size : 1);
}
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
