#include "box/search/MemoryCalls.h"

#include "box/Box.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace box {

void keepMemoryCalls() {
}

namespace {

// Before each object: whether it is the daemon's.
constexpr std::size_t kHead = alignof(std::max_align_t) > sizeof(long) ? alignof(std::max_align_t) : sizeof(long);

std::atomic<long> daemons{0};

void* memoryOf(std::size_t size) {
    if (Box::memoryFails()) {
        return nullptr;
    }
    auto* const head = static_cast<char*>(std::malloc(size + kHead));
    if (head == nullptr) {
        return nullptr;
    }
    const long isDaemons = Box::ofCaller() != nullptr && !Spared::now() ? 1 : 0;
    std::memcpy(head, &isDaemons, sizeof isDaemons);
    daemons += isDaemons;
    return head + kHead;
}

void giveBack(void* memory) {
    if (memory == nullptr) {
        return;
    }
    char* const head = static_cast<char*>(memory) - kHead;
    long isDaemons = 0;
    std::memcpy(&isDaemons, head, sizeof isDaemons);
    daemons -= isDaemons;
    std::free(head);
}

}  // namespace

long daemonsObjects() {
    return daemons;
}

}  // namespace box

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return box::memoryOf(size);
}
void* operator new(std::size_t size) {
    void* const memory = box::memoryOf(size);
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
    box::giveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    box::giveBack(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    box::giveBack(memory);
}
void operator delete[](void* memory) noexcept {
    box::giveBack(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    box::giveBack(memory);
}
