// The main thread's side without the thread: registration, the check and its order.
#include "capture/OrvCaptureMesgs.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvSequenceSource.h"
#include "testing/capture/CaptureTest.h"
#include "thread/OrvThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OrvCHCaptureTest : public CaptureTest {};

TEST_F(OrvCHCaptureTest, cannotBeMadeWithoutItsSequenceNumber) {
    switch_.root().write("/ostrel/conf/orv/callHome/capture.seq", "abc");
    EXPECT_THROW(OrvCHCapture(sink_, ScriptedShell::run), OrvFileError);
}

TEST_F(OrvCHCaptureTest, givesSequenceNumbers) {
    EXPECT_EQ(capture().nextSequence(), 1u);
    EXPECT_EQ(capture().nextSequence(), 2u);
}

TEST_F(OrvCHCaptureTest, givesCopiesOfCaptureMessagesTheirNumbers) {
    capture();
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    mesg.cronCapture()->Sequence = "77";

    const OrvCHMesg copy(mesg);

    EXPECT_EQ(copy.cronCapture()->Sequence, "1");
}

TEST_F(OrvCHCaptureTest, opensARegistrationRoundWithATrace) {
    capture().readConfig();
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHCapture readConfig: Entry\n"));
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
}

TEST_F(OrvCHCaptureTest, startsADueCaptureAtTheNextCheckAndNotAgain) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    EXPECT_EQ(takeStarted(), 0u);

    pass(59);
    EXPECT_EQ(takeStarted(), 0u);
    pass(1);
    EXPECT_EQ(takeStarted(), 1u);

    pass(86400);
    EXPECT_EQ(takeStarted(), 0u);
}

TEST_F(OrvCHCaptureTest, startsExactlyOneCaptureAWeekWithinAMinuteOfItsTime) {
    schedule({CronCaptureItem("Ops")});
    pass(17);  // the checks do not fall on full minutes
    std::vector<std::int64_t> delays;
    const std::int64_t end = kMonday + 3 * kWeek - 3600;
    while (clock_.calendar().tv_sec < end) {
        pass(60);
        if (takeStarted() == 1) {
            delays.push_back(clock_.calendar().tv_sec - kMonday - static_cast<std::int64_t>(delays.size()) * kWeek);
        }
    }

    ASSERT_EQ(delays.size(), 3u);
    for (const std::int64_t delay : delays) {
        EXPECT_GE(delay, 0);
        EXPECT_LT(delay, 60);
    }
}

TEST_F(OrvCHCaptureTest, keepsItsRhythmOverTheEndOf32Bits) {
    // Tuesday 2038-01-19 03:14:00 UTC
    constexpr std::int64_t kLast = 2147483640;
    clock_.setCalendar(kLast - 7200);
    schedule({itemOf("Ops", "Tue", "03:15")});
    checkAt(kLast);
    EXPECT_EQ(takeStarted(), 0u);
    checkAt(kLast + 60);
    EXPECT_EQ(takeStarted(), 1u);
    checkAt(kLast + 120);
    EXPECT_EQ(takeStarted(), 0u);
    for (std::int64_t time = kLast + 120; time < kLast + 60 + kWeek; time += 3600) {
        checkAt(time);
        ASSERT_EQ(takeStarted(), 0u);
    }
    checkAt(kLast + 60 + kWeek);
    EXPECT_EQ(takeStarted(), 1u);
}

TEST_F(OrvCHCaptureTest, startsAllDueCapturesInOneCheckInTheOrderOfTheirTimes) {
    schedule({itemOf("c", "Mon", "02:31"), itemOf("b"), itemOf("a")});
    settleBeforeMonday();
    switch_.takeTraces();

    checkAt(kMonday + 60);

    EXPECT_EQ(takeStarted(), 3u);
    EXPECT_THAT(probe(), HasSubstr("executing = 3\n"));
}

TEST_F(OrvCHCaptureTest, handsACaptureOverBeforeItMovesOn) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    switch_.takeTraces();

    checkAt(kMonday);

    const std::vector<std::string> traces = switch_.takeTraces();
    std::vector<std::string> own;
    for (const std::string& trace : traces) {
        if (trace.starts_with("OrvCHCapture ")) {
            own.push_back(trace);
        }
    }
    EXPECT_THAT(own, ElementsAre("OrvCHCapture pushExecMesg: Entry\n",
                                 "OrvCHCapture computeNextExecution: \n"
                                 "LastExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n"
                                 "NextExecution(Mon, 20  Nov  2023  02:30:00  +0000)\n"));
}

// Each copy of an item is traced, so one too many would show.
TEST_F(OrvCHCaptureTest, copiesAStartedItemOnce) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    switch_.takeTraces();

    checkAt(kMonday);

    std::size_t copies = 0;
    std::size_t ends = 0;
    for (const std::string& trace : switch_.takeTraces()) {
        copies += trace.find(": copy constructor:  ") != std::string::npos;
        ends += trace.find(": destructor: ") != std::string::npos;
    }
    EXPECT_EQ(copies, 1u);
    EXPECT_EQ(ends, 0u);
}

// Without a check before, the clock counts as set: everything is computed anew.
TEST_F(OrvCHCaptureTest, recomputesEveryItemAtItsFirstCheckAndLosesTheOneThatWasDueBefore) {
    schedule({itemOf("Ops")});
    clock_.setCalendar(kMonday + 30);
    switch_.takeTraces();

    for (int i = 0; i < 60; ++i) {
        capture().tick(true);
    }

    const std::vector<std::string> traces = switch_.takeTraces();
    EXPECT_EQ(countOf(traces, "OrvCHCapture recomputeQueue: Entry\n"), 1u);
    EXPECT_EQ(countOf(traces, "OrvCHCapture pushExecMesg: Entry\n"), 0u);
    EXPECT_THAT(probe(), HasSubstr("NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
}

TEST_F(OrvCHCaptureTest, recomputesNothingAtItsFirstCheckInTheFirstHourOf1970) {
    clock_.setCalendar(0);
    schedule({itemOf("Ops", "Thu", "00:30")});
    switch_.takeTraces();

    checkAt(3600);

    const std::vector<std::string> traces = switch_.takeTraces();
    EXPECT_EQ(countOf(traces, "OrvCHCapture recomputeQueue: Entry\n"), 0u);
    EXPECT_EQ(countOf(traces, "OrvCHCapture pushExecMesg: Entry\n"), 1u);
}

struct JumpCase {
    const char* name;
    std::int64_t by;
    bool recomputes;
};

void PrintTo(const JumpCase& jump, std::ostream* stream) {
    *stream << jump.name;
}

class OrvCHCaptureClock : public CaptureTest, public testing::WithParamInterface<JumpCase> {};

TEST_P(OrvCHCaptureClock, countsAsSetWhenItMovedByMoreThanAnHour) {
    schedule({itemOf("Ops", "Sat")});
    settleBeforeMonday();
    switch_.takeTraces();

    checkAt(kMonday - 60 + GetParam().by);

    EXPECT_EQ(countOf(switch_.takeTraces(), "OrvCHCapture recomputeQueue: Entry\n"), GetParam().recomputes ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Moves, OrvCHCaptureClock,
                         testing::Values(JumpCase{"aMinute", 60, false}, JumpCase{"anHour", 3600, false},
                                         JumpCase{"anHourAndASecond", 3601, true}, JumpCase{"backAnHour", -3600, false},
                                         JumpCase{"backAnHourAndASecond", -3601, true},
                                         JumpCase{"backTwoHours", -7200, true}, JumpCase{"aYear", 31536000, true}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(OrvCHCaptureTest, doesNotMakeUpForACaptureThatTheClockJumpedOver) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    takeStarted();

    checkAt(kMonday + 7200);

    EXPECT_EQ(takeStarted(), 0u);
    EXPECT_THAT(probe(), HasSubstr("NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
}

TEST_F(OrvCHCaptureTest, schedulesFromTheNewTimeWhenTheClockIsSetBack) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    checkAt(kMonday);
    EXPECT_EQ(takeStarted(), 1u);

    // Two hours back the same Monday morning lies ahead once more.
    checkAt(kMonday - 7200);
    EXPECT_EQ(takeStarted(), 0u);
    EXPECT_THAT(probe(), HasSubstr("NextExecution = Mon, 13  Nov  2023  02:30:00  +0000\n"));
}

TEST_F(OrvCHCaptureTest, countsButDoesNotCheckBeforeTheQueueIsOpen) {
    schedule({itemOf("Ops")});
    switch_.takeTraces();

    pass(7260, false);
    EXPECT_THAT(switch_.takeTraces(), IsEmpty());
    EXPECT_THAT(probe(), HasSubstr("tickCount = 0\nlastCheck = Thu, 01  Jan  1970  00:00:00  +0000\n"));
    pass(59, false);
    pass(1, true);

    EXPECT_EQ(countOf(switch_.takeTraces(), "OrvCHCapture recomputeQueue: Entry\n"), 1u);
}

TEST_F(OrvCHCaptureTest, passesOverTheCheckWhenNothingIsScheduled) {
    capture();
    switch_.takeTraces();

    checkAt(kMonday);

    EXPECT_THAT(switch_.takeTraces(), IsEmpty());
    EXPECT_THAT(probe(), HasSubstr("lastCheck = Thu, 01  Jan  1970  00:00:00  +0000\n"));
}

// Kept: nothing is checked meanwhile, so the clock looks as if it had been set.
TEST_F(OrvCHCaptureTest, losesACaptureDueInTheMinuteAfterAnEmptyScheduleOfMoreThanAnHour) {
    for (const std::int64_t emptyFor : {3600, 3601}) {
        schedule({itemOf("Other", "Sat")});
        checkAt(kMonday + 30 - emptyFor);
        schedule({});
        for (std::int64_t left = emptyFor - 60; left > 0; left -= 60) {
            checkAt(kMonday + 30 - left);
        }
        clock_.setCalendar(kMonday - 10);
        schedule({itemOf("Ops")});
        takeStarted();

        checkAt(kMonday + 30);

        EXPECT_EQ(takeStarted(), emptyFor <= 3600 ? 1u : 0u);
        EXPECT_THAT(probe(), HasSubstr("NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
    }
}

TEST_F(OrvCHCaptureTest, replacesTheScheduleInEachRoundInsteadOfAddingToIt) {
    schedule({itemOf("Ops"), itemOf("Dev")});
    schedule({itemOf("Ops"), itemOf("New")});

    EXPECT_THAT(probe(), HasSubstr("scheduleCount = 2\n"));
    schedule({});
    EXPECT_THAT(probe(), HasSubstr("scheduleCount = 0\n"));
}

TEST_F(OrvCHCaptureTest, keepsTheOldScheduleWhenARoundIsNotCompleted) {
    schedule({itemOf("Ops")});
    capture().readConfig();
    capture().registerItem(itemOf("Half"));
    EXPECT_THAT(probe(), HasSubstr("  Ops: Mon 02:30"));

    schedule({itemOf("Whole")});

    const std::string shown = probe();
    EXPECT_THAT(shown, HasSubstr("scheduleCount = 1\n"));
    EXPECT_THAT(shown, HasSubstr("  Whole: Mon 02:30"));
}

TEST_F(OrvCHCaptureTest, completesNothingWithoutARound) {
    schedule({itemOf("Ops")});

    capture().completeRegistration();

    EXPECT_THAT(probe(), HasSubstr("scheduleCount = 1\n"));
}

TEST_F(OrvCHCaptureTest, losesNoCaptureToAConfigurationChangeInItsMinute) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    pass(30);
    clock_.setCalendar(kMonday + 10);
    schedule({itemOf("Ops")});
    switch_.takeTraces();

    pass(30);

    EXPECT_EQ(takeStarted(), 1u);
    schedule({itemOf("Ops")});
    pass(3600);
    EXPECT_EQ(takeStarted(), 0u);
}

// On a check that falls on the very second of the capture, that second is still the present when profiles are read.
TEST_F(OrvCHCaptureTest, doublesNoCaptureByAConfigurationChangeInTheSecondOfItsStart) {
    schedule({itemOf("Ops"), itemOf("Two", "Mon", "02:30", "2")});
    settleBeforeMonday();
    checkAt(kMonday);
    EXPECT_EQ(takeStarted(), 2u);

    schedule({itemOf("Ops"), itemOf("Two", "Mon", "02:30", "2")});
    pass(3600);

    EXPECT_EQ(takeStarted(), 0u);
    const std::string shown = probe();
    EXPECT_THAT(shown,
                HasSubstr("  Ops: Mon 02:30, every 1 weeks, LastExecution = Mon, 13  Nov  2023  02:30:00  +0000, "
                          "NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
    EXPECT_THAT(shown,
                HasSubstr("  Two: Mon 02:30, every 2 weeks, LastExecution = Mon, 13  Nov  2023  02:30:00  +0000, "
                          "NextExecution = Mon, 20  Nov  2023  02:30:00  +0000\n"));
}

TEST_F(OrvCHCaptureTest, leavesAStartedCaptureAloneWhenProfilesChange) {
    schedule({itemOf("Ops")});
    settleBeforeMonday();
    checkAt(kMonday);

    schedule({});

    const std::string shown = probe();
    EXPECT_THAT(shown, HasSubstr("scheduleCount = 0\nexecuting = 1\n"));
}

TEST_F(OrvCHCaptureTest, showsItsScheduleToTheProbe) {
    capture().nextSequence();
    schedule({itemOf("Ops", "Tue", "4:05", "3"), itemOf("Dev")});
    settleBeforeMonday();
    checkAt(kMonday);
    pass(7);

    EXPECT_EQ(probe(),
              "OrvCHCapture probe: CronCapture Information:\n"
              "sequence = 1\n"
              "scheduleCount = 2\n"
              "executing = 1\n"
              "tickCount = 7\n"
              "lastCheck = Mon, 13  Nov  2023  02:30:00  +0000\n"
              "  Ops: Tue 04:05, every 3 weeks, LastExecution = Thu, 01  Jan  1970  00:00:00  +0000, NextExecution = "
              "Tue, 14  Nov  2023  04:05:00  +0000\n"
              "  Dev: Mon 02:30, every 1 weeks, LastExecution = Mon, 13  Nov  2023  02:30:00  +0000, NextExecution = "
              "Mon, 20  Nov  2023  02:30:00  +0000\n"
              "\n");
}

TEST_F(OrvCHCaptureTest, tracesMessagesItDoesNotKnow) {
    OrvToThreadMesg toThread(8);
    OrvToMainMesg toMain(11);
    capture();

    capture().handleThreadMesg(&toThread);
    capture().handleMainMesg(&toMain);

    EXPECT_THAT(switch_.takeTraces(),
                ElementsAre("OrvCHCapture handleThreadMesg: Entry\n",
                            "OrvCHCapture handleThreadMesg: Unrecognized message ID [8] sent from main thread\n",
                            "OrvCHCapture handleMainMesg: Entry\n",
                            "OrvCHCapture handleMainMesg: Unrecognized message ID [11] sent to main thread\n"));
}

TEST_F(OrvCHCaptureTest, writesTheEntriesThatItsThreadAsksFor) {
    OrvThreadSwLogApp request(
        {16, 0x8b000001, -1, -1, kOrvOwnEntryFlags, orvApplication(), "Invalid file name 100%, skipping"});

    capture().handleMainMesg(&request);

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 16 8b000001 Invalid file name 100%, skipping"));
}

TEST_F(OrvCHCaptureTest, numbersTheMessagesBetweenTheThreads) {
    const OrvStartedCapture started;
    EXPECT_EQ(OrvCHCaptureExec(started).code(), 7u);
    EXPECT_EQ(OrvCHCaptureFail(started, EIO).code(), 9u);
    EXPECT_EQ(OrvCHCaptureSucceed(started, nullptr).code(), 10u);
}

TEST_F(OrvCHCaptureTest, logsALaunchThatFailsAndMayBeTriedAgain) {
    // More than there is address space left for, and not near enough to its end to wrap.
    ASSERT_EQ(capture().setStackSize(~(std::size_t{1} << 24)), 0);

    EXPECT_EQ(capture().start(), -1);
    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 16 8b000001 orvApp failed to launch capture thread"));

    ASSERT_EQ(capture().setStackSize(std::size_t{1} << 20), 0);
    EXPECT_EQ(capture().start(), 0);
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
}

// Results come in the order of the starts; anything else is our own bug.
TEST_F(OrvCHCaptureTest, stopsOnAResultThatIsNotTheOldestCaptures) {
    const OrvStartedCapture stranger;
    EXPECT_DEATH(
        {
            OrvCHCaptureFail fail(stranger, EIO);
            capture().handleMainMesg(&fail);
        },
        "capture == &\\(\\*ExecutingQueue.begin\\(\\)\\)");
    EXPECT_DEATH(
        {
            schedule({itemOf("Ops")});
            settleBeforeMonday();
            checkAt(kMonday);
            OrvCHCaptureFail fail(stranger, EIO);
            capture().handleMainMesg(&fail);
        },
        "capture == &\\(\\*ExecutingQueue.begin\\(\\)\\)");
}

TEST_F(OrvCHCaptureTest, stopsOnASuccessThatIsNotTheOldestCaptures) {
    const OrvStartedCapture stranger;
    EXPECT_DEATH(
        {
            OrvCHCaptureSucceed succeed(stranger, nullptr);
            capture().handleMainMesg(&succeed);
        },
        "capture == &\\(\\*ExecutingQueue.begin\\(\\)\\)");
    EXPECT_DEATH(
        {
            schedule({itemOf("Ops")});
            settleBeforeMonday();
            checkAt(kMonday);
            OrvCHCaptureSucceed succeed(stranger, nullptr);
            capture().handleMainMesg(&succeed);
        },
        "capture == &\\(\\*ExecutingQueue.begin\\(\\)\\)");
}

}  // namespace
