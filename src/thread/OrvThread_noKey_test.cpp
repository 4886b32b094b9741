// A program of its own: the key is made once per process, and here it cannot be.
#include "testing/FailingCalls.h"
#include "testing/thread/WorkerFixture.h"

#include <cerrno>

namespace {

class OrvThreadWithoutKey : public WorkerFixture {
protected:
    const OnCall keys_{"pthread_key_create", "", [](const CallFaults::Made&) { return EAGAIN; }, true};
};

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
