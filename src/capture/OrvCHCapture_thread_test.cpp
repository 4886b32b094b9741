// Captures on the thread, and what becomes of their results.
#include "testing/FailingCalls.h"
#include "testing/capture/CaptureTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <stdexcept>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";

class OrvCHCaptureThread : public CaptureTest {
protected:
    // Captures of these owners are started, in this order.
    void startCaptures(const std::vector<std::string>& owners) {
        std::vector<CronCaptureItem> items;
        for (const std::string& owner : owners) {
            items.push_back(itemOf(owner));
        }
        schedule(items);
        settleBeforeMonday();
        checkAt(kMonday);
        switch_.takeTraces();
    }

    bool isExecuting(unsigned captures) { return probe().find("executing = " + std::to_string(captures)) != npos; }

    bool runUntilFinished() {
        return runUntil([this] {
            for (const std::string& trace : switch_.takeTraces()) {
                // The items' own traces depend on copies that nobody else sees.
                if (trace.starts_with("OrvCHCapture ")) {
                    traces_.push_back(trace);
                }
            }
            return isExecuting(0);
        });
    }

    static constexpr std::size_t npos = std::string::npos;
    std::vector<std::string> traces_;
};

// The next shells cannot be started, so many times, whichever thread asks.
class ShellsRefused {
public:
    explicit ShellsRefused(int times) : left_(times) {}

private:
    std::atomic<int> left_;
    const OnCall shells_{"posix_spawn", "", [this](const CallFaults::Made&) { return left_-- > 0 ? EAGAIN : 0; }, true};
};

TEST_F(OrvCHCaptureThread, givesTheMessageTheEnvelopeOfItsProfileAndQueuesIt) {
    shell_.support("output");
    addProfile("Ops", "ops@x");
    ASSERT_EQ(sink_.profiles["Ops"]->setLevel("None"), 0);
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    ASSERT_EQ(sink_.queued.size(), 1u);
    const OrvCHMesg& mesg = *sink_.queued[0];
    EXPECT_EQ(mesg.Time, "Mon, 13  Nov  2023  02:30:00  +0000");
    EXPECT_EQ(mesg.ID, "8B00.FFFF");
    EXPECT_EQ(mesg.cronCapture()->Sequence, "1");
    EXPECT_THAT(mesg.cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz"));
    ASSERT_EQ(mesg.Envelopes.size(), 1u);
    EXPECT_EQ(mesg.Envelopes[0]->ProfileName, "Ops");
    EXPECT_THAT(mesg.Envelopes[0]->Recipients, ElementsAre("ops@x"));
    EXPECT_THAT(traces_, ElementsAre("OrvCHCapture handleMainMesg: Entry\n", "OrvCHCapture handleSucceedMesg: Entry\n",
                                     "OrvCHCapture handleSucceedMesg: CronCapture succeeded!\n"));
    const std::vector<std::string> onThread = threadTraces();
    ASSERT_GE(onThread.size(), 3u);
    EXPECT_EQ(onThread[0], "OrvThread run: Thread is running\n");
    EXPECT_EQ(onThread[1], "OrvCHCapture handleThreadMesg: Entry\n");
    EXPECT_EQ(onThread[2], "OrvCHCapture handleExecMesg: Entry\n");
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
}

// The mail tells when the capture was due, however long it waited behind another one.
TEST_F(OrvCHCaptureThread, datesTheMessageByTheCheckThatStartedIt) {
    addProfile("Ops", "ops@x");
    startCaptures({"Ops"});
    checkAt(kMonday + 600);
    ASSERT_EQ(capture().start(), 0);

    ASSERT_TRUE(runUntilFinished());

    ASSERT_EQ(sink_.queued.size(), 1u);
    EXPECT_EQ(sink_.queued[0]->Time, "Mon, 13  Nov  2023  02:30:00  +0000");
}

TEST_F(OrvCHCaptureThread, runsWaitingCapturesOneAfterTheOtherInTheirOrder) {
    for (const char* owner : {"a", "b", "c"}) {
        addProfile(owner, "ops@x");
    }
    std::atomic<int> running = 0;
    std::atomic<bool> overlapped = false;
    shell_.before = [&](const std::string&) {
        overlapped = overlapped || ++running > 1;
        --running;
    };
    startCaptures({"b", "c", "a"});
    EXPECT_TRUE(isExecuting(3));
    ASSERT_EQ(capture().start(), 0);

    ASSERT_TRUE(runUntilFinished());

    EXPECT_FALSE(overlapped);
    ASSERT_EQ(sink_.queued.size(), 3u);
    const char* const owners[] = {"b", "c", "a"};
    const char* const sequences[] = {"1", "2", "3"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(sink_.queued[i]->Envelopes[0]->ProfileName, owners[i]);
        EXPECT_EQ(sink_.queued[i]->cronCapture()->Sequence, sequences[i]);
    }
}

TEST_F(OrvCHCaptureThread, logsACaptureWhoseShellDidNotStart) {
    shell_.refuse(1, EAGAIN);
    addProfile("Ops", "ops@x");
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 16 8b000001 CronCapture failed: Resource temporarily unavailable!"));
    EXPECT_THAT(sink_.queued, IsEmpty());
    EXPECT_THAT(traces_, ElementsAre("OrvCHCapture handleMainMesg: Entry\n", "OrvCHCapture handleFailMesg: Entry\n",
                                     "OrvCHCapture handleFailMesg: CronCapture failed!\n"));
}

// The machine's own shell: last week's report would go out as this week's.
TEST_F(OrvCHCaptureThread, mailsNoEarlierReportWhenNoProcessCanBeHad) {
    switch_.root().write("/tmp/smlCapture.txt", "last week's");
    addProfile("Ops", "ops@x");
    capture_ = std::make_unique<OrvCHCapture>(sink_);
    ASSERT_EQ(capture().start(), 0);
    const ShellsRefused refused(2);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 16 8b000001 CronCapture failed: Resource temporarily unavailable!"));
    EXPECT_THAT(sink_.queued, IsEmpty());
}

// Only for a moment: nobody notices.
TEST_F(OrvCHCaptureThread, runsACaptureWhoseShellsStartAtTheSecondTry) {
    switch_.root().write("/tmp/smlCapture.txt", "report");
    addProfile("Ops", "ops@x");
    capture_ = std::make_unique<OrvCHCapture>(sink_);
    ASSERT_EQ(capture().start(), 0);
    const ShellsRefused refused(1);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(switch_.takeSent(), IsEmpty());
    ASSERT_EQ(sink_.queued.size(), 1u);
    EXPECT_THAT(sink_.queued[0]->cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz"));
}

TEST_F(OrvCHCaptureThread, goesOnAfterAFailedCapture) {
    shell_.refuse(1, EAGAIN);
    addProfile("Ops", "ops@x");
    addProfile("Dev", "dev@x");
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops", "Dev"});

    ASSERT_TRUE(runUntilFinished());

    ASSERT_EQ(sink_.queued.size(), 1u);
    EXPECT_EQ(sink_.queued[0]->Envelopes[0]->ProfileName, "Dev");
}

TEST_F(OrvCHCaptureThread, failsTheCaptureWhoseNumberCannotBeKept) {
    addProfile("Ops", "ops@x");
    ASSERT_EQ(capture().start(), 0);
    const std::string path = switch_.root().at("/ostrel/conf/orv/callHome/capture.seq");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 16 8b000001 CronCapture failed: Is a directory!"));
    EXPECT_THAT(threadTraces(), Contains("OrvCHCapture execCapture: Write Error for file "
                                         "/ostrel/conf/orv/callHome/capture.seq\n"));
}

TEST_F(OrvCHCaptureThread, failsWithAnInputOutputErrorWhenTheSystemToldNone) {
    addProfile("Ops", "ops@x");
    shell_.before = [](const std::string&) {
        errno = 0;
        throw std::runtime_error("lost");
    };
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 16 8b000001 CronCapture failed: Input/output error!"));
    EXPECT_THAT(threadTraces(), Contains("OrvCHCapture execCapture: lost\n"));
}

TEST_F(OrvCHCaptureThread, dropsTheMessageOfAProfileThatWasRenamedMeanwhile) {
    shell_.support("output");
    addProfile("Ops", "ops@x");
    startCaptures({"Ops"});
    sink_.profiles.clear();
    addProfile("Operations", "ops@x");
    ASSERT_EQ(capture().start(), 0);

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(sink_.queued, IsEmpty());
    EXPECT_EQ(traces_.back(),
              "OrvCHCapture handleSucceedMesg: Profile Ops deleted or renamed, cannot retreive envelope for message, "
              "deleting...!\n");
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
    EXPECT_THAT(switch_.root().list(kAttachments), IsEmpty());
}

TEST_F(OrvCHCaptureThread, dropsTheMessageOfAnItemThatNeverGotAName) {
    ASSERT_EQ(capture().start(), 0);
    schedule({CronCaptureItem()});
    settleBeforeMonday();
    checkAt(kMonday);
    switch_.takeTraces();

    ASSERT_TRUE(runUntilFinished());

    EXPECT_EQ(traces_.back(),
              "OrvCHCapture handleSucceedMesg: Profile \xFF deleted or renamed, cannot retreive envelope for message, "
              "deleting...!\n");
}

TEST_F(OrvCHCaptureThread, dropsTheMessageOfAProfileWithoutAddresses) {
    shell_.support("output");
    addProfile("Ops", "");
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_THAT(sink_.queued, IsEmpty());
    EXPECT_EQ(traces_.back(), "OrvCHCapture handleSucceedMesg: Profile Ops: No envelope for message, deleting...!\n");
    EXPECT_THAT(switch_.root().list(kAttachments), IsEmpty());
}

TEST_F(OrvCHCaptureThread, finishesACaptureWhoseMessageTheQueueRefuses) {
    addProfile("Ops", "ops@x");
    sink_.result = -1;
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_EQ(sink_.queued.size(), 1u);
}

// A copy left behind would stop the daemon at the next result.
TEST_F(OrvCHCaptureThread, finishesACaptureEvenWhenQueueingThrows) {
    addProfile("Ops", "ops@x");
    addProfile("Dev", "dev@x");
    bool first = true;
    sink_.onEnqueue = [&first] {
        if (std::exchange(first, false)) {
            throw std::runtime_error("no room");
        }
    };
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops", "Dev"});

    ASSERT_TRUE(runUntilFinished());

    EXPECT_EQ(sink_.queued.size(), 2u);
}

// Kept: this one failure is not the capture's but the thread's. Its copy stays on the list.
TEST_F(OrvCHCaptureThread, endsWhenTheOutputFindsNoShellAndIsNotLaunchedAgain) {
    shell_.support("output");
    shell_.refuse(2, ENOMEM);
    addProfile("Ops", "ops@x");
    addProfile("Dev", "dev@x");
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops", "Dev"});

    ASSERT_TRUE(runUntil([this] {
        const std::vector<std::string> traces = threadTraces();
        return !traces.empty() && traces.back().find("Thread is terminating") != npos;
    }));

    EXPECT_THAT(threadTraces(), Contains(HasSubstr("Thread threw an exception\n")));
    EXPECT_EQ(capture().start(), 0);
    EXPECT_EQ(shell_.commands().size(), 2u);
    EXPECT_TRUE(isExecuting(2));
    EXPECT_THAT(sink_.queued, IsEmpty());
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
    EXPECT_THAT(switch_.root().list(kAttachments), IsEmpty());
}

TEST_F(OrvCHCaptureThread, isLaunchedOnce) {
    addProfile("Ops", "ops@x");
    ASSERT_EQ(capture().start(), 0);
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});

    ASSERT_TRUE(runUntilFinished());

    const std::vector<std::string> traces = threadTraces();
    EXPECT_EQ(countOf(traces, "OrvThread run: Thread is running\n"), 1u);
}

TEST_F(OrvCHCaptureThread, worksOnItsOwnCopyWhileProfilesChange) {
    std::mutex lock;
    std::condition_variable changed;
    bool running = false;
    bool mayGoOn = false;
    shell_.before = [&](const std::string& command) {
        if (!command.starts_with("/ostrel/bin/clish")) {
            return;
        }
        std::unique_lock<std::mutex> guard(lock);
        running = true;
        changed.notify_all();
        changed.wait_for(guard, std::chrono::seconds(20), [&] { return mayGoOn; });
    };
    addProfile("Ops", "ops@x");
    ASSERT_EQ(capture().start(), 0);
    startCaptures({"Ops"});
    {
        std::unique_lock<std::mutex> guard(lock);
        ASSERT_TRUE(changed.wait_for(guard, std::chrono::seconds(20), [&] { return running; }));
    }

    schedule({itemOf("Ops", "Sat", "12:00", "9")});
    {
        const std::lock_guard<std::mutex> guard(lock);
        mayGoOn = true;
    }
    changed.notify_all();

    ASSERT_TRUE(runUntilFinished());
    ASSERT_EQ(sink_.queued.size(), 1u);
    EXPECT_EQ(sink_.queued[0]->cronCapture()->DayOfWeek, "Mon");
    EXPECT_EQ(sink_.queued[0]->cronCapture()->TimeOfDay, "02:30");
    EXPECT_EQ(sink_.queued[0]->cronCapture()->Interval, "1");
}

}  // namespace
