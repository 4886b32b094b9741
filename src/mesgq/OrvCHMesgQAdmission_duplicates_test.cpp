// Which messages are taken for repeats, and how they are counted.
#include "testing/mesgq/MesgQAdmissionTest.h"

namespace {

using testing::IsEmpty;

constexpr char kLater[] = "Tue Nov 14 22:13:23 UTC 2023";

class OrvCHMesgQDuplicatesTest : public MesgQAdmissionTest {
protected:
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
    EXPECT_EQ(statistics().totalReceived, 3u);
    EXPECT_EQ(statistics().duplicateReceived, 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQDuplicatesTest, countsARepeatOfAnOpenMessage) {
    add("one");
    openAt(0);
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 1u);
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

    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 0u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 2);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).duplicatesPending, 0u);
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/m0"), messageFile("one", 2, kLater) + stateBlock());
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/order"), wordsToBytes({1, 0}));
    EXPECT_EQ(statistics().duplicateReceived, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQDuplicatesTest, looksOnTheDuplicateQueueBeforeTheSendQueue) {
    // As it comes about: a file of the persist queue comes back as an ordinary message and joins the send queue later.
    ASSERT_EQ(MesgQPartsTest::post(message("one"), {}), 0);
    park("one");
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
    EXPECT_EQ(post(std::move(sameEvent), {}), 0);
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 1u);

    auto otherLevel = message("one");
    otherLevel->logEvent()->Level = 3;
    EXPECT_EQ(post(std::move(otherLevel), {}), 0);
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 2u);
}

TEST_F(OrvCHMesgQDuplicatesTest, neverTakesTestMessagesForDuplicates) {
    addTest("one", "A");
    addTest("one", "A");
    EXPECT_EQ(add("one"), 0);
    addTest("one", "A");
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 4u);
    EXPECT_EQ(statistics().duplicateReceived, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, neverTakesPersistentMessagesForDuplicates) {
    addPersistent("one", 60, -1);
    addPersistent("one", 60, -1);
    add("one");
    addPersistent("one", 60, -1);
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 4u);
    EXPECT_EQ(statistics().duplicateReceived, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, keepsEveryMessageWithoutThrottling) {
    quotas_.throttleDuplicates = false;
    add("one");
    add("one");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "one"}));
    EXPECT_EQ(statistics().duplicateReceived, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, stillCountsOnEligibleEntriesAfterThrottlingWasSwitchedOff) {
    add("early");
    quotas_.throttleDuplicates = false;
    add("early");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"early"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
}

TEST_F(OrvCHMesgQDuplicatesTest, aDuplicateIsCountedEvenWhenThereIsNoRoom) {
    quotas_ = {.spaceAllowed = charge("one"), .filesAllowed = 1};
    add("one");
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
    EXPECT_EQ(statistics().couldNotBeAdded, 0u);
}

TEST_F(OrvCHMesgQDuplicatesTest, aMessageWithoutKindIsADuplicateOfEveryOtherOne) {
    post(std::make_unique<OrvCHMesg>(), {});
    post(std::make_unique<OrvCHMesg>(), {});
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 1u);
    EXPECT_EQ(statistics().duplicateReceived, 1u);
}

TEST_F(OrvCHMesgQDuplicatesTest, thousandsOfWaitingMessagesAreToldApart) {
    quotas_ = {.spaceAllowed = UINT32_MAX, .filesAllowed = UINT32_MAX};
    constexpr int kMany = 2000;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_EQ(add("text " + std::to_string(i)), 0);
    }
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), static_cast<std::uint32_t>(kMany));
    for (const int i : {0, 1, kMany / 2, kMany - 1}) {
        ASSERT_EQ(add("text " + std::to_string(i)), 0);
        EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, static_cast<std::size_t>(i)).duplicatesPending, 1u);
    }
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), static_cast<std::uint32_t>(kMany));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/order").size(), 4u * (kMany + 1));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, kMany - 1).uniqueId, static_cast<std::uint32_t>(kMany - 1));
    checkConsistency(false);
}

}  // namespace
