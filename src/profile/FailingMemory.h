// Test support: allocations that fail. A program that uses it has its operator new replaced.
#pragma once

// While it lives, allocations of the thread that made it fail; its own kind only, or both kinds, counted together.
class FailingMemory {
public:
    enum Kind { kThrowing, kNothrow, kBoth };

    // So many allocations succeed before; then so many fail (negative: all).
    explicit FailingMemory(Kind kind, int after = 0, int failures = -1);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    // At least one allocation has failed.
    bool failed() const;
};

// While it lives, the plan of the thread that made it rests: none of its allocations fails, none is counted. For what
// stands in for another process, which has memory of its own.
class MemoryOfItsOwn {
public:
    MemoryOfItsOwn();
    ~MemoryOfItsOwn();
    MemoryOfItsOwn(const MemoryOfItsOwn&) = delete;
    MemoryOfItsOwn& operator=(const MemoryOfItsOwn&) = delete;

private:
    const bool wasActive_;
};
