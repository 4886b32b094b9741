// Flushing the duplicate queue and the operator's clear command.
#include "testing/mesgq/MesgQHousekeepingTest.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class OrvCHMesgQFlushTest : public MesgQHousekeepingTest {
protected:
};

TEST_F(OrvCHMesgQFlushTest, postsWhatWasCountedAndForgetsTheRest) {
    park("counted");
    repeatParked(0, 1);
    park("silent");
    add("waiting");
    takeTrace();
    EXPECT_EQ(housekeeping_.flushDuplicateQueue(), 0);
    EXPECT_EQ(takeTrace().front(), "flushDuplicateQueue: Entry\n");
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"waiting", "counted"}));
    EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 0).dupEligible);
    EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 1).dupEligible);
    EXPECT_EQ(statistics().deletedForClearReq, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQFlushTest, whatIsPostedKeepsItsAge) {
    seconds(100);
    park("counted");
    repeatParked(0, 1);
    const std::uint32_t received = entry(ORV_CH_MESG_Q_DUPLICATE, 0).received;
    seconds(7);
    EXPECT_EQ(housekeeping_.flushDuplicateQueue(), 0);
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"counted"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).received, received);
}

TEST_F(OrvCHMesgQFlushTest, waitsForTheEndOfASync) {
    park("one");
    sending_.setSyncInProgress(true);
    takeTrace();
    EXPECT_EQ(housekeeping_.flushDuplicateQueue(), 0);
    EXPECT_EQ(takeTrace(), Texts{"flushDuplicateQueue: Entry\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQFlushTest, clearsDuplicateAndSendQueue) {
    park("parked");
    repeatParked(0, 1);
    park("silent");
    add("waiting");
    addTest("test", "Profile");
    takeTrace();
    EXPECT_EQ(housekeeping_.clearQueue(), 0);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced.front(), "clearQueue: Entry\n");
    EXPECT_THAT(traced, Contains("removeInternal: Test Results (Cleared) sent for Profile Profile\n"));
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 2}}));
    EXPECT_EQ(spaceInUse(), 0u);
    EXPECT_EQ(statistics().deletedForClearReq, 4u);
    checkConsistency();
}

TEST_F(OrvCHMesgQFlushTest, clearingMarksWhatIsOpen) {
    add("one");
    addPersistent("two", 60, -1);
    sending_.peekOpen();
    sending_.peekOpen();
    EXPECT_EQ(housekeeping_.clearQueue(), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one") + stateBlock(0, 1));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m1"), messageFile("two") + stateBlock(0, 1, "true", 60));
    EXPECT_EQ(statistics().deletedForClearReq, 0u);
}

TEST_F(OrvCHMesgQFlushTest, clearingSendsPersistentMessagesToRest) {
    addPersistent("lasting", 60, 7);
    const std::uint32_t received = entry(ORV_CH_MESG_Q_SEND, 0).received;
    seconds(5);
    EXPECT_EQ(housekeeping_.clearQueue(), 0);
    ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).received, received);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).posting.expire, 7);
    EXPECT_EQ(housekeeping_.clearQueue(), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"}) << "the persist queue is not touched";
    EXPECT_EQ(statistics().deletedForClearReq, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQFlushTest, clearingDuringASyncOnlyMarks) {
    park("parked");
    add("waiting");
    addPersistent("lasting", 60, -1);
    add("open");
    sending_.peekOpen();
    sending_.setSyncInProgress(true);
    takeTrace();
    EXPECT_EQ(housekeeping_.clearQueue(), 0);
    EXPECT_EQ(takeTrace(), Texts{"clearQueue: Entry\n"}) << "no file is rewritten";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).markedForDeletion, 1u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 1u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).markedForDeletion, 0u) << "persistent";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 2).markedForDeletion, 1u);
    EXPECT_EQ(statistics().deletedForClearReq, 0u);
}

TEST_F(OrvCHMesgQFlushTest, anOpenTestMessageReportsClearedWhenItIsGivenBack) {
    addTest("test", "Profile");
    OrvCHMesg* const next = sending_.peekOpen();
    housekeeping_.clearQueue();
    EXPECT_THAT(takeTestResults(), IsEmpty());
    EXPECT_EQ(sending_.peekClose(next), 0);
    EXPECT_THAT(takeTestResults(), ElementsAre(std::pair<std::string, std::uint32_t>("Profile", 2)));
}

}  // namespace
