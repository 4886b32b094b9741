// Test support: what a test has run in the place of a C library call, with the call's arguments; its result is the
// call's. For what a plan of FailingCalls.h cannot tell: a call that moves a few bytes, bytes that no peer has sent,
// what a call was asked for.
//
// A hook that is set runs on the thread that made this, at most one at a time, as long as it lives. It is asked before
// any plan, and does not meet itself: what it calls is the real thing. Lines of a trace file are not its write.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>

struct CallHooks {
    CallHooks();
    ~CallHooks();
    CallHooks(const CallHooks&) = delete;
    CallHooks& operator=(const CallHooks&) = delete;

    std::function<int(int, const sockaddr*, socklen_t)> connect;
    std::function<int(int, const sockaddr*, socklen_t)> bind;
    std::function<int(int, int)> listen;
    std::function<ssize_t(int, const void*, std::size_t, int)> send;
    std::function<ssize_t(int, void*, std::size_t, int)> recv;
    std::function<ssize_t(int, int, off_t*, std::size_t)> sendfile;
    std::function<ssize_t(int, const void*, std::size_t)> write;
    std::function<int(int, const char*, int)> unlinkat;
    std::function<unsigned(unsigned)> sleep;

    // Those of this thread; null: it has none, or is within a hook or a step of a plan.
    static const CallHooks* atWork();
};

// For a hook: -1 with this error number.
int failWith(int error);
