// The parts of the queue together: what one leaves behind for another, over the life of a message.
#include "testing/mesgq/MesgQTest.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

using Results = std::vector<std::pair<std::string, std::uint32_t>>;

class OrvCHMesgQTogether : public MesgQTest {};

TEST_F(OrvCHMesgQTogether, isEmptyAndClosedAtFirst) {
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->openCount(), 0u);
    EXPECT_FALSE(queue_->openForBusiness());
    EXPECT_FALSE(queue_->busy());
    for (std::uint32_t type = 0; type < 4; ++type) {
        EXPECT_EQ(queue_->ToQueuePtr(static_cast<ORV_CH_MESG_Q_TYPE>(type))->type(), type);
        EXPECT_TRUE(queue_->ToQueuePtr(static_cast<ORV_CH_MESG_Q_TYPE>(type))->ordered());
    }
}

TEST_F(OrvCHMesgQTogether, removeIsAStub) {
    open();
    add("one");
    takeTrace();
    EXPECT_EQ(queue_->remove(entry(ORV_CH_MESG_Q_SEND, 0).message.get()), -1);
    EXPECT_EQ(takeTrace(), Texts{"remove: Entry\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQTogether, removesByMessage) {
    open();
    add("one");
    add("two");
    const OrvCHMesg stranger;
    EXPECT_EQ(queue_->removeByMessage(&stranger, ORV_CH_MESG_Q_SEND, 0), -1);
    const OrvCHMesg* const one = entry(ORV_CH_MESG_Q_SEND, 0).message.get();
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_PERSIST, 0), -1);
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_SEND, 0), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"two"});
    checkConsistency();
}

TEST_F(OrvCHMesgQTogether, chargesStayTheSameWhenTheMessageGrows) {
    open();
    add("one");
    entry(ORV_CH_MESG_Q_SEND, 0).message->Envelopes.clear();
    entry(ORV_CH_MESG_Q_SEND, 0).message->addEnvelope(std::make_unique<OrvCHEnvelope>());
    mailNext();
    chores(17);
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQTogether, makingRoomNeverTouchesTheInitQueue) {
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    open({{"FileSystemSpaceAllowed", std::to_string(2 * charge("one"))}});
    // The first needs room while the other two are still charged on the init queue.
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six"}));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQTogether, aTestMessageThatLeavesTheInitQueueReportsNothing) {
    addTest("test", "Profile");
    takeTrace();
    OrvCHMesg* const waiting = entry(ORV_CH_MESG_Q_INIT, 0).message.get();
    EXPECT_EQ(queue_->removeByMessage(waiting, ORV_CH_MESG_Q_INIT, 1), 0);
    EXPECT_THAT(takeTestResults(), IsEmpty());
    EXPECT_THAT(takeTrace(),
                testing::ElementsAre(testing::StartsWith("removeInternal: entry (0) removed from the init queue\n")));
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQTogether, aMessageCanBeTakenOffAQueueAndKept) {
    open();
    add("one");
    addTest("test", "Profile");
    OrvCHMesg* const test = entry(ORV_CH_MESG_Q_SEND, 1).message.get();
    OrvCHMesg* const one = entry(ORV_CH_MESG_Q_SEND, 0).message.get();
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_PERSIST), nullptr);
    const auto kept = queue_->removeByMessage(test, ORV_CH_MESG_Q_SEND);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->message.get(), test);
    EXPECT_THAT(takeTestResults(), IsEmpty()) << "it is not destroyed";
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_SEND)->message->Text, "one");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQTogether, aMessageThatTheSenderHasOpenIsNotTakenOffItsQueue) {
    open();
    add("one");
    OrvCHMesg* const opened = queue_->peekOpen();
    takeTrace();
    EXPECT_EQ(queue_->removeByMessage(opened, ORV_CH_MESG_Q_SEND, 0), -1);
    EXPECT_EQ(queue_->removeByMessage(opened, ORV_CH_MESG_Q_SEND), nullptr);
    EXPECT_EQ(takeTrace(), Texts(2, "removeByMessage: entry (0) is still open\n"));
    EXPECT_EQ(opened->Text, "one");
    EXPECT_EQ(queue_->peekClose(opened), 0);
    checkConsistency();
}

TEST_F(OrvCHMesgQTogether, fiveRepeatsAfterMailingGiveOneFurtherMailWithCountFive) {
    open();
    park("one");
    for (int i = 0; i < 5; ++i) {
        seconds(1);
        EXPECT_EQ(add("one"), 0);
    }
    chores(10);
    EXPECT_EQ(queue_->sendCount(), 0u) << "15 seconds have passed, not more";
    chores();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    OrvCHMesg* const again = queue_->peekOpen();
    EXPECT_EQ(again->DuplicateCount, 5);
    EXPECT_EQ(again->DuplicateTime, "Tue Nov 14 22:13:25 UTC 2023");
    queue_->peekDelete(again, 0);

    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty()) << "it is not parked a second time";
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQTogether, aRepeatDuringMailingIsMailedWhenThePeriodEnds) {
    open();
    add("one");
    OrvCHMesg* const first = queue_->peekOpen();
    add("one");
    add("one");
    takeTrace();
    EXPECT_EQ(queue_->peekDelete(first, 0), 0);
    EXPECT_THAT(takeTrace(), Contains("peekDelete: entry (0) has completed processing, move it to the duplicate "
                                      "queue (DuplicateCount = 2)\n"));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 2);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).duplicatesPending, 0u);
    checkConsistency();
    chores(16);
    OrvCHMesg* const again = queue_->peekOpen();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->DuplicateCount, 2);
}

TEST_F(OrvCHMesgQTogether, discardsAPostponedMessageThatIsMarkedOrTooOld) {
    open();
    add("one");
    add("two");
    OrvCHMesg* const one = queue_->peekOpen();
    queue_->clearQueue();
    EXPECT_EQ(queue_->postpone(one, 300), 0);
    EXPECT_EQ(queue_->sendCount(), 0u);

    add("three");
    EXPECT_EQ(queue_->postpone(queue_->peekOpen(), 100000), 0);
    seconds(86401);
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQTogether, aMarkedEntryGivenBackDuringASyncStaysUntilTheChores) {
    open();
    add("one");
    addPersistent("two", 60, -1);
    OrvCHMesg* const one = queue_->peekOpen();
    OrvCHMesg* const two = queue_->peekOpen();
    queue_->clearQueue();
    queue_->setSyncInProgress(true);
    EXPECT_EQ(queue_->peekClose(one), 0);
    EXPECT_EQ(queue_->peekClose(two), 0);
    queue_->setSyncInProgress(false);
    chores();
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 2u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
}

TEST_F(OrvCHMesgQTogether, parksAMarkedMessageLikeAnyOther) {
    open();
    add("one");
    OrvCHMesg* const next = queue_->peekOpen();
    queue_->clearQueue();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 0u);
    chores(16);
    EXPECT_EQ(queue_->statistics().deletedForClearReq, 1u) << "counted when it leaves";
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQTogether, postsAPersistentMessageUntilItHasExpired) {
    open();
    addPersistent("lasting", 60, 2);
    seconds(5);
    OrvCHMesg* const next = queue_->peekOpen();
    EXPECT_EQ(queue_->peekDelete(next, 0), 0);
    ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});

    chores(61);
    EXPECT_EQ(queue_->peekOpen(), next);
    takeTrace();
    EXPECT_EQ(queue_->peekDelete(next, 1), 0);
    EXPECT_EQ(takeTrace().front(),
              "peekDelete: persistent entry (0) has completed processing and has expired, remove "
              "from the send queue and delete\n");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_EQ(queue_->statistics().persistentDeleted, 1u);
    EXPECT_EQ(queue_->statistics().sendOk, 2u);
}

TEST_F(OrvCHMesgQTogether, aPersistentMessageWithoutEndCirculates) {
    open();
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

TEST_F(OrvCHMesgQTogether, postponesADeletionDuringASync) {
    open();
    addTest("good", "A");
    addTest("bad", "B");
    OrvCHMesg* const good = queue_->peekOpen();
    OrvCHMesg* const bad = queue_->peekOpen();
    queue_->setSyncInProgress(true);
    EXPECT_EQ(queue_->peekDelete(good, 0), 0);
    EXPECT_EQ(queue_->peekDelete(bad, 5), 0);
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

TEST_F(OrvCHMesgQTogether, ofTwoPostponedDeletionsOnlyTheSuccessIsReplayed) {
    open();
    addTest("test", "A");
    OrvCHMesg* const next = queue_->peekOpen();
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

TEST_F(OrvCHMesgQTogether, aReplayedDeletionParksLikeADirectOne) {
    open();
    add("one");
    OrvCHMesg* const next = queue_->peekOpen();
    queue_->setSyncInProgress(true);
    queue_->peekDelete(next, 0);
    queue_->setSyncInProgress(false);
    chores();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).pendingOps, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQTogether, isSeenThroughTheSendersInterface) {
    open();
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

TEST_F(OrvCHMesgQTogether, startsOnlyOnce) {
    open();
    queue_->setMonitorReady();
    takeTrace();
    chores(3);
    EXPECT_THAT(takeTrace(), Not(Contains("init: Entry\n")));
}

TEST_F(OrvCHMesgQTogether, afterAConfigurationReadWaitingMessagesAreNeitherParkedNorMatched) {
    open();
    add("one");
    configure();
    add("one");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "one"}));
    mailNext();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    mailNext();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"}) << "the later one is eligible";
}

TEST_F(OrvCHMesgQTogether, clearingDoesNotTouchTheInitQueue) {
    open();
    restart();
    add("early");
    EXPECT_EQ(queue_->clearQueue(), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_INIT), Texts{"early"});
}

}  // namespace
