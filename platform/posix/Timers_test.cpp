#include "platform/posix/Timers.h"

#include "Dispatcher.h"
#include "platform/posix/Clock.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class TimersTest : public testing::Test {
protected:
    TimersTest() { useHostClock(&clock_); }
    ~TimersTest() override { useHostClock(nullptr); }

    // A timer that writes down its name.
    std::uint64_t start(const std::string& name, std::int64_t seconds, bool periodic = false) {
        return timers_.schedule(Timeval(seconds, 0), periodic, [this, name] { fired_.push_back(name); });
    }
    int runAfter(std::uint64_t milliseconds) {
        clock_.advance(milliseconds);
        return timers_.runDue();
    }

    ManualClock clock_{0};
    Timers timers_;
    std::vector<std::string> fired_;
};

}  // namespace

TEST_F(TimersTest, runOnceWhenTheirTimeHasCome) {
    start("once", 2);

    EXPECT_EQ(runAfter(1999), 0);
    EXPECT_EQ(runAfter(1), 1);
    EXPECT_EQ(runAfter(100000), 0);

    EXPECT_THAT(fired_, ElementsAre("once"));
}

TEST_F(TimersTest, runOncePerPeriodWhenPeriodic) {
    start("tick", 1, true);

    for (int second = 0; second < 3; ++second) {
        EXPECT_EQ(runAfter(999), 0);
        EXPECT_EQ(runAfter(1), 1);
    }

    EXPECT_THAT(fired_, ElementsAre("tick", "tick", "tick"));
}

TEST_F(TimersTest, skipThePeriodsThatTheyHaveMissed) {
    start("tick", 1, true);

    EXPECT_EQ(runAfter(5400), 1);
    EXPECT_EQ(runAfter(0), 0);

    EXPECT_THAT(fired_, ElementsAre("tick"));
}

TEST_F(TimersTest, keepTheirPhaseWhenTheyRunLate) {
    start("tick", 1, true);
    ASSERT_EQ(runAfter(1400), 1);

    EXPECT_EQ(runAfter(599), 0);
    EXPECT_EQ(runAfter(1), 1);
}

TEST_F(TimersTest, runInTheOrderOfTheirDeadlinesThenOfTheirStart) {
    start("late", 3);
    start("early", 1);
    start("early too", 1);

    EXPECT_EQ(runAfter(3000), 3);

    EXPECT_THAT(fired_, ElementsAre("early", "early too", "late"));
}

TEST_F(TimersTest, roundTheirIntervalUpToMilliseconds) {
    timers_.schedule(Timeval(0, 1), false, [this] { fired_.push_back("microsecond"); });

    EXPECT_EQ(runAfter(0), 0);
    EXPECT_EQ(runAfter(1), 1);
}

TEST_F(TimersTest, haveNumbersThatAreNeverZeroAndNeverTheSame) {
    const std::uint64_t first = start("first", 1);
    const std::uint64_t second = start("second", 0);

    EXPECT_NE(first, 0u);
    EXPECT_NE(second, 0u);
    EXPECT_NE(first, second);
}

TEST_F(TimersTest, doNotRunOnceCancelled) {
    timers_.cancel(start("once", 1));
    timers_.cancel(start("tick", 1, true));
    timers_.cancel(start("undelayed", 0));
    timers_.cancel(12345);

    EXPECT_EQ(runAfter(1000), 0);

    EXPECT_THAT(fired_, IsEmpty());
}

TEST_F(TimersTest, mayCancelOneThatIsDueToo) {
    std::uint64_t victim = 0;
    timers_.schedule(Timeval(1, 0), false, [&] { timers_.cancel(victim); });
    victim = start("victim", 1);

    EXPECT_EQ(runAfter(1000), 1);
    EXPECT_EQ(runAfter(1000), 0);

    EXPECT_THAT(fired_, IsEmpty());
}

TEST_F(TimersTest, mayCancelThemselves) {
    std::uint64_t self = 0;
    const std::string text(100, 't');
    self = timers_.schedule(Timeval(1, 0), true, [&, text] {
        timers_.cancel(self);
        fired_.push_back(text);  // what the action holds must still be there
    });

    EXPECT_EQ(runAfter(1000), 1);
    EXPECT_EQ(runAfter(1000), 0);

    EXPECT_THAT(fired_, ElementsAre(text));
}

TEST_F(TimersTest, leaveWhatTheyStartToTheNextTurn) {
    timers_.schedule(Timeval(0, 0), false, [this] { start("next", 0); });

    EXPECT_EQ(runAfter(0), 1);
    EXPECT_THAT(fired_, IsEmpty());
    EXPECT_EQ(runAfter(0), 1);
    EXPECT_THAT(fired_, ElementsAre("next"));
}

TEST_F(TimersTest, leaveWhatTheyStartToTheNextTurnEvenIfTheClockMovesMeanwhile) {
    timers_.schedule(Timeval(1, 0), false, [this] {
        start("next", 1);
        clock_.advance(5000);
    });

    EXPECT_EQ(runAfter(1000), 1);
    EXPECT_EQ(runAfter(0), 1);

    EXPECT_THAT(fired_, ElementsAre("next"));
}

TEST_F(TimersTest, runWithoutDelayWhileTheClockStandsStill) {
    start("first", 0);
    start("second", 0);

    EXPECT_EQ(runAfter(0), 2);

    EXPECT_THAT(fired_, ElementsAre("first", "second"));
}

TEST_F(TimersTest, runWithoutDelayAlsoAfterTheClockWasReplaced) {
    start("undelayed", 0);
    ManualClock behind(0);
    useHostClock(&behind);

    EXPECT_EQ(timers_.runDue(), 1);

    EXPECT_THAT(fired_, ElementsAre("undelayed"));
}

TEST_F(TimersTest, doNotWakeAnybodyWhenThereAreNone) {
    EXPECT_EQ(timers_.realMillisecondsToNext(), -1);
}

TEST_F(TimersTest, doNotWakeAnybodyWhileAManualClockStandsStill) {
    start("once", 1);

    EXPECT_EQ(timers_.realMillisecondsToNext(), -1);
    clock_.advance(1000);
    EXPECT_EQ(timers_.realMillisecondsToNext(), 0);
}

TEST_F(TimersTest, letTheLoopSleepUntilTheNextIsDue) {
    SystemClock system(1);
    useHostClock(&system);
    start("hour", 3600);
    start("minute", 60);

    EXPECT_GT(timers_.realMillisecondsToNext(), 30000);
    EXPECT_LE(timers_.realMillisecondsToNext(), 60000);
}

TEST_F(TimersTest, surviveAnActionThatThrows) {
    timers_.schedule(Timeval(1, 0), true, [] { throw std::runtime_error("tick"); });
    start("other", 1);

    EXPECT_THROW(runAfter(1000), std::runtime_error);
    EXPECT_EQ(timers_.runDue(), 1);
    EXPECT_THROW(runAfter(1000), std::runtime_error);

    EXPECT_THAT(fired_, ElementsAre("other"));
}

TEST(DispatcherTimer, endsTheWaitOfATurn) {
    SystemClock fast(1000);
    useHostClock(&fast);
    Dispatcher dispatcher;
    int calls = 0;
    dispatcher.schedule_timer(Timeval(20, 0), false, [&calls] { ++calls; });

    EXPECT_EQ(dispatcher.handle_events(nullptr), 1);

    EXPECT_EQ(calls, 1);
    useHostClock(nullptr);
}

TEST(DispatcherTimer, canBeCancelled) {
    ManualClock clock(0);
    useHostClock(&clock);
    Dispatcher dispatcher;
    int calls = 0;
    dispatcher.cancel_timer(dispatcher.schedule_timer(Timeval(1, 0), true, [&calls] { ++calls; }));
    clock.advance(1000);
    const Timeval atOnce(0, 0);

    EXPECT_EQ(dispatcher.handle_events(&atOnce), 0);

    EXPECT_EQ(calls, 0);
    useHostClock(nullptr);
}
