// Test support: lets a test step in where the trace calls the system. A hook that is set runs instead of the call, on
// the thread that has set it only; the program is linked with --wrap for each of them.
#pragma once

#include <pthread.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstddef>
#include <functional>

namespace faults {

extern thread_local std::function<int(const char*, const char*)> onRename;
extern thread_local std::function<ssize_t(int, const iovec*, int)> onWritev;
extern thread_local std::function<int(pthread_key_t, const void*)> onSetspecific;
// Before the real call, which follows.
extern thread_local std::function<void()> onMutexLock;
// Whether the next nothrow allocation fails.
extern thread_local bool failNothrowNew;

int realRename(const char* from, const char* to);
ssize_t realWritev(int file, const iovec* parts, int count);

// Takes every hook away at the end of a test.
class Scope {
public:
    Scope() {}  // not defaulted: a const Scope needs no initialiser
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

}  // namespace faults
