// Test support: calls on files that fail, on the thread that asks for it only.
//
// The program is linked so that these calls go through here first: open64 openat64 syscall (openat2) stat64 fstat64
// fstatat64 read write ftruncate64. A call that fails has had no effect.
#pragma once

// The nth of those calls, the first being 1, and as many in a row as are asked for, fail with the error.
class FailingFileCalls {
public:
    FailingFileCalls(unsigned nth, int error, unsigned inARow = 1);
    ~FailingFileCalls();
    FailingFileCalls(const FailingFileCalls&) = delete;
    FailingFileCalls& operator=(const FailingFileCalls&) = delete;

    bool failed() const;
};
