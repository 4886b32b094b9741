#include "testing/mesgq/MesgQTest.h"
#include "uptime.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using Results = std::vector<std::pair<std::string, std::uint32_t>>;

class OrvCHMesgQSenderTest : public MesgQTest {
protected:
    OrvCHMesgQSenderTest() { open(); }

    OrvCHMesg* openNext() {
        OrvCHMesg* const next = queue_->peekOpen();
        EXPECT_NE(next, nullptr);
        takeTrace();
        return next;
    }
    std::string sendFile(const std::string& name) { return switch_.root().read(std::string(kSendDir) + "/" + name); }
};

TEST_F(OrvCHMesgQSenderTest, opensTheOldestClosedUnmarkedEntry) {
    for (const char* text : {"one", "two", "three"}) {
        add(text);
    }
    addPersistent("four", 60, -1);
    takeTrace();
    EXPECT_EQ(queue_->peekOpen()->Text, "one");
    EXPECT_EQ(takeTrace(), Texts{"peekOpen: entry (0) opened in the send queue\n"});
    EXPECT_EQ(queue_->openCount(), 1u);
    entry(ORV_CH_MESG_Q_SEND, 1).markedForDeletion = kOrvMarkedByClear;
    EXPECT_EQ(queue_->peekOpen()->Text, "three");
    EXPECT_EQ(queue_->peekOpen()->Text, "four") << "persistent entries included";
    EXPECT_EQ(queue_->openCount(), 3u);
    takeTrace();
    EXPECT_EQ(queue_->peekOpen(), nullptr);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_EQ(queue_->openCount(), 3u);
}

TEST_F(OrvCHMesgQSenderTest, opensNothingOnAnEmptyQueueOrDuringASync) {
    EXPECT_EQ(queue_->peekOpen(), nullptr);
    add("one");
    queue_->setSyncInProgress(true);
    EXPECT_TRUE(queue_->busy());
    EXPECT_EQ(queue_->peekOpen(), nullptr);
    EXPECT_EQ(queue_->openCount(), 0u);
    queue_->setSyncInProgress(false);
    EXPECT_NE(queue_->peekOpen(), nullptr);
}

TEST_F(OrvCHMesgQSenderTest, postponesAMessageForAWhileAndMailsThoseBehindItFirst) {
    add("one");
    add("two");
    OrvCHMesg* const one = openNext();
    seconds(100);

    EXPECT_EQ(queue_->postpone(one, 300), 0);

    EXPECT_EQ(queue_->openCount(), 0u);
    EXPECT_EQ(openNext()->Text, "two");
    seconds(299);
    EXPECT_EQ(queue_->peekOpen(), nullptr);
    seconds(1);
    EXPECT_EQ(openNext(), one);
}

TEST_F(OrvCHMesgQSenderTest, keepsTheMarksOfAPostponedMessageOnFlash) {
    add("one");
    OrvCHMesg* const one = openNext();
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->Recipients = {"!a@x", "$b@x"};
    one->Envelopes.push_back(std::move(envelope));

    EXPECT_EQ(queue_->postpone(one, 0), 0);

    EXPECT_THAT(sendFile("m0"), testing::HasSubstr("\n!a@x\n$b@x\n"));
    EXPECT_THAT(sendFile("m0"), testing::EndsWith(stateBlock()));
    EXPECT_EQ(queue_->peekOpen(), one) << "postponed by nothing";
}

TEST_F(OrvCHMesgQSenderTest, discardsAPostponedMessageThatIsMarkedOrTooOld) {
    add("one");
    add("two");
    OrvCHMesg* const one = openNext();
    queue_->clearQueue();
    EXPECT_EQ(queue_->postpone(one, 300), 0);
    EXPECT_EQ(queue_->sendCount(), 0u);

    add("three");
    EXPECT_EQ(queue_->postpone(openNext(), 100000), 0);
    seconds(86401);
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQSenderTest, beginsAnewOnceAPostponedMessageIsMailed) {
    add("one");
    OrvCHMesg* const one = openNext();
    one->PutOff = 9;
    queue_->postpone(one, 1);
    seconds(1);
    add("one");
    EXPECT_EQ(openNext(), one);
    queue_->peekDelete(one, 0);
    EXPECT_EQ(one->PutOff, 0u) << "waits for repeats";
    EXPECT_EQ(queue_->postpone(one, 1), -1) << "not open";
    takeLog();
}

TEST_F(OrvCHMesgQSenderTest, reportsMessagesItDoesNotHold) {
    const auto stranger = message("one");
    takeTrace();
    EXPECT_EQ(queue_->peekClose(stranger.get()), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry not found\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekClose() done on message that no longer exists"}}));
    EXPECT_EQ(queue_->peekDelete(stranger.get(), 0), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekDelete: entry not found\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekDelete() done on message that no longer exists"}}));
    EXPECT_EQ(queue_->peekClose(nullptr), -1);
    EXPECT_EQ(queue_->peekDelete(nullptr, 0), -1);
}

TEST_F(OrvCHMesgQSenderTest, reportsMessagesThatAreNotOpen) {
    add("one");
    OrvCHMesg* const closed = entry(ORV_CH_MESG_Q_SEND, 0).message.get();
    takeTrace();
    EXPECT_EQ(queue_->peekClose(closed), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) not open\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekClose() done on message that is not open"}}));
    EXPECT_EQ(queue_->peekDelete(closed, 0), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekDelete: entry (0) not open\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekDelete() done on message that is not open"}}));
    EXPECT_EQ(queue_->sendCount(), 1u);
    EXPECT_EQ(queue_->statistics().sendOk, 0u);
}

TEST_F(OrvCHMesgQSenderTest, anEntryGivenBackIsOpenedAgain) {
    add("one");
    addPersistent("two", 60, -1);
    OrvCHMesg* const one = openNext();
    OrvCHMesg* const two = openNext();
    EXPECT_EQ(queue_->peekClose(one), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) has not completed processing, leave it on the send queue\n"});
    EXPECT_EQ(queue_->peekClose(two), 0);
    EXPECT_EQ(takeTrace(),
              Texts{"peekClose: persistent entry (1) has not completed processing, leave it on the send queue\n"});
    EXPECT_EQ(queue_->openCount(), 0u);
    EXPECT_EQ(queue_->peekOpen(), one);
}

TEST_F(OrvCHMesgQSenderTest, aMarkedEntryGivenBackGoesAndIsCountedByItsReason) {
    for (const Deletion& row : kDeletions) {
        addTest("test", "Profile");
        OrvCHMesg* const next = openNext();
        entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = row.reason;
        EXPECT_EQ(queue_->peekClose(next), 0);
        EXPECT_EQ(takeTrace().front(),
                  "peekClose: entry (0) has not completed processing but is marked for deletion, remove from the "
                  "send queue and delete\n");
        EXPECT_EQ(queue_->statistics().*row.counter, 1u);
        EXPECT_EQ(takeTestResults(), (Results{{"Profile", row.result}}));
        EXPECT_EQ(queue_->sendCount(), 0u);
        EXPECT_EQ(queue_->openCount(), 0u);
    }
    EXPECT_EQ(queue_->statistics().persistentDeleted, 0u);
    EXPECT_EQ(queue_->statistics().sendOk, 0u);
}

TEST_F(OrvCHMesgQSenderTest, aMarkedPersistentEntryGivenBackIsCountedTwice) {
    addPersistent("lasting", 60, -1);
    OrvCHMesg* const next = openNext();
    queue_->clearQueue();
    takeTrace();
    EXPECT_EQ(queue_->peekClose(next), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekClose: persistent entry (0) has not completed processing but is marked for deletion, remove from "
              "the send queue and delete\n");
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSenderTest, aMarkedEntryGivenBackDuringASyncStaysUntilTheChores) {
    add("one");
    addPersistent("two", 60, -1);
    OrvCHMesg* const one = openNext();
    OrvCHMesg* const two = openNext();
    queue_->clearQueue();
    queue_->setSyncInProgress(true);
    takeTrace();
    EXPECT_EQ(queue_->peekClose(one), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) has not completed processing, is marked for deletion,  but a "
                                 "sync is in progress, leave it on the send queue\n"});
    EXPECT_EQ(queue_->peekClose(two), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: persistent entry (1) has not completed processing, is marked for "
                                 "deletion,  but a sync is in progress, leave it on the send queue\n"});
    EXPECT_EQ(queue_->openCount(), 0u);
    queue_->setSyncInProgress(false);
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 2u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
}

TEST_F(OrvCHMesgQSenderTest, parksAMailedMessageForTheThrottlePeriod) {
    add("one");
    seconds(5);
    OrvCHMesg* const next = openNext();
    entry(ORV_CH_MESG_Q_SEND, 0).message->DuplicateCount = 7;  // as restored; counting starts afresh
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced.front(),
              "peekDelete: entry (0) has completed processing, move it to the duplicate queue "
              "(DuplicateCount = 0)\n");
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    const OrvCHMesgQEntry& parked = entry(ORV_CH_MESG_Q_DUPLICATE, 0);
    EXPECT_EQ(parked.message.get(), next);
    EXPECT_EQ(parked.received, uptime());
    EXPECT_EQ(parked.message->DuplicateCount, 0);
    EXPECT_FALSE(parked.open);
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
    EXPECT_EQ(queue_->openCount(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSenderTest, parksAMessageThatCouldNotBeMailedToo) {
    add("one");
    mailNext(1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(queue_->statistics().sendOk, 1u) << "counted for a failure, too";
}

TEST_F(OrvCHMesgQSenderTest, parksAMarkedMessageLikeAnyOther) {
    add("one");
    OrvCHMesg* const next = openNext();
    queue_->clearQueue();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 0u);
    chores(16);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u) << "counted when it leaves";
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQSenderTest, deletesAMailedMessageThatIsNotEligible) {
    add("one");
    queue_->flushDuplicateQueue();
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: entry (0) has completed processing, (further duplicates not allowed) "
              "remove it from the send queue and delete\n");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
}

TEST_F(OrvCHMesgQSenderTest, deletesAnEligibleMessageWhenThrottlingWasSwitchedOff) {
    add("one");
    const std::vector<DsEntry> off = {{"ThrottleDupsEnable", 1, "False"}};
    const std::vector<std::int32_t> good = {0};
    queue_->processConfigBulk(off, good);
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: entry (0) has completed processing, (duplicates not allowed) remove "
              "it from the send queue and delete\n");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQSenderTest, keepsAMailedMessageWithPendingDuplicatesThatMayNotBeParked) {
    add("one");
    OrvCHMesg* const next = openNext();
    add("one");
    add("one");
    queue_->flushDuplicateQueue();
    seconds(9);
    takeTrace();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace(),
              (Texts{"peekDelete: entry (0) has completed processing, further duplicates are not allowed but there "
                     "are 2 pending duplicates, leave it on the send queue\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m0\n"}));
    const OrvCHMesgQEntry& kept = entry(ORV_CH_MESG_Q_SEND, 0);
    EXPECT_FALSE(kept.open);
    EXPECT_EQ(kept.duplicatesPending, 0u);
    EXPECT_EQ(kept.received, uptime());
    EXPECT_EQ(next->DuplicateCount, 2);
    EXPECT_EQ(sendFile("m0"), messageFile("one", 2, "Tue Nov 14 22:13:20 UTC 2023") + stateBlock(0))
        << "or a restart would mail it without its count";
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
    EXPECT_EQ(queue_->openCount(), 0u);

    EXPECT_EQ(queue_->peekOpen(), next) << "mailed again with its count";
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().sendOk, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSenderTest, reportsTheCallersResultOfATestMessage) {
    addTest("good", "A");
    addTest("bad", "B");
    mailNext(0);
    mailNext(1);
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}, {"B", 1}}));
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQSenderTest, aMarkedTestMessageThatWasMailedReportsItsResult) {
    addTest("test", "A");
    OrvCHMesg* const next = openNext();
    queue_->clearQueue();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}}));
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 0u);
}

TEST_F(OrvCHMesgQSenderTest, movesAPersistentMessageToItsQueueUntilItHasExpired) {
    addPersistent("lasting", 60, 2);
    seconds(5);
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing, move it back to the persistent queue\n");
    ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).received, uptime());
    EXPECT_EQ(switch_.root().read(std::string(kPersistDir) + "/m0"),
              messageFile("lasting") + stateBlock(0, 0, "true", 60, 1));
    EXPECT_EQ(switch_.root().read(std::string(kPersistDir) + "/order"), wordsToBytes({1, 0}));
    checkConsistency();

    chores(61);
    EXPECT_EQ(openNext(), next);
    EXPECT_EQ(queue_->peekDelete(next, 1), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing and has expired, remove "
              "from the send queue and delete\n");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
    EXPECT_EQ(queue_->statistics().sendOk, 2u);
}

TEST_F(OrvCHMesgQSenderTest, aPersistentMessageWithOnePostingIsMailedOnceAndDeleted) {
    addPersistent("lasting", 60, 1);
    mailNext();
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
}

TEST_F(OrvCHMesgQSenderTest, aPersistentMessageWithoutEndCirculates) {
    addPersistent("lasting", 1, -1);
    for (int i = 0; i < 10; ++i) {
        mailNext(i % 2);
        ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
        EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).posting.expire, -1);
        chores(2);
    }
    EXPECT_EQ(queue_->statistics().sendOk, 10u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 0u);
}

TEST_F(OrvCHMesgQSenderTest, countsDownAnyOtherExpireEvenBelowZero) {
    const std::pair<std::int32_t, std::int32_t> kRows[] = {{0, -1}, {-2, -3}, {INT32_MIN, INT32_MAX}, {3, 2}};
    for (const auto& [before, after] : kRows) {
        addPersistent("lasting", 60, before);
        mailNext();
        EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).posting.expire, after);
        queue_->removeByMessage(entry(ORV_CH_MESG_Q_PERSIST, 0).message.get(), ORV_CH_MESG_Q_PERSIST, 0);
    }
}

TEST_F(OrvCHMesgQSenderTest, deletesAMarkedPersistentMessageThatWasMailed) {
    addPersistent("lasting", 60, 5);
    OrvCHMesg* const next = openNext();
    queue_->clearQueue();
    takeTrace();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing and is marked for "
              "deletion, remove from the send queue and delete\n");
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u);
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQSenderTest, postponesADeletionDuringASync) {
    addTest("good", "A");
    addTest("bad", "B");
    OrvCHMesg* const good = openNext();
    OrvCHMesg* const bad = openNext();
    queue_->setSyncInProgress(true);
    EXPECT_EQ(queue_->peekDelete(good, 0), 0);
    EXPECT_EQ(queue_->peekDelete(bad, 5), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).pendingOps, 1u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).pendingOps, 2u);
    EXPECT_EQ(queue_->openCount(), 2u) << "still open";
    chores(3);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).pendingOps, 1u) << "left alone while the sync runs";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).pendingOps, 2u);
    EXPECT_THAT(takeTestResults(), IsEmpty());

    queue_->setSyncInProgress(false);
    chores();
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}, {"B", 1}}));
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->openCount(), 0u);
    EXPECT_EQ(queue_->statistics().sendOk, 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(OrvCHMesgQSenderTest, ofTwoPostponedDeletionsOnlyTheSuccessIsReplayed) {
    addTest("test", "A");
    OrvCHMesg* const next = openNext();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 1);
    queue_->peekDelete(next, 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).pendingOps, 3u);
    queue_->setSyncInProgress(false);
    chores();
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}}));
    EXPECT_EQ(queue_->statistics().sendOk, 1u);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(OrvCHMesgQSenderTest, aReplayedDeletionParksLikeADirectOne) {
    add("one");
    OrvCHMesg* const next = openNext();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 0);
    queue_->setSyncInProgress(false);
    chores();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).pendingOps, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSenderTest, aDirectDeletionForgetsPostponedOnes) {
    add("one");
    OrvCHMesg* const next = openNext();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 1);
    queue_->setSyncInProgress(false);
    queue_->peekDelete(next, 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).pendingOps, 0u);
}

TEST_F(OrvCHMesgQSenderTest, isSeenThroughTheSendersInterface) {
    add("one");
    OrvSendQueue& view = *queue_;
    EXPECT_EQ(view.sendCount(), 1u);
    OrvCHMesg* const next = view.peekOpen();
    EXPECT_EQ(view.openCount(), 1u);
    EXPECT_EQ(view.peekClose(next), 0);
    EXPECT_EQ(view.peekOpen(), next);
    EXPECT_EQ(view.peekDelete(next, 0), 0);
    EXPECT_EQ(view.sendCount(), 0u);
}

}  // namespace
