// Test support: lets a test step in where queues and threads call the system. The hooks of the innermost Faults that
// lives on the calling thread run instead of the calls; the program is linked with --wrap for each of them.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>

struct Faults {
    Faults();
    ~Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    // Each returns true when the call shall fail; errno is the hook's to set.
    std::function<bool()> pipe;
    std::function<bool()> fcntl;
    std::function<bool()> registerHandler;
    std::function<bool()> setpriority;
    std::function<bool()> setspecific;
    std::function<bool()> nothrowNew;
    std::function<bool()> throwingNew;
    // The number of bytes "written" or "read", or -1.
    std::function<ssize_t(int, const void*, std::size_t)> write;
    std::function<ssize_t(int, void*, std::size_t)> read;
    // Before the real call.
    std::function<void()> mutexLock;
    std::function<void()> condSignal;
    std::function<void()> condWait;
    std::function<void(int)> closing;
    // Before the real call, with its mask.
    std::function<void(unsigned)> registering;
    std::function<void(unsigned)> removing;

private:
    Faults* const outer_;
};

ssize_t realWrite(int file, const void* bytes, std::size_t count);
ssize_t realRead(int file, void* bytes, std::size_t count);
