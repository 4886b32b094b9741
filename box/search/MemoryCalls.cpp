#include "box/search/MemoryCalls.h"

#include "box/Box.h"

#include <cstdlib>
#include <new>

namespace box {

void keepMemoryCalls() {
}

namespace {

void* memoryOf(std::size_t size) {
    return Box::memoryFails() ? nullptr : std::malloc(size > 0 ? size : 1);
}

}  // namespace

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
