// A program of its own: the key is made once per process, and here it cannot be.
#include "thread/WorkerFixture.h"

#include <pthread.h>

#include <cerrno>

extern "C" int __real_pthread_key_create(pthread_key_t* key, void (*destroy)(void*));

// The trace's key is the one without destructor.
extern "C" int __wrap_pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) {
    return destroy == nullptr ? EAGAIN : __real_pthread_key_create(key, destroy);
}

namespace {

class OrvThreadWithoutKey : public WorkerFixture {};

TEST_F(OrvThreadWithoutKey, neverRunsItsBodyAndLeavesTheTraceOfTheLastRun) {
    fill(onHost("/tmp/orv.out.Worker"), "of the last run\n");
    bool ran = false;
    Worker worker([&ran](Worker&) {
        ran = true;
        return 0;
    });

    EXPECT_EQ(runToTheEnd(worker), -1);

    EXPECT_FALSE(ran);
    EXPECT_EQ(worker.retval(), -1);
    EXPECT_EQ(worker.refcnt(), 1);
    EXPECT_EQ(file(kWorkerLog), "of the last run\n");
}

}  // namespace
