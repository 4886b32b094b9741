// Test support: lets a test step in where the file synchronisation calls the system. A hook that is set runs instead of
// the call, on the test's own thread only; the program is linked with --wrap for each of them. A hook does not meet
// itself: what it calls is the real thing.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>

struct SyncFaults {
    // At most one at a time; in force as long as it lives.
    SyncFaults();
    ~SyncFaults();
    SyncFaults(const SyncFaults&) = delete;
    SyncFaults& operator=(const SyncFaults&) = delete;

    std::function<int()> socket;
    std::function<int(int, const sockaddr*, socklen_t)> connect;
    std::function<int(int, const sockaddr*, socklen_t)> bind;
    std::function<int(int, int)> listen;
    std::function<int(int)> accept4;
    std::function<ssize_t(int, const void*, std::size_t, int)> send;
    std::function<ssize_t(int, void*, std::size_t, int)> recv;
    std::function<ssize_t(int, int, std::size_t)> sendfile;
    std::function<ssize_t(int, const void*, std::size_t)> write;
    std::function<int(int, const char*, int)> unlinkat;
    std::function<unsigned(unsigned)> sleep;
};

// For a hook: -1 with this error number.
int failWith(int error);
