#include "testing/platform/FailingAllocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

struct Plan {
    int before;  // allocations that still work
    int failures;
    bool struck;
};
thread_local Plan plan{0, 0, false};

bool fails() {
    if (plan.failures == 0) {
        return false;
    }
    if (plan.before > 0) {
        --plan.before;
        return false;
    }
    --plan.failures;
    plan.struck = true;
    return true;
}

}  // namespace

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* former, std::size_t size);

static void* refused() {
    errno = ENOMEM;
    return nullptr;
}

void* malloc(std::size_t size) {
    return fails() ? refused() : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    return fails() ? refused() : __libc_calloc(count, size);
}
void* realloc(void* former, std::size_t size) {
    return fails() ? refused() : __libc_realloc(former, size);
}
}
static void* allocate(std::size_t size) {
    return std::malloc(size);
}
#else
static void* allocate(std::size_t size) {
    return fails() ? nullptr : std::malloc(size);
}
#endif

void* operator new(std::size_t size) {
    void* const memory = allocate(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

FailingAllocations::FailingAllocations(int first, int count) {
    plan = {first - 1, count, false};
}

FailingAllocations::~FailingAllocations() {
    plan = {0, 0, false};
}

bool FailingAllocations::struck() const {
    return plan.struck;
}
