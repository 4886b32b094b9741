// A loop whose waiting fails: what passes is waited out, what lasts is told.
#include "Dispatcher.h"
#include "platform/posix/Clock.h"
#include "platform/posix/Patience.h"
#include "testing/FailingCalls.h"
#include "testing/platform/TestHandler.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <numeric>
#include <vector>

using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

namespace {

constexpr int TRANSIENT[] = {EINTR, EAGAIN, ENOMEM};

// Waiting fails, so many times; pauses take no time but are written down.
class FailingPoll {
public:
    FailingPoll(int error, int times) : error_(error), times_(times) {}

    int calls() const { return calls_; }
    // In milliseconds, in the order made.
    const std::vector<int>& pauses() const { return pauses_; }

private:
    int resultOf(const CallFaults::Made& made) {
        if (made.call == "nanosleep") {
            const auto& span = *static_cast<const timespec*>(made.argument);
            pauses_.push_back(static_cast<int>(span.tv_sec * 1000 + span.tv_nsec / 1000000));
            return CallFaults::kNoEffect;
        }
        return made.call == "poll" && ++calls_ <= times_ ? error_ : 0;
    }

    const int error_;
    const int times_;
    int calls_ = 0;
    std::vector<int> pauses_;
    const OnCall waits_{"", "", [this](const CallFaults::Made& made) { return resultOf(made); }};
};

class FailingWait : public testing::TestWithParam<int> {
protected:
    Dispatcher dispatcher_;
};

// The turns that a loop makes until waiting fails for good; gives up after a great many.
int turnsUntilTold(Dispatcher& dispatcher) {
    const Timeval second(1, 0);
    int turns = 1;
    while (turns < 100000 && dispatcher.handle_events(&second) >= 0) {
        ++turns;
    }
    return turns;
}

}  // namespace

TEST_P(FailingWait, ofOneTimeDoesNotEndTheLoop) {
    const FailingPoll failing(GetParam(), 1);
    const Timeval second(1, 0);

    EXPECT_EQ(dispatcher_.handle_events(&second), 0);

    EXPECT_EQ(failing.calls(), 1);
}

TEST_P(FailingWait, isFollowedByWhatHasHappenedMeanwhile) {
    std::vector<std::string> calls;
    const SocketPair pair;
    TestHandler handler(pair.end(0), calls);
    ASSERT_EQ(dispatcher_.register_handler(&handler, Event_Handler::READ), 0);
    pair.feed(1);
    const FailingPoll failing(GetParam(), 2);

    EXPECT_EQ(dispatcher_.handle_events(nullptr), 0);
    EXPECT_EQ(dispatcher_.handle_events(nullptr), 0);
    EXPECT_EQ(dispatcher_.handle_events(nullptr), 1);

    EXPECT_THAT(calls, ElementsAre("input"));
}

TEST_P(FailingWait, letsDueTimersRun) {
    ManualClock clock(0);
    useHostClock(&clock);
    int ticks = 0;
    dispatcher_.schedule_timer(Timeval(1, 0), true, [&ticks] { ++ticks; });
    const FailingPoll failing(GetParam(), INT_MAX);

    for (int second = 0; second < 3; ++second) {
        clock.advance(1000);
        EXPECT_EQ(dispatcher_.handle_events(nullptr), 1);
    }

    EXPECT_EQ(ticks, 3);
    useHostClock(nullptr);
}

TEST_P(FailingWait, neitherSpinsNorLastsForEver) {
    FailingPoll failing(GetParam(), INT_MAX);

    EXPECT_LE(turnsUntilTold(dispatcher_), 40);

    const int paused = std::accumulate(failing.pauses().begin(), failing.pauses().end(), 0);
    EXPECT_THAT(failing.pauses(), Each(Ge(1)));
    EXPECT_THAT(failing.pauses(), Each(Le(Patience::LONGEST_MS)));
    EXPECT_GE(paused, Patience::LIMIT_MS);
    EXPECT_LT(paused, Patience::LIMIT_MS + Patience::LONGEST_MS);
}

TEST_P(FailingWait, doesNotOutlastTheLimitOfATurn) {
    const FailingPoll failing(GetParam(), INT_MAX);
    const Timeval short_(0, 3000);

    for (int turn = 0; turn < 10; ++turn) {
        EXPECT_EQ(dispatcher_.handle_events(&short_), 0);
    }

    EXPECT_THAT(failing.pauses(), Each(Le(3)));
}

TEST_P(FailingWait, isForgottenAtTheFirstSuccess) {
    const Timeval atOnce(0, 0);
    {
        const FailingPoll failing(GetParam(), INT_MAX);
        ASSERT_GT(turnsUntilTold(dispatcher_), 1);
    }
    ASSERT_EQ(dispatcher_.handle_events(&atOnce), 0);

    const FailingPoll failing(GetParam(), INT_MAX);
    EXPECT_GT(turnsUntilTold(dispatcher_), 5);
    EXPECT_EQ(failing.pauses().front(), Patience::SHORTEST_MS);
}

INSTANTIATE_TEST_SUITE_P(Transient, FailingWait, testing::ValuesIn(TRANSIENT));

TEST(DispatcherFailing, tellsAtOnceWhatNoWaitingMends) {
    Dispatcher dispatcher;
    const FailingPoll failing(EINVAL, INT_MAX);

    EXPECT_LT(dispatcher.handle_events(nullptr), 0);

    EXPECT_THAT(failing.pauses(), IsEmpty());
}
