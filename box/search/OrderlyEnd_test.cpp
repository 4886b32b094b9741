#include "box/search/OrderlyEnd.h"

#include <gtest/gtest.h>

#include <string>

namespace box {
namespace {

// A message is under way, whose mail has been taken, and the daemon is told to end: a second later it has.
class OrderlyEndTest : public testing::Test {
protected:
    OrderlyEndTest() {
        trace("peekOpen: entry (0) opened in the send queue");
        hear("354 go on");
        end_.mailed();
        end_.mailedTo(7);
        end_.told(kTold);
    }
    void trace(const std::string& text) {
        end_.traced("11/14/2023 UTC 22:28:08.169  1001 OrvCHMesgQ " + text + "\n", troubles_);
    }
    void hear(const std::string& reply) { end_.clientSteps(ClientStep::kHears, reply + "\r\n"); }
    bool leavesNothing(Time after = kSecond) const { return end_.leavesNothing(kTold + after, troubles_); }

    static constexpr Time kTold = 100 * kSecond;
    std::uint32_t troubles_ = 3;
    OrderlyEnd end_;
};

}  // namespace

TEST_F(OrderlyEndTest, leavesNothingOfAMessageWhoseDialoguesEndWell) {
    hear("250 taken");
    trace("peekDelete: entry (0) has completed processing, remove it from the send queue and delete");

    EXPECT_TRUE(leavesNothing());
    EXPECT_EQ(end_.event(), 7u);
}

TEST_F(OrderlyEndTest, waitsFiveSecondsForIt) {
    EXPECT_TRUE(leavesNothing(5 * kSecond - 1));
    EXPECT_FALSE(leavesNothing(5 * kSecond));

    end_.told(kTold + 2 * kSecond);

    EXPECT_FALSE(leavesNothing(5 * kSecond)) << "told twice";
}

TEST_F(OrderlyEndTest, isNoneOfALifeThatWasNotToldTo) {
    EXPECT_FALSE(OrderlyEnd().leavesNothing(kTold, 0));
}

TEST_F(OrderlyEndTest, mayLeaveWhatAServerPutsOffOrRefuses) {
    hear("451 later");

    EXPECT_FALSE(leavesNothing());
}

TEST_F(OrderlyEndTest, mayLeaveWhatLosesItsConnection) {
    end_.clientSteps(ClientStep::kLoses, "Connection refused");

    EXPECT_FALSE(leavesNothing());
}

TEST_F(OrderlyEndTest, mayLeaveWhatIsNotAnswered) {
    ++troubles_;

    EXPECT_FALSE(leavesNothing());
}

TEST_F(OrderlyEndTest, mayLeaveWhatSomeHaveAndOthersWaitFor) {
    trace("peekClose: entry (0) has not completed processing, leave it on the send queue");
    trace("peekOpen: entry (1) opened in the send queue");

    EXPECT_FALSE(leavesNothing());
}

TEST_F(OrderlyEndTest, forgetsTroublesOfMessagesThatWereDone) {
    ++troubles_;
    hear("550 never");
    trace("peekDelete: entry (0) has completed processing, remove it from the send queue and delete");
    trace("peekOpen: entry (1) opened in the send queue");

    EXPECT_TRUE(leavesNothing());
    EXPECT_FALSE(end_.event());
}

}  // namespace box
