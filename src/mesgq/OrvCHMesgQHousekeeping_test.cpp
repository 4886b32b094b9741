// What becomes of entries as time passes and quotas change.
#include "testing/mesgq/MesgQHousekeepingTest.h"

namespace {

using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class OrvCHMesgQChoresTest : public MesgQHousekeepingTest {
protected:
    Texts choresTrace(std::uint32_t count = 1) {
        takeTrace();
        chores(count);
        Texts found;
        for (const std::string& line : takeTrace()) {
            if (line.starts_with("oneSecondChores: ")) {
                found.push_back(line.substr(17));
            }
        }
        return found;
    }
    std::string sendFile(const std::string& name) { return switch_.root().read(std::string(kSendDir) + "/" + name); }
    void openAll() {
        while (sending_.peekOpen() != nullptr) {
        }
    }
};

TEST_F(OrvCHMesgQChoresTest, doNothingOnEmptyQueues) {
    EXPECT_THAT(choresTrace(3), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, discardWhatIsOlderThanTheDiscardPeriod) {
    add("one");
    const std::uint32_t received = uptime();
    seconds(1);
    add("two");
    seconds(86398);
    EXPECT_THAT(choresTrace(), IsEmpty()) << "exactly as old as the period";
    const std::uint32_t now = uptime() + 1;
    EXPECT_EQ(choresTrace(), Texts{"discarded old msg from send queue, now = " + std::to_string(now) +
                                   ", received = " + std::to_string(received) + ", discardPeriod = 86400\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"two"});
    EXPECT_EQ(statistics().deletedForTime, 1u);
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, keepOldPersistentMessagesAndLookOn) {
    addPersistent("lasting", 60, -1);
    addTest("test", "Profile");
    seconds(86400);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 1}}));
}

TEST_F(OrvCHMesgQChoresTest, markOldOpenMessagesOnceAndDiscardThemWhenTheyAreClosed) {
    add("one");
    OrvCHMesg* const next = sending_.peekOpen();
    seconds(86400);
    EXPECT_THAT(choresTrace(), IsEmpty()) << "marking for time is not traced";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 4u);
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 4));
    takeTrace();
    chores();
    EXPECT_THAT(takeTrace(), IsEmpty()) << "the file is not rewritten again";

    EXPECT_EQ(sending_.peekClose(next), 0);
    EXPECT_EQ(statistics().deletedForTime, 1u);
    EXPECT_EQ(sending_.sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, doNotOverwriteAMark) {
    add("one");
    sending_.peekOpen();
    housekeeping_.clearQueue();
    quotas_.discardPeriod = 0;
    quotas_.filesAllowed = 0;
    chores(2);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 1u);
}

TEST_F(OrvCHMesgQChoresTest, aDiscardPeriodOfZeroDropsEverythingOlderThanZeroSeconds) {
    quotas_.discardPeriod = 0;
    add("one");
    housekeeping_.oneSecondChores();
    EXPECT_EQ(sending_.sendCount(), 1u);
    chores();
    EXPECT_EQ(sending_.sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, discardClosedMarkedMessagesByTheirReason) {
    for (const Deletion& row : kDeletions) {
        addTest("test", "Profile");
        entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = row.reason;
        EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
        EXPECT_EQ(statistics().*row.counter, 1u);
        EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", row.result}}));
    }
    addPersistent("lasting", 60, -1);
    entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = kOrvMarkedForTime;
    chores();
    EXPECT_EQ(statistics().persistentDeleted, 1u);
    EXPECT_EQ(statistics().deletedForTime, 2u);
    EXPECT_EQ(sending_.sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, stopAtTheFirstMessageThatNeedsNothing) {
    add("fine");
    add("marked");
    entry(ORV_CH_MESG_Q_SEND, 1).markedForDeletion = kOrvMarkedByClear;
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"fine", "marked"}));
    lists_.discard(entry(ORV_CH_MESG_Q_SEND, 0), kOrvMarkedByClear);
    chores();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, discardForSpaceUntilTheQuotaHolds) {
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    quotas_.spaceAllowed = charge("six");
    EXPECT_EQ(choresTrace(), (Texts{"discarded msg from send queue to reduce file system usage\n",
                                    "discarded msg from send queue to reduce file system usage\n"}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"six"});
    EXPECT_EQ(statistics().deletedForSpace, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, discardPersistentMessagesForSpaceToo) {
    addPersistent("lasting", 60, -1);
    quotas_.spaceAllowed = 1;
    chores();
    EXPECT_EQ(sending_.sendCount(), 0u);
    EXPECT_EQ(statistics().deletedForSpace, 1u);
    EXPECT_EQ(statistics().persistentDeleted, 0u);
}

TEST_F(OrvCHMesgQChoresTest, markOpenMessagesForSpaceOnce) {
    add("one");
    addPersistent("two", 60, -1);
    openAll();
    quotas_.spaceAllowed = 1;
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file system usage\n",
                                    "mark (open) msg in send queue for deletion to reduce file system usage\n"}));
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 2));
    EXPECT_EQ(sendFile("m1"), messageFile("two") + stateBlock(0, 2, "true", 60));
    EXPECT_THAT(choresTrace(), IsEmpty());
    EXPECT_EQ(sending_.sendCount(), 2u);
}

TEST_F(OrvCHMesgQChoresTest, discardTheOldestClosedMessagesAboveTheFileQuotaWithinOneTick) {
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    quotas_.filesAllowed = 1;
    EXPECT_EQ(choresTrace(), Texts(3, "discarded msg from send queue to reduce file count\n"));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"four"});
    EXPECT_EQ(statistics().deletedForFileLimit, 3u);
}

TEST_F(OrvCHMesgQChoresTest, markOpenMessagesOnTheWayToTheFileQuota) {
    add("one");
    sending_.peekOpen();
    add("two");
    addPersistent("three", 60, -1);
    quotas_.filesAllowed = 1;
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file count\n",
                                    "discarded msg from send queue to reduce file count\n"}));
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 3));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "three"}));
}

TEST_F(OrvCHMesgQChoresTest, tellTestProfilesThatTheirMessagesFailedForAQuota) {
    for (const OrvCHQuotas& tight : {OrvCHQuotas{.spaceAllowed = 1}, OrvCHQuotas{.filesAllowed = 0}}) {
        addTest("test", "Profile");
        quotas_ = tight;
        chores();
        EXPECT_EQ(sending_.sendCount(), 0u);
        EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 1}}));
    }
}

TEST_F(OrvCHMesgQChoresTest, discardPersistentMessagesAboveTheFileQuotaToo) {
    addPersistent("lasting", 60, -1);
    add("one");
    quotas_.filesAllowed = 1;
    EXPECT_EQ(choresTrace(), Texts{"discarded msg from send queue to reduce file count\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_EQ(statistics().deletedForFileLimit, 1u);
    EXPECT_EQ(statistics().persistentDeleted, 0u) << "only marked ones are counted there";
}

TEST_F(OrvCHMesgQChoresTest, openMessagesAreNoFilesForTheQuota) {
    add("one");
    add("two");
    openAll();
    quotas_.filesAllowed = 0;
    EXPECT_THAT(choresTrace(), IsEmpty());
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 0u);
}

TEST_F(OrvCHMesgQChoresTest, forgetAParkedMessageWithoutRepeatsAfterThePeriod) {
    park("one");
    EXPECT_THAT(choresTrace(15), IsEmpty()) << "exactly the period";
    EXPECT_EQ(choresTrace(),
              Texts{"throttleDuplicatesPeriod expired, no duplicates detected, remove msg from duplicate queue\n"});
    EXPECT_EQ(spaceInUse(), 0u);
    EXPECT_EQ(statistics().deletedForTime, 0u);
}

TEST_F(OrvCHMesgQChoresTest, returnAParkedMessageWithRepeatsAfterThePeriod) {
    seconds(100);
    park("one");
    const std::uint32_t received = entry(ORV_CH_MESG_Q_DUPLICATE, 0).received;
    repeatParked(0, 1);
    EXPECT_EQ(choresTrace(16),
              Texts{"throttleDuplicatesPeriod expired, duplicate(s) detected, move msg from duplicate to send queue "
                    "(DuplicateCount = 1, DuplicateTime = Tue Nov 14 22:15:00 UTC 2023)\n"});
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 0).dupEligible);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).received, received) << "its age goes on";
    checkConsistency();
    EXPECT_EQ(lists_.send().findDuplicate(message("one")->duplicateKey()), nullptr) << "and it counts no more repeats";
}

TEST_F(OrvCHMesgQChoresTest, stopAtTheFirstParkedMessageWhoseTimeHasNotCome) {
    ASSERT_TRUE(list(ORV_CH_MESG_Q_DUPLICATE).ordered());
    park("one");
    seconds(5);
    park("two");
    entry(ORV_CH_MESG_Q_DUPLICATE, 1).received -= 100;
    chores(9);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), (Texts{"one", "two"}));
    lists_.duplicate().setUnordered();
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"}) << "an unordered queue is looked through";
}

TEST_F(OrvCHMesgQChoresTest, aParkedMessageMarkedDuringASyncIsDeletedAfterThePeriod) {
    park("one");
    repeatParked(0, 1);
    sending_.setSyncInProgress(true);
    housekeeping_.clearQueue();
    sending_.setSyncInProgress(false);
    EXPECT_THAT(choresTrace(16), IsEmpty());
    EXPECT_EQ(spaceInUse(), 0u);
    EXPECT_EQ(statistics().deletedForClearReq, 1u);
    EXPECT_EQ(sending_.sendCount(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, postAPersistentMessageAgainAfterItsOwnPeriod) {
    rest("slow", 20, -1);
    rest("fast", 10, -1);
    EXPECT_THAT(choresTrace(10), IsEmpty());
    EXPECT_EQ(choresTrace(), Texts{"moved msg from persist to send queue for re-posting\n"});
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"fast"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).received, uptime() - 11);
    EXPECT_EQ(choresTrace(10), Texts{"moved msg from persist to send queue for re-posting\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"fast", "slow"}));
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, anEntryReceivedAfterNowIsNotOld) {
    park("one");
    entry(ORV_CH_MESG_Q_DUPLICATE, 0).received = uptime() + 100;
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQChoresTest, aReplayedDeletionDoesNotEndThrottlingInTheSameTick) {
    add("one");
    OrvCHMesg* const next = sending_.peekOpen();
    sending_.setSyncInProgress(true);
    sending_.peekDelete(next, 0);
    sending_.setSyncInProgress(false);
    chores(1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQChoresTest, flushAfterASyncDuringWhichAFlushWasAsked) {
    park("one");
    sending_.setSyncInProgress(true);
    housekeeping_.flushDuplicateQueue();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    sending_.setSyncInProgress(false);
    takeTrace();
    chores();
    const Texts traced = takeTrace();
    EXPECT_EQ(traced.front(), "flushDuplicateQueue: Entry\n");
    EXPECT_THAT(traced, Each(Not(StartsWith("oneSecondChores: Unhandled"))));
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, aFlushThatMeetsTheSyncAgainIsForgotten) {
    park("one");
    sending_.setSyncInProgress(true);
    housekeeping_.flushDuplicateQueue();
    chores();
    sending_.setSyncInProgress(false);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQChoresTest, aPostponedDeletionComesBeforeTheDiscardPeriod) {
    add("one");
    OrvCHMesg* const next = sending_.peekOpen();
    sending_.setSyncInProgress(true);
    sending_.peekDelete(next, 0);
    sending_.setSyncInProgress(false);
    seconds(100000);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).markedForDeletion, 0u);
    EXPECT_EQ(statistics().sendOk, 1u);
    EXPECT_EQ(statistics().deletedForTime, 0u);
}

TEST_F(OrvCHMesgQChoresTest, anOldMarkedMessageGoesByItsMarkNotByItsAge) {
    addTest("test", "Profile");
    entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = kOrvMarkedByClear;
    seconds(100000);
    EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
    EXPECT_EQ(statistics().deletedForClearReq, 1u);
    EXPECT_EQ(statistics().deletedForTime, 0u);
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 2}}));
}

TEST_F(OrvCHMesgQChoresTest, anOldMessageIsDiscardedForTimeThoughSpaceIsShortToo) {
    add("open");
    sending_.peekOpen();
    add("closed");
    quotas_.spaceAllowed = 1;
    seconds(100000);
    const std::uint32_t received = entry(ORV_CH_MESG_Q_SEND, 1).received;
    const std::uint32_t now = uptime() + 1;
    EXPECT_EQ(choresTrace(), Texts{"discarded old msg from send queue, now = " + std::to_string(now) +
                                   ", received = " + std::to_string(received) + ", discardPeriod = 86400\n"});
    EXPECT_EQ(statistics().deletedForTime, 1u);
    EXPECT_EQ(statistics().deletedForSpace, 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, kOrvMarkedForTime);
}

TEST_F(OrvCHMesgQChoresTest, spaceComesBeforeTheFileCount) {
    add("open");
    add("closed");
    sending_.peekOpen();
    quotas_.spaceAllowed = charge("open");
    quotas_.filesAllowed = 0;
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file system usage\n",
                                    "discarded msg from send queue to reduce file system usage\n"}));
    EXPECT_EQ(statistics().deletedForSpace, 1u);
    EXPECT_EQ(statistics().deletedForFileLimit, 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, kOrvMarkedForSpace);
}

TEST_F(OrvCHMesgQChoresTest, aReturnedMessageIsNotLookedAtInTheSameTick) {
    quotas_.discardPeriod = 5;
    park("one");
    repeatParked(0, 1);
    rest("lasting", 10, -1);
    seconds(15);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "lasting"})) << "older than the discard period, but back";
    EXPECT_EQ(statistics().deletedForTime, 0u);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(statistics().deletedForTime, 1u);
}

TEST_F(OrvCHMesgQChoresTest, closedMarkedMessagesGoDuringASyncToo) {
    add("one");
    sending_.setSyncInProgress(true);
    housekeeping_.clearQueue();
    EXPECT_EQ(sending_.sendCount(), 1u);
    EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
    EXPECT_EQ(sending_.sendCount(), 0u);
    EXPECT_EQ(statistics().deletedForClearReq, 1u);
    checkConsistency();
}

}  // namespace
