#include "testing/mesgq/MesgQTest.h"
#include "uptime.h"

namespace {

using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class OrvCHMesgQChoresTest : public MesgQTest {
protected:
    OrvCHMesgQChoresTest() { open(); }

    // Quotas change without the flush that comes with a request.
    void quota(const std::string& name, const std::string& value) {
        const std::vector<DsEntry> entries = {{name, 1, value}};
        const std::vector<std::int32_t> statuses = {0};
        queue_->processConfigBulk(entries, statuses);
        takeTrace();
    }
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
        while (queue_->peekOpen() != nullptr) {
        }
    }
};

TEST_F(OrvCHMesgQChoresTest, doNothingOnEmptyQueues) {
    EXPECT_THAT(choresTrace(3), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, startOnlyOnce) {
    queue_->setMonitorReady();
    takeTrace();
    chores(3);
    EXPECT_THAT(takeTrace(), Not(Contains("init: Entry\n")));
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
    EXPECT_EQ(queue_->statistics().deletedForTime, 1u);
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
    OrvCHMesg* const next = queue_->peekOpen();
    seconds(86400);
    EXPECT_THAT(choresTrace(), IsEmpty()) << "marking for time is not traced";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 4u);
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 4));
    takeTrace();
    chores();
    EXPECT_THAT(takeTrace(), IsEmpty()) << "the file is not rewritten again";

    EXPECT_EQ(queue_->peekClose(next), 0);
    EXPECT_EQ(queue_->statistics().deletedForTime, 1u);
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, doNotOverwriteAMark) {
    add("one");
    queue_->peekOpen();
    queue_->clearQueue();
    quota("DiscardPeriod", "0");
    quota("FilesAllowed", "0");
    chores(2);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 1u);
}

TEST_F(OrvCHMesgQChoresTest, aDiscardPeriodOfZeroDropsEverythingOlderThanZeroSeconds) {
    quota("DiscardPeriod", "0");
    add("one");
    queue_->oneSecondChores();
    EXPECT_EQ(queue_->sendCount(), 1u);
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, discardClosedMarkedMessagesByTheirReason) {
    for (const Deletion& row : kDeletions) {
        addTest("test", "Profile");
        entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = row.reason;
        EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
        EXPECT_EQ(queue_->statistics().*row.counter, 1u);
        EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", row.result}}));
    }
    addPersistent("lasting", 60, -1);
    entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = kOrvMarkedForTime;
    chores();
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
    EXPECT_EQ(queue_->statistics().deletedForTime, 2u);
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQChoresTest, stopAtTheFirstMessageThatNeedsNothing) {
    add("fine");
    add("marked");
    entry(ORV_CH_MESG_Q_SEND, 1).markedForDeletion = kOrvMarkedByClear;
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"fine", "marked"}));
    mailNext();
    chores();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, discardForSpaceUntilTheQuotaHolds) {
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    quota("FileSystemSpaceAllowed", std::to_string(charge("six")));
    EXPECT_EQ(choresTrace(), (Texts{"discarded msg from send queue to reduce file system usage\n",
                                    "discarded msg from send queue to reduce file system usage\n"}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"six"});
    EXPECT_EQ(queue_->statistics().deletedForSpace, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, discardPersistentMessagesForSpaceToo) {
    addPersistent("lasting", 60, -1);
    quota("FileSystemSpaceAllowed", "1");
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 1u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 0u);
}

TEST_F(OrvCHMesgQChoresTest, markOpenMessagesForSpaceOnce) {
    add("one");
    addPersistent("two", 60, -1);
    openAll();
    quota("FileSystemSpaceAllowed", "1");
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file system usage\n",
                                    "mark (open) msg in send queue for deletion to reduce file system usage\n"}));
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 2));
    EXPECT_EQ(sendFile("m1"), messageFile("two") + stateBlock(0, 2, "true", 60));
    EXPECT_THAT(choresTrace(), IsEmpty());
    EXPECT_EQ(queue_->sendCount(), 2u);
}

TEST_F(OrvCHMesgQChoresTest, discardTheOldestClosedMessagesAboveTheFileQuotaWithinOneTick) {
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    quota("FilesAllowed", "1");
    EXPECT_EQ(choresTrace(), Texts(3, "discarded msg from send queue to reduce file count\n"));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"four"});
    EXPECT_EQ(queue_->statistics().deletedForFileLimit, 3u);
}

TEST_F(OrvCHMesgQChoresTest, markOpenMessagesOnTheWayToTheFileQuota) {
    add("one");
    queue_->peekOpen();
    add("two");
    addPersistent("three", 60, -1);
    quota("FilesAllowed", "1");
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file count\n",
                                    "discarded msg from send queue to reduce file count\n"}));
    EXPECT_EQ(sendFile("m0"), messageFile("one") + stateBlock(0, 3));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "three"}));
}

TEST_F(OrvCHMesgQChoresTest, tellTestProfilesThatTheirMessagesFailedForAQuota) {
    const std::pair<const char*, const char*> kQuotas[] = {{"FileSystemSpaceAllowed", "1"}, {"FilesAllowed", "0"}};
    for (const auto& [name, value] : kQuotas) {
        quota("FilesAllowed", "100");
        addTest("test", "Profile");
        quota(name, value);
        chores();
        EXPECT_EQ(queue_->sendCount(), 0u) << name;
        EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 1}})) << name;
    }
}

TEST_F(OrvCHMesgQChoresTest, discardPersistentMessagesAboveTheFileQuotaToo) {
    addPersistent("lasting", 60, -1);
    add("one");
    quota("FilesAllowed", "1");
    EXPECT_EQ(choresTrace(), Texts{"discarded msg from send queue to reduce file count\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_EQ(queue_->statistics().deletedForFileLimit, 1u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 0u) << "only marked ones are counted there";
}

TEST_F(OrvCHMesgQChoresTest, openMessagesAreNoFilesForTheQuota) {
    add("one");
    add("two");
    openAll();
    quota("FilesAllowed", "0");
    EXPECT_THAT(choresTrace(), IsEmpty());
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 0u);
}

TEST_F(OrvCHMesgQChoresTest, forgetAParkedMessageWithoutRepeatsAfterThePeriod) {
    park("one");
    EXPECT_THAT(choresTrace(15), IsEmpty()) << "exactly the period";
    EXPECT_EQ(choresTrace(),
              Texts{"throttleDuplicatesPeriod expired, no duplicates detected, remove msg from duplicate queue\n"});
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForTime, 0u);
}

TEST_F(OrvCHMesgQChoresTest, returnAParkedMessageWithRepeatsAfterThePeriod) {
    seconds(100);
    park("one");
    const std::uint32_t received = entry(ORV_CH_MESG_Q_DUPLICATE, 0).received;
    add("one");
    EXPECT_EQ(choresTrace(16),
              Texts{"throttleDuplicatesPeriod expired, duplicate(s) detected, move msg from duplicate to send queue "
                    "(DuplicateCount = 1, DuplicateTime = Tue Nov 14 22:15:00 UTC 2023)\n"});
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 0).dupEligible);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).received, received) << "its age goes on";
    checkConsistency();
    add("one");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "one"})) << "and it counts no more repeats";
}

TEST_F(OrvCHMesgQChoresTest, stopAtTheFirstParkedMessageWhoseTimeHasNotCome) {
    ASSERT_TRUE(queue_->queue(ORV_CH_MESG_Q_DUPLICATE).ordered());
    park("one");
    seconds(5);
    park("two");
    entry(ORV_CH_MESG_Q_DUPLICATE, 1).received -= 100;
    chores(9);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), (Texts{"one", "two"}));
    queue_->ToQueuePtr(ORV_CH_MESG_Q_DUPLICATE)->setUnordered();
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"}) << "an unordered queue is looked through";
}

TEST_F(OrvCHMesgQChoresTest, aParkedMessageMarkedDuringASyncIsDeletedAfterThePeriod) {
    park("one");
    add("one");
    queue_->setSyncInProgress(true);
    queue_->clearQueue();
    queue_->setSyncInProgress(false);
    EXPECT_THAT(choresTrace(16), IsEmpty());
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u);
    EXPECT_EQ(queue_->sendCount(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQChoresTest, postAPersistentMessageAgainAfterItsOwnPeriod) {
    addPersistent("slow", 20, -1);
    mailNext();
    addPersistent("fast", 10, -1);
    mailNext();
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
    OrvCHMesg* const next = queue_->peekOpen();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 0);
    queue_->setSyncInProgress(false);
    chores(1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQChoresTest, flushAfterASyncDuringWhichAFlushWasAsked) {
    park("one");
    queue_->setSyncInProgress(true);
    queue_->flushDuplicateQueue();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    queue_->setSyncInProgress(false);
    takeTrace();
    chores();
    const Texts traced = takeTrace();
    EXPECT_EQ(traced.front(), "flushDuplicateQueue: Entry\n");
    EXPECT_THAT(traced, Each(Not(StartsWith("oneSecondChores: Unhandled"))));
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQChoresTest, aFlushThatMeetsTheSyncAgainIsForgotten) {
    park("one");
    queue_->setSyncInProgress(true);
    queue_->flushDuplicateQueue();
    chores();
    queue_->setSyncInProgress(false);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQChoresTest, aPostponedDeletionComesBeforeTheDiscardPeriod) {
    add("one");
    OrvCHMesg* const next = queue_->peekOpen();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 0);
    queue_->setSyncInProgress(false);
    seconds(100000);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).markedForDeletion, 0u);
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
    EXPECT_EQ(queue_->statistics().deletedForTime, 0u);
}

TEST_F(OrvCHMesgQChoresTest, anOldMarkedMessageGoesByItsMarkNotByItsAge) {
    addTest("test", "Profile");
    entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = kOrvMarkedByClear;
    seconds(100000);
    EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u);
    EXPECT_EQ(queue_->statistics().deletedForTime, 0u);
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 2}}));
}

TEST_F(OrvCHMesgQChoresTest, anOldMessageIsDiscardedForTimeThoughSpaceIsShortToo) {
    add("open");
    queue_->peekOpen();
    add("closed");
    quota("FileSystemSpaceAllowed", "1");
    seconds(100000);
    const std::uint32_t received = entry(ORV_CH_MESG_Q_SEND, 1).received;
    const std::uint32_t now = uptime() + 1;
    EXPECT_EQ(choresTrace(), Texts{"discarded old msg from send queue, now = " + std::to_string(now) +
                                   ", received = " + std::to_string(received) + ", discardPeriod = 86400\n"});
    EXPECT_EQ(queue_->statistics().deletedForTime, 1u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, kOrvMarkedForTime);
}

TEST_F(OrvCHMesgQChoresTest, spaceComesBeforeTheFileCount) {
    add("open");
    add("closed");
    queue_->peekOpen();
    const std::vector<DsEntry> entries = {{"FileSystemSpaceAllowed", 1, std::to_string(charge("open"))},
                                          {"FilesAllowed", 1, "0"}};
    queue_->processConfigBulk(entries, std::vector<std::int32_t>{0, 0});
    EXPECT_EQ(choresTrace(), (Texts{"mark (open) msg in send queue for deletion to reduce file system usage\n",
                                    "discarded msg from send queue to reduce file system usage\n"}));
    EXPECT_EQ(queue_->statistics().deletedForSpace, 1u);
    EXPECT_EQ(queue_->statistics().deletedForFileLimit, 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, kOrvMarkedForSpace);
}

TEST_F(OrvCHMesgQChoresTest, aReturnedMessageIsNotLookedAtInTheSameTick) {
    quota("DiscardPeriod", "5");
    park("one");
    add("one");
    addPersistent("lasting", 10, -1);
    mailNext();
    seconds(15);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "lasting"})) << "older than the discard period, but back";
    EXPECT_EQ(queue_->statistics().deletedForTime, 0u);
    chores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(queue_->statistics().deletedForTime, 1u);
}

TEST_F(OrvCHMesgQChoresTest, closedMarkedMessagesGoDuringASyncToo) {
    add("one");
    queue_->setSyncInProgress(true);
    queue_->clearQueue();
    EXPECT_EQ(queue_->sendCount(), 1u);
    EXPECT_EQ(choresTrace(), Texts{"discard msg marked for deletion from send queue\n"});
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u);
    checkConsistency();
}

}  // namespace
