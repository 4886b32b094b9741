#include "profile/FailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

struct Plan {
    bool isActive = false;
    FailingMemory::Kind kind = FailingMemory::kThrowing;
    int after = 0;
    int failures = 0;
    bool failed = false;
};
thread_local Plan plan;

bool failsNow(FailingMemory::Kind kind) {
    const bool asked = plan.kind == kind || plan.kind == FailingMemory::kBoth;
    if (!plan.isActive || !asked || plan.failures == 0) {
        return false;
    }
    if (plan.after > 0) {
        --plan.after;
        return false;
    }
    plan.failures -= plan.failures > 0 ? 1 : 0;
    plan.failed = true;
    return true;
}

}  // namespace

FailingMemory::FailingMemory(Kind kind, int after, int failures) {
    plan = {true, kind, after, failures, false};
}

FailingMemory::~FailingMemory() {
    plan.isActive = false;
}

bool FailingMemory::failed() const {
    return plan.failed;
}

MemoryOfItsOwn::MemoryOfItsOwn() : wasActive_(plan.isActive) {
    plan.isActive = false;
}

MemoryOfItsOwn::~MemoryOfItsOwn() {
    plan.isActive = wasActive_;
}

void* operator new(std::size_t size) {
    void* const memory = failsNow(FailingMemory::kThrowing) ? nullptr : std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return failsNow(FailingMemory::kNothrow) ? nullptr : std::malloc(size > 0 ? size : 1);
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
