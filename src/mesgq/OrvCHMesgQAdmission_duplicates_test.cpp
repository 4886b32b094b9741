#include "testing/mesgq/MesgQTest.h"

namespace {

using testing::Contains;
using testing::IsEmpty;

constexpr char kLater[] = "Tue Nov 14 22:13:23 UTC 2023";

class OrvCHMesgQDuplicatesTest : public MesgQTest {
protected:
    OrvCHMesgQDuplicatesTest() { open(); }
};

TEST_F(OrvCHMesgQDuplicatesTest, countsTwoRepeatsOfAWaitingMessage) {
    add("one");
    seconds(3);
    takeTrace();
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeTrace(),
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m0\n",
                     "add: already on send queue, increment duplicatesPending count (new value: 1)\n"}));
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeTrace().back(), "add: already on send queue, increment duplicatesPending count (new value: 2)\n");

    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 2u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).message->DuplicateCount, 0);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one", 0, kLater) + stateBlock(2));
    EXPECT_EQ(queue_->statistics().totalReceived, 3u);
    EXPECT_EQ(queue_->statistics().duplicateReceived, 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQDuplicatesTest, countsARepeatOfAnOpenMessage) {
    add("one");
    ASSERT_NE(queue_->peekOpen(), nullptr);
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
    EXPECT_EQ(queue_->sendCount(), 1u);
}

TEST_F(OrvCHMesgQDuplicatesTest, countsRepeatsOfAParkedMessageInItsFile) {
    park("one");
    EXPECT_THAT(files(kDuplicateDir), IsEmpty()) << "no duplicates, no file";
    seconds(3);
    takeTrace();
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeTrace(),
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1\n",
                     "add: already on duplicate queue, increment duplicate count (new value: 1)\n",
                     std::string("saveEntryToFile: file=") + kDuplicateDir + "/m0\n"}));
    EXPECT_EQ(add("one"), 0);

    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 2);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).duplicatesPending, 0u);
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/m0"), messageFile("one", 2, kLater) + stateBlock());
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/order"), wordsToBytes({1, 0}));
    EXPECT_EQ(queue_->statistics().duplicateReceived, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQDuplicatesTest, looksOnTheDuplicateQueueBeforeTheSendQueue) {
    // A file of the persist queue comes back as an ordinary message and later joins the send queue.
    switch_.root().write(std::string(kPersistDir) + "/m0", messageFile("one"));
    restartAndOpen({{"ThrottleDupsPeriod", "1000000"}});
    park("one");
    seconds(86401);
    queue_->oneSecondChores();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    ASSERT_TRUE(entry(ORV_CH_MESG_Q_SEND, 0).dupEligible);

    add("one");

    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 1);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, comparesLevelPlaceComponentAndTextOnly) {
    add("one");
    auto sameEvent = message("one");
    sameEvent->ID = "FFFF.FFFF";
    sameEvent->Time = "another time";
    sameEvent->Envelopes.clear();
    EXPECT_EQ(queue_->add(std::move(sameEvent), false, false, 86400, -1, false), 0);
    EXPECT_EQ(queue_->sendCount(), 1u);

    auto otherLevel = message("one");
    otherLevel->logEvent()->Level = 3;
    EXPECT_EQ(queue_->add(std::move(otherLevel), false, false, 86400, -1, false), 0);
    EXPECT_EQ(queue_->sendCount(), 2u);
}

TEST_F(OrvCHMesgQDuplicatesTest, neverTakesTestMessagesForDuplicates) {
    addTest("one", "A");
    addTest("one", "A");
    EXPECT_EQ(add("one"), 0);
    addTest("one", "A");
    EXPECT_EQ(queue_->sendCount(), 4u);
    EXPECT_EQ(queue_->statistics().duplicateReceived, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, neverTakesPersistentMessagesForDuplicates) {
    addPersistent("one", 60, -1);
    addPersistent("one", 60, -1);
    add("one");
    addPersistent("one", 60, -1);
    EXPECT_EQ(queue_->sendCount(), 4u);
    EXPECT_EQ(queue_->statistics().duplicateReceived, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, neverParksTestOrPersistentMessages) {
    addTest("test", "A");
    mailNext();
    addPersistent("lasting", 60, 2);
    mailNext();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQDuplicatesTest, keepsEveryMessageWithoutThrottling) {
    configure({{"ThrottleDupsEnable", "False"}});
    add("one");
    add("one");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "one"}));
    EXPECT_EQ(queue_->statistics().duplicateReceived, 0u);
    mailNext();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
}

TEST_F(OrvCHMesgQDuplicatesTest, stillCountsOnEligibleEntriesAfterThrottlingWasSwitchedOff) {
    add("early");
    const std::vector<DsEntry> off = {{"ThrottleDupsEnable", 1, "False"}};
    const std::vector<std::int32_t> good = {0};
    queue_->processConfigBulk(off, good);  // without the flush that comes with a request
    add("early");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"early"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
}

TEST_F(OrvCHMesgQDuplicatesTest, aDuplicateIsCountedEvenWhenThereIsNoRoom) {
    configure({{"FileSystemSpaceAllowed", std::to_string(charge("one"))}, {"FilesAllowed", "1"}});
    add("one");
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, fiveRepeatsAfterMailingGiveOneFurtherMailWithCountFive) {
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

TEST_F(OrvCHMesgQDuplicatesTest, aRepeatDuringMailingIsMailedWhenThePeriodEnds) {
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
    EXPECT_EQ(queue_->peekOpen()->DuplicateCount, 2);
}

TEST_F(OrvCHMesgQDuplicatesTest, aMessageWithoutKindIsADuplicateOfEveryOtherOne) {
    queue_->add(std::make_unique<OrvCHMesg>(), false, false, 86400, -1, false);
    queue_->add(std::make_unique<OrvCHMesg>(), false, false, 86400, -1, false);
    EXPECT_EQ(queue_->sendCount(), 1u);
    EXPECT_EQ(queue_->statistics().duplicateReceived, 1u);
}

TEST_F(OrvCHMesgQDuplicatesTest, thousandsOfWaitingMessagesAreToldApart) {
    configure({{"FileSystemSpaceAllowed", "4294967295"}, {"FilesAllowed", "4294967295"}});
    constexpr int kMany = 2000;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_EQ(add("text " + std::to_string(i)), 0);
    }
    EXPECT_EQ(queue_->sendCount(), static_cast<std::uint32_t>(kMany));
    for (const int i : {0, 1, kMany / 2, kMany - 1}) {
        ASSERT_EQ(add("text " + std::to_string(i)), 0);
        EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, static_cast<std::size_t>(i)).duplicatesPending, 1u);
    }
    EXPECT_EQ(queue_->sendCount(), static_cast<std::uint32_t>(kMany));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/order").size(), 4u * (kMany + 1));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, kMany - 1).uniqueId, static_cast<std::uint32_t>(kMany - 1));
    checkConsistency(false);
}

}  // namespace
