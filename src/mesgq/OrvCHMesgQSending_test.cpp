// The sender's hold on the send queue alone: opening, giving back, putting off, finishing.
#include "mesgq/OrvCHMesgQSending.h"

#include "testing/mesgq/MesgQPartsTest.h"

namespace {

using testing::IsEmpty;

using Results = std::vector<std::pair<std::string, std::uint32_t>>;

class OrvCHMesgQSendingTest : public MesgQPartsTest {
protected:
    OrvCHMesg* openNext() {
        OrvCHMesg* const next = sending_.peekOpen();
        EXPECT_NE(next, nullptr);
        takeTrace();
        return next;
    }
    // Opens the next message and finishes it.
    void mailNext(int result = 0) { EXPECT_EQ(sending_.peekDelete(openNext(), result), 0); }
    std::string sendFile(const std::string& name) { return switch_.root().read(std::string(kSendDir) + "/" + name); }

    OrvCHMesgQSending sending_{lists_, quotas_};
};

TEST_F(OrvCHMesgQSendingTest, opensTheOldestClosedUnmarkedEntry) {
    for (const char* text : {"one", "two", "three"}) {
        add(text);
    }
    addPersistent("four", 60, -1);
    takeTrace();
    EXPECT_EQ(sending_.peekOpen()->Text, "one");
    EXPECT_EQ(takeTrace(), Texts{"peekOpen: entry (0) opened in the send queue\n"});
    EXPECT_EQ(sending_.openCount(), 1u);
    entry(ORV_CH_MESG_Q_SEND, 1).markedForDeletion = kOrvMarkedByClear;
    EXPECT_EQ(sending_.peekOpen()->Text, "three");
    EXPECT_EQ(sending_.peekOpen()->Text, "four") << "persistent entries included";
    EXPECT_EQ(sending_.openCount(), 3u);
    takeTrace();
    EXPECT_EQ(sending_.peekOpen(), nullptr);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_EQ(sending_.openCount(), 3u);
}

TEST_F(OrvCHMesgQSendingTest, opensNothingOnAnEmptyQueueOrDuringASync) {
    EXPECT_EQ(sending_.peekOpen(), nullptr);
    add("one");
    sending_.setSyncInProgress(true);
    EXPECT_TRUE(sending_.syncInProgress());
    EXPECT_EQ(sending_.peekOpen(), nullptr);
    EXPECT_EQ(sending_.openCount(), 0u);
    sending_.setSyncInProgress(false);
    EXPECT_NE(sending_.peekOpen(), nullptr);
}

TEST_F(OrvCHMesgQSendingTest, postponesAMessageForAWhileAndMailsThoseBehindItFirst) {
    add("one");
    add("two");
    OrvCHMesg* const one = openNext();
    seconds(100);

    EXPECT_EQ(sending_.postpone(one, 300), 0);

    EXPECT_EQ(sending_.openCount(), 0u);
    EXPECT_EQ(openNext()->Text, "two");
    seconds(299);
    EXPECT_EQ(sending_.peekOpen(), nullptr);
    seconds(1);
    EXPECT_EQ(openNext(), one);
}

TEST_F(OrvCHMesgQSendingTest, keepsTheMarksOfAPostponedMessageOnFlash) {
    add("one");
    OrvCHMesg* const one = openNext();
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->Recipients = {"!a@x", "$b@x"};
    one->Envelopes.push_back(std::move(envelope));

    EXPECT_EQ(sending_.postpone(one, 0), 0);

    EXPECT_THAT(sendFile("m0"), testing::HasSubstr("\n!a@x\n$b@x\n"));
    EXPECT_THAT(sendFile("m0"), testing::EndsWith(stateBlock()));
    EXPECT_EQ(sending_.peekOpen(), one) << "postponed by nothing";
}

TEST_F(OrvCHMesgQSendingTest, beginsAnewOnceAPostponedMessageIsMailed) {
    add("one");
    OrvCHMesg* const one = openNext();
    one->PutOff = 9;
    sending_.postpone(one, 1);
    seconds(1);
    repeatWaiting(0, 1);
    EXPECT_EQ(openNext(), one);
    sending_.peekDelete(one, 0);
    EXPECT_EQ(one->PutOff, 0u) << "waits for repeats";
    EXPECT_EQ(sending_.postpone(one, 1), -1) << "not open";
    takeLog();
}

TEST_F(OrvCHMesgQSendingTest, reportsMessagesItDoesNotHold) {
    const auto stranger = message("one");
    takeTrace();
    EXPECT_EQ(sending_.peekClose(stranger.get()), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry not found\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekClose() done on message that no longer exists"}}));
    EXPECT_EQ(sending_.peekDelete(stranger.get(), 0), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekDelete: entry not found\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekDelete() done on message that no longer exists"}}));
    EXPECT_EQ(sending_.peekClose(nullptr), -1);
    EXPECT_EQ(sending_.peekDelete(nullptr, 0), -1);
}

TEST_F(OrvCHMesgQSendingTest, reportsMessagesThatAreNotOpen) {
    add("one");
    OrvCHMesg* const closed = entry(ORV_CH_MESG_Q_SEND, 0).message.get();
    takeTrace();
    EXPECT_EQ(sending_.peekClose(closed), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) not open\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekClose() done on message that is not open"}}));
    EXPECT_EQ(sending_.peekDelete(closed, 0), -1);
    EXPECT_EQ(takeTrace(), Texts{"peekDelete: entry (0) not open\n"});
    EXPECT_EQ(takeLog(), (Log{{15, "peekDelete() done on message that is not open"}}));
    EXPECT_EQ(sending_.sendCount(), 1u);
    EXPECT_EQ(statistics().sendOk, 0u);
}

TEST_F(OrvCHMesgQSendingTest, anEntryGivenBackIsOpenedAgain) {
    add("one");
    addPersistent("two", 60, -1);
    OrvCHMesg* const one = openNext();
    OrvCHMesg* const two = openNext();
    EXPECT_EQ(sending_.peekClose(one), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) has not completed processing, leave it on the send queue\n"});
    EXPECT_EQ(sending_.peekClose(two), 0);
    EXPECT_EQ(takeTrace(),
              Texts{"peekClose: persistent entry (1) has not completed processing, leave it on the send queue\n"});
    EXPECT_EQ(sending_.openCount(), 0u);
    EXPECT_EQ(sending_.peekOpen(), one);
}

TEST_F(OrvCHMesgQSendingTest, aMarkedEntryGivenBackGoesAndIsCountedByItsReason) {
    for (const Deletion& row : kDeletions) {
        addTest("test", "Profile");
        OrvCHMesg* const next = openNext();
        entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion = row.reason;
        EXPECT_EQ(sending_.peekClose(next), 0);
        EXPECT_EQ(takeTrace().front(),
                  "peekClose: entry (0) has not completed processing but is marked for deletion, remove from the "
                  "send queue and delete\n");
        EXPECT_EQ(statistics().*row.counter, 1u);
        EXPECT_EQ(takeTestResults(), (Results{{"Profile", row.result}}));
        EXPECT_EQ(sending_.sendCount(), 0u);
        EXPECT_EQ(sending_.openCount(), 0u);
    }
    EXPECT_EQ(statistics().persistentDeleted, 0u);
    EXPECT_EQ(statistics().sendOk, 0u);
}

TEST_F(OrvCHMesgQSendingTest, aMarkedPersistentEntryGivenBackIsCountedTwice) {
    addPersistent("lasting", 60, -1);
    OrvCHMesg* const next = openNext();
    markAll(kOrvMarkedByClear);
    takeTrace();
    EXPECT_EQ(sending_.peekClose(next), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekClose: persistent entry (0) has not completed processing but is marked for deletion, remove from "
              "the send queue and delete\n");
    EXPECT_EQ(statistics().persistentDeleted, 1u);
    EXPECT_EQ(statistics().deletedForClearReq, 1u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSendingTest, parksAMailedMessageForTheThrottlePeriod) {
    add("one");
    seconds(5);
    OrvCHMesg* const next = openNext();
    entry(ORV_CH_MESG_Q_SEND, 0).message->DuplicateCount = 7;  // as restored; counting starts afresh
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
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
    EXPECT_EQ(statistics().sendOk, 1u);
    EXPECT_EQ(sending_.openCount(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSendingTest, parksAMessageThatCouldNotBeMailedToo) {
    add("one");
    mailNext(1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(statistics().sendOk, 1u) << "counted for a failure, too";
}

TEST_F(OrvCHMesgQSendingTest, deletesAMailedMessageThatIsNotEligible) {
    add("one");
    lists_.send().clearDupEligible();
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: entry (0) has completed processing, (further duplicates not allowed) "
              "remove it from the send queue and delete\n");
    EXPECT_EQ(spaceInUse(), 0u);
    EXPECT_EQ(statistics().sendOk, 1u);
}

TEST_F(OrvCHMesgQSendingTest, deletesAnEligibleMessageWhenThrottlingWasSwitchedOff) {
    add("one");
    quotas_.throttleDuplicates = false;
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: entry (0) has completed processing, (duplicates not allowed) remove "
              "it from the send queue and delete\n");
    EXPECT_EQ(spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQSendingTest, keepsAMailedMessageWithPendingDuplicatesThatMayNotBeParked) {
    add("one");
    OrvCHMesg* const next = openNext();
    repeatWaiting(0, 2);
    lists_.send().clearDupEligible();
    seconds(9);
    takeTrace();
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
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
    EXPECT_EQ(statistics().sendOk, 1u);
    EXPECT_EQ(sending_.openCount(), 0u);

    EXPECT_EQ(sending_.peekOpen(), next) << "mailed again with its count";
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(sending_.sendCount(), 0u);
    EXPECT_EQ(statistics().sendOk, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQSendingTest, reportsTheCallersResultOfATestMessage) {
    addTest("good", "A");
    addTest("bad", "B");
    mailNext(0);
    mailNext(1);
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}, {"B", 1}}));
    EXPECT_EQ(sending_.sendCount(), 0u);
}

TEST_F(OrvCHMesgQSendingTest, aMarkedTestMessageThatWasMailedReportsItsResult) {
    addTest("test", "A");
    OrvCHMesg* const next = openNext();
    markAll(kOrvMarkedByClear);
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(takeTestResults(), (Results{{"A", 0}}));
    EXPECT_EQ(statistics().deletedForClearReq, 0u);
}

TEST_F(OrvCHMesgQSendingTest, aPersistentMessageWithOnePostingIsMailedOnceAndDeleted) {
    addPersistent("lasting", 60, 1);
    mailNext();
    EXPECT_EQ(spaceInUse(), 0u);
    EXPECT_EQ(statistics().persistentDeleted, 1u);
}

TEST_F(OrvCHMesgQSendingTest, countsDownAnyOtherExpireEvenBelowZero) {
    const std::pair<std::int32_t, std::int32_t> kRows[] = {{0, -1}, {-2, -3}, {INT32_MIN, INT32_MAX}, {3, 2}};
    for (const auto& [before, after] : kRows) {
        addPersistent("lasting", 60, before);
        mailNext();
        EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).posting.expire, after);
        lists_.removeInternal(entry(ORV_CH_MESG_Q_PERSIST, 0), lists_.persist(), kOrvPassed);
    }
}

TEST_F(OrvCHMesgQSendingTest, deletesAMarkedPersistentMessageThatWasMailed) {
    addPersistent("lasting", 60, 5);
    OrvCHMesg* const next = openNext();
    markAll(kOrvMarkedByClear);
    takeTrace();
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing and is marked for "
              "deletion, remove from the send queue and delete\n");
    EXPECT_EQ(statistics().persistentDeleted, 1u);
    EXPECT_EQ(statistics().deletedForClearReq, 1u);
    EXPECT_EQ(statistics().sendOk, 1u);
    EXPECT_EQ(spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQSendingTest, aDirectDeletionForgetsPostponedOnes) {
    add("one");
    OrvCHMesg* const next = openNext();
    sending_.setSyncInProgress(true);
    sending_.peekDelete(next, 1);
    sending_.setSyncInProgress(false);
    sending_.peekDelete(next, 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).pendingOps, 0u);
}

TEST_F(OrvCHMesgQSendingTest, aMarkedEntryGivenBackDuringASyncStays) {
    add("one");
    addPersistent("two", 60, -1);
    OrvCHMesg* const one = openNext();
    OrvCHMesg* const two = openNext();
    markAll(kOrvMarkedByClear);
    sending_.setSyncInProgress(true);
    takeTrace();
    EXPECT_EQ(sending_.peekClose(one), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: entry (0) has not completed processing, is marked for deletion,  but a "
                                 "sync is in progress, leave it on the send queue\n"});
    EXPECT_EQ(sending_.peekClose(two), 0);
    EXPECT_EQ(takeTrace(), Texts{"peekClose: persistent entry (1) has not completed processing, is marked for "
                                 "deletion,  but a sync is in progress, leave it on the send queue\n"});
    EXPECT_EQ(sending_.openCount(), 0u);
    EXPECT_EQ(sending_.sendCount(), 2u);
}

TEST_F(OrvCHMesgQSendingTest, aDeletionDuringASyncIsNotedOnTheEntry) {
    addTest("good", "A");
    addTest("bad", "B");
    OrvCHMesg* const good = openNext();
    OrvCHMesg* const bad = openNext();
    sending_.setSyncInProgress(true);
    EXPECT_EQ(sending_.peekDelete(good, 0), 0);
    EXPECT_EQ(sending_.peekDelete(bad, 1), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).pendingOps, kOrvPendingSuccess);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).pendingOps, kOrvPendingFailure);
    EXPECT_EQ(sending_.openCount(), 2u) << "still open";
    EXPECT_THAT(takeTestResults(), IsEmpty());
}

TEST_F(OrvCHMesgQSendingTest, restsAPersistentMessageWithAPostingLess) {
    addPersistent("lasting", 60, 2);
    seconds(5);
    OrvCHMesg* const next = openNext();
    EXPECT_EQ(sending_.peekDelete(next, 0), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing, move it back to the persistent queue\n");
    ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).received, uptime());
    EXPECT_EQ(switch_.root().read(std::string(kPersistDir) + "/m0"),
              messageFile("lasting") + stateBlock(0, 0, "true", 60, 1));
    EXPECT_EQ(switch_.root().read(std::string(kPersistDir) + "/order"), wordsToBytes({1, 0}));
    checkConsistency();
}

TEST_F(OrvCHMesgQSendingTest, neverParksTestOrPersistentMessages) {
    addTest("test", "A");
    mailNext();
    addPersistent("lasting", 60, 2);
    mailNext();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

}  // namespace
