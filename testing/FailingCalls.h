// Test support: the words in which a room's tests make calls and allocations of their program fail, over CallFaults and
// MemoryFaults.
//
// Calls go by their names in the table of CallFaults; only those on files whose path contains part count (a shell's
// path is its command). Each of these plans lives for a scope, one of each header at a time. Main thread only.
#pragma once

#include "testing/CallFaults.h"
#include "testing/MemoryFaults.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

// Faults at work from here to the end of the scope.
class CallPlan {
public:
    CallPlan(const CallPlan&) = delete;
    CallPlan& operator=(const CallPlan&) = delete;

    // Calls that the plan means, made so far.
    unsigned calls() const { return faults_.meant; }

protected:
    // An empty name: every call.
    CallPlan(const std::string& call, std::string part);
    ~CallPlan();

    CallFaults faults_;

private:
    const std::string part_;
};

// Every such call fails with the error, but for so many at first, or as many as are said then.
class FailingCall final : public CallPlan {
public:
    FailingCall(const std::string& call, std::string part, int error, unsigned spared = 0, unsigned count = UINT_MAX);
    unsigned failures() const { return calls() < faults_.nth ? 0 : calls() - faults_.nth + 1; }
};

// The nth of all calls fails, the first being 1.
class FailingNth final : public CallPlan {
public:
    FailingNth(unsigned nth, std::string part, int error = EIO);
    bool failed() const { return faults_.hit; }
};

// Counts all calls.
class CountedCalls final : public CallPlan {
public:
    explicit CountedCalls(std::string part) : CallPlan({}, std::move(part)) {}
};

// Takes a step at each such call, on every thread if so wanted, which tells what becomes of it: an error number, or 0
// and it is made. An empty name: every call.
class OnCall final : public CallPlan {
public:
    OnCall(const std::string& call, std::string part, CallFaults::Step step, bool onEveryThread = false);

private:
    const CallFaults::Step step_;
};

// Takes a step right before the first such call.
class StepBeforeCall final : public CallPlan {
public:
    StepBeforeCall(const std::string& call, std::string part, std::function<void()> step);
    bool taken() const { return faults_.hit; }

private:
    const CallFaults::Step step_;
};

// In another process: step is killed in the place of its nth call. Whether it came to that.
bool killedAt(unsigned nth, std::string part, const std::function<void()>& step);

// This thread's allocations, of objects unless otherwise said, counted, and as a plan says failing, from here to the
// end of the scope.
class CountedAllocations {
public:
    explicit CountedAllocations(MemoryFaults::Kind kinds = MemoryFaults::kObjects);
    ~CountedAllocations() { MemoryFaults::use(nullptr); }
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

    unsigned count() const { return faults_.seen; }
    std::size_t bytes() const { return faults_.bytes; }
    bool failed() const { return faults_.hit; }

protected:
    MemoryFaults faults_;
};

// Every one of least to most bytes fails.
class FailingAllocation final : public CountedAllocations {
public:
    explicit FailingAllocation(std::size_t least, std::size_t most = SIZE_MAX);
};

// Those of these kinds fail, but for so many at first, or as many as are said then.
class FailingMemory final : public CountedAllocations {
public:
    explicit FailingMemory(MemoryFaults::Kind kinds, unsigned spared = 0, unsigned count = UINT_MAX);
};
