#include "Hsb_Timer.h"

#include "Dispatcher.h"
#include "platform/posix/Clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

class CountingTimer final : public Hsb_Timer {
public:
    int handle_timeout() override {
        ++calls;
        onTimeout();
        return 0;
    }

    int calls = 0;
    std::function<void()> onTimeout = [] {};
};

class HsbTimerTest : public testing::Test {
protected:
    HsbTimerTest() { useHostClock(&clock_); }
    ~HsbTimerTest() override {
        timer_.reset();
        useHostClock(nullptr);
    }

    void pass(std::uint64_t milliseconds) {
        const Timeval atOnce(0, 0);
        clock_.advance(milliseconds);
        ASSERT_GE(Dispatcher::instance()->handle_events(&atOnce), 0);
    }

    ManualClock clock_{0};
    std::unique_ptr<CountingTimer> timer_ = std::make_unique<CountingTimer>();
};

}  // namespace

TEST_F(HsbTimerTest, cannotStartWithoutInterval) {
    EXPECT_EQ(timer_->start(), -1);
    timer_->set(Timeval(-1, 0), true);
    EXPECT_EQ(timer_->start(), -1);
    timer_->set(Timeval(1, -1), true);
    EXPECT_EQ(timer_->start(), -1);
}

TEST_F(HsbTimerTest, callsOnceWhenItIsNotPeriodic) {
    timer_->set(Timeval(1, 0), false);
    ASSERT_EQ(timer_->start(), 0);

    pass(999);
    EXPECT_EQ(timer_->calls, 0);
    pass(1);
    EXPECT_EQ(timer_->calls, 1);
    pass(5000);
    EXPECT_EQ(timer_->calls, 1);
}

TEST_F(HsbTimerTest, callsEveryPeriodWhenItIsPeriodic) {
    timer_->set(Timeval(1, 0), true);
    ASSERT_EQ(timer_->start(), 0);

    pass(1000);
    pass(1000);
    pass(1000);

    EXPECT_EQ(timer_->calls, 3);
}

TEST_F(HsbTimerTest, doesNothingBeforeItIsStarted) {
    timer_->set(Timeval(1, 0), true);

    pass(1000);

    EXPECT_EQ(timer_->calls, 0);
}

TEST_F(HsbTimerTest, stopsWhenItIsCancelled) {
    timer_->set(Timeval(1, 0), true);
    ASSERT_EQ(timer_->start(), 0);
    pass(1000);

    timer_->cancel();
    timer_->cancel();
    pass(1000);

    EXPECT_EQ(timer_->calls, 1);
}

TEST_F(HsbTimerTest, beginsANewIntervalWhenItIsStartedAgain) {
    timer_->set(Timeval(1, 0), true);
    ASSERT_EQ(timer_->start(), 0);
    pass(600);
    ASSERT_EQ(timer_->start(), 0);

    pass(600);
    EXPECT_EQ(timer_->calls, 0);
    pass(400);
    EXPECT_EQ(timer_->calls, 1);
}

TEST_F(HsbTimerTest, mayCancelItselfWhenItIsCalled) {
    timer_->set(Timeval(1, 0), true);
    timer_->onTimeout = [this] { timer_->cancel(); };
    ASSERT_EQ(timer_->start(), 0);

    pass(1000);
    pass(1000);

    EXPECT_EQ(timer_->calls, 1);
}

TEST_F(HsbTimerTest, mayStartItselfAgainWhenItIsCalled) {
    timer_->set(Timeval(1, 0), false);
    timer_->onTimeout = [this] { ASSERT_EQ(timer_->start(), 0); };
    ASSERT_EQ(timer_->start(), 0);

    pass(1000);
    pass(1000);

    EXPECT_EQ(timer_->calls, 2);
}

TEST_F(HsbTimerTest, mayBeDestroyedWhenItIsCalled) {
    timer_->set(Timeval(1, 0), true);
    bool called = false;
    timer_->onTimeout = [this, &called] {
        called = true;
        timer_.reset();
    };
    ASSERT_EQ(timer_->start(), 0);

    pass(1000);
    pass(1000);

    EXPECT_TRUE(called);
}

TEST_F(HsbTimerTest, stopsWhenItIsDestroyed) {
    timer_->set(Timeval(1, 0), true);
    ASSERT_EQ(timer_->start(), 0);
    int calls = 0;
    timer_->onTimeout = [&calls] { ++calls; };

    timer_.reset();
    pass(1000);

    EXPECT_EQ(calls, 0);
}

TEST_F(HsbTimerTest, keepsRunningAsItWasStartedWhenItIsSetAnew) {
    timer_->set(Timeval(1, 0), true);
    ASSERT_EQ(timer_->start(), 0);
    timer_->set(Timeval(10, 0), false);

    pass(1000);
    pass(1000);
    timer_->cancel();
    pass(1000);

    EXPECT_EQ(timer_->calls, 2);
}
