// What captures do when there is no memory.
#include "testing/FailingCalls.h"
#include "testing/capture/CaptureTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class OrvCHCaptureMemoryDeathTest : public CaptureTest {
protected:
    void prepare() {
        addProfile("Ops", "ops@x");
        schedule({itemOf("Ops")});
        settleBeforeMonday();
        switch_.takeTraces();
    }
};

TEST_F(OrvCHCaptureMemoryDeathTest, endsTheProcessWhenACaptureCannotBeHandedOver) {
    prepare();

    EXPECT_EXIT(
        {
            switch_.echo();
            const FailingMemory noMemory(MemoryFaults::kNothrow);
            checkAt(kMonday);
        },
        testing::ExitedWithCode(1),
        "alarm 0 10050034 System resource error - contact technical support\n"
        "alarm 16 0 OrvApp - cannot allocate memory\n");

    EXPECT_THAT(switch_.takeTraces(),
                testing::IsSupersetOf({"OrvCHCapture pushExecMesg: Entry\n",
                                       "OrvCHCapture pushExecMesg: Failure to allocate OrvCHClientSend object\n",
                                       "OrvCHCapture pushExecMesg: Main thread exiting\n"}));
}

TEST_F(OrvCHCaptureMemoryDeathTest, endsTheProcessWhenAResultCannotBeHandedOver) {
    prepare();
    for (const bool succeeds : {true, false}) {
        EXPECT_EXIT(
            {
                // From the end of the capture on, the capture thread has no memory: the message's data is there.
                std::unique_ptr<FailingMemory> noMemory;
                shell_.before = [&](const std::string&) {
                    noMemory = std::make_unique<FailingMemory>(MemoryFaults::kNothrow, succeeds ? 1u : 0u);
                };
                shell_.refuse(succeeds ? 0 : 1, EAGAIN);
                [[maybe_unused]] const int started = capture().start();
                checkAt(kMonday);
                [[maybe_unused]] const bool finished = runUntil([this] { return !sink_.queued.empty(); });
            },
            testing::ExitedWithCode(1), "");
    }
}

// A copy left on the list would not match the next result, which would end the daemon.
TEST_F(OrvCHCaptureMemoryDeathTest, keepsNoCopyOfACaptureThatFindsNoQueueToItsThread) {
    {
        const FailingMemory noMemory(MemoryFaults::kNothrow);
        capture_ = std::make_unique<OrvCHCapture>(sink_, ScriptedShell::run);
    }
    prepare();
    switch_.takeSent();

    checkAt(kMonday);

    EXPECT_THAT(switch_.takeTraces(), testing::Contains("OrvCHCapture pushExecMesg: Entry\n"));
    EXPECT_THAT(switch_.takeSent(), ElementsAre("alarm 0 10050034 System resource error - contact technical support",
                                                "alarm 16 0 OrvApp - cannot allocate memory"));
    const std::string shown = probe();
    EXPECT_THAT(shown, HasSubstr("executing = 0\n"));
    EXPECT_THAT(shown, HasSubstr("NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
}

TEST_F(OrvCHCaptureMemoryDeathTest, failsACaptureThatHasNoMemoryForItsMessage) {
    prepare();
    std::unique_ptr<FailingMemory> noMemory;
    shell_.before = [&](const std::string&) {
        noMemory = std::make_unique<FailingMemory>(MemoryFaults::kNothrow, 0, 1);
    };
    ASSERT_EQ(capture().start(), 0);
    checkAt(kMonday);
    switch_.takeSent();

    ASSERT_TRUE(runUntil([this] { return probe().find("executing = 0") != std::string::npos; }));

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 16 8b000001 CronCapture failed: Cannot allocate memory!"));
    EXPECT_THAT(sink_.queued, IsEmpty());
}

// Whichever allocation fails, the item stays on its schedule, and is started once.
TEST_F(OrvCHCaptureMemoryDeathTest, startsACaptureOnceWhicheverAllocationFailsInItsCheck) {
    prepare();
    std::int64_t now = kMonday - 60;
    unsigned failures = 0;
    bool failed = true;
    for (unsigned after = 0; failed; ++after) {
        // A week on, an hour at a time, so that the clock never counts as set.
        for (const std::int64_t end = kMonday + after * kWeek; now < end - 60;) {
            now = std::min(now + 3600, end - 60);
            checkAt(now);
        }
        takeStarted();
        try {
            for (int i = 0; i < 59; ++i) {
                capture().tick(true);
            }
            clock_.setCalendar(now + 60);
            const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
            try {
                capture().tick(true);
            } catch (const std::bad_alloc&) {
                ++failures;
            }
            failed = noMemory.failed();
        } catch (const std::bad_alloc&) {
            FAIL() << "thrown by nobody who was told to";
        }
        checkAt(now + 120);
        EXPECT_EQ(takeStarted(), 1u) << after;
        const std::string shown = probe();
        EXPECT_THAT(shown, HasSubstr("scheduleCount = 1\n")) << after;
        EXPECT_THAT(shown, HasSubstr("executing = " + std::to_string(after + 1) + "\n")) << after;
        now += 120;
    }
    EXPECT_GE(failures, 2u);
}

}  // namespace
