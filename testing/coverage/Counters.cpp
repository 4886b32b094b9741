// How a process that ends at once leaves its counters: without this, whatever ran in a forked child counts as not run.
#include "box/BoxThread.h"

#include <cstdlib>

extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __real_abort();
[[noreturn]] void __wrap__exit(int status);
[[noreturn]] void __wrap_abort();
}

// The files of a thread in a box are not where the counters belong, and it comes here once more when the box has ended
// the life.
void __wrap__exit(int status) {
    if (orvInBoxThread == nullptr || !orvInBoxThread()) {
        __gcov_dump();
    }
    __real__exit(status);
}

void __wrap_abort() {
    __gcov_dump();
    __real_abort();
}
