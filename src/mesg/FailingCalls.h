// Makes system calls of this test program fail that in life fail only on a broken or full flash.
//
// The program is linked so that the calls below go through here first; they fail only while a FailingCall or a
// FailingNth lives, and only on files whose path matches. A call that fails has had no effect, but close and fclose,
// which always close.
//
// Calls: open (of OrvFiles.h) close read write ftruncate stat unlink rename link mkdir rmdir pread pwrite fdopen fread
// fgets fclose readdir shell (whose path is the command).
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// Every call of this name on a file whose path contains part fails with the error, but for so many at first, while this
// lives. One at a time.
class FailingCall {
public:
    FailingCall(std::string call, std::string part, int error, unsigned spared = 0);
    ~FailingCall();
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    unsigned failures() const;
};

// Takes a step right before the first call of this name on a file whose path contains part. One at a time.
class StepBeforeCall {
public:
    StepBeforeCall(std::string call, std::string part, std::function<void()> step);
    ~StepBeforeCall();
    StepBeforeCall(const StepBeforeCall&) = delete;
    StepBeforeCall& operator=(const StepBeforeCall&) = delete;

    bool taken() const;
};

// Counts the calls on files whose path contains part. One at a time.
class CountedCalls {
public:
    explicit CountedCalls(std::string part);
    ~CountedCalls();
    CountedCalls(const CountedCalls&) = delete;
    CountedCalls& operator=(const CountedCalls&) = delete;

    unsigned calls() const;
};

// The process ends with kKilled in the place of the nth of all calls on files whose path contains part. One at a time.
class KillAtNth {
public:
    static constexpr int kKilled = 42;

    KillAtNth(unsigned nth, std::string part);
    ~KillAtNth();
    KillAtNth(const KillAtNth&) = delete;
    KillAtNth& operator=(const KillAtNth&) = delete;
};

// The nth of all calls on files whose path contains part fails with the error, the first being 1. One at a time.
class FailingNth {
public:
    FailingNth(unsigned nth, std::string part, int error = EIO);
    ~FailingNth();
    FailingNth(const FailingNth&) = delete;
    FailingNth& operator=(const FailingNth&) = delete;

    bool failed() const;
};

// Every allocation of least to most bytes fails, while this lives. One at a time.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t least, std::size_t most = SIZE_MAX);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

// The nth allocation fails, the first being 1, and with it so many in all, while this lives. One at a time.
class FailingNthAllocation {
public:
    explicit FailingNthAllocation(unsigned nth, unsigned count = 1);
    ~FailingNthAllocation();
    FailingNthAllocation(const FailingNthAllocation&) = delete;
    FailingNthAllocation& operator=(const FailingNthAllocation&) = delete;

    bool failed() const;
};

// Counts the allocations while this lives. One at a time.
class CountedAllocations {
public:
    CountedAllocations();
    ~CountedAllocations();
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

    unsigned count() const;
    std::size_t bytes() const;
};
