// What becomes of a message that comes: kept, refused, or kept at the cost of others.
#include "testing/mesgq/MesgQAdmissionTest.h"
#include "uptime.h"

namespace {

using testing::Contains;
using testing::IsEmpty;

class OrvCHMesgQAdmissionTest : public MesgQAdmissionTest {
protected:
    using MesgQAdmissionTest::MesgQAdmissionTest;

    // The quota that just holds messages with these texts.
    static std::uint32_t spaceFor(const std::vector<std::string>& texts) {
        std::uint32_t sum = 0;
        for (const std::string& text : texts) {
            sum += charge(text);
        }
        return sum;
    }
};

// Before the queue is open for business.
class OrvCHMesgQAdmissionBefore : public OrvCHMesgQAdmissionTest {
protected:
    OrvCHMesgQAdmissionBefore() : OrvCHMesgQAdmissionTest(false) {}
};

TEST_F(OrvCHMesgQAdmissionTest, keepsMessagesInOrderOnTheSendQueue) {
    takeTrace();
    const std::uint32_t size = charge("one");
    EXPECT_EQ(add("one"), 0);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced, (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, "
                             "expireCountdown = -1\n",
                             "addInternal: entry (0) added to the send queue\n" +
                                 fillTable({{0, 0}, {1, size}, {0, 0}, {0, 0}}),
                             std::string("saveEntryToFile: file=") + kSendDir + "/m0\n"}));
    EXPECT_EQ(add("two"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0, 1}));
    EXPECT_EQ(spaceInUse(), charge("one") + charge("two"));
    EXPECT_EQ(statistics().totalReceived, 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, setsUpTheEntryFromTheArguments) {
    seconds(7);
    EXPECT_EQ(admission_.add(message("plain"), {false, false, 86400, -1}, false), 0);
    EXPECT_EQ(addTest("test", "Profile"), 0);
    EXPECT_EQ(addPersistent("lasting", 60, 5), 0);

    const OrvCHMesgQEntry& plain = entry(ORV_CH_MESG_Q_SEND, 0);
    EXPECT_EQ(plain.received, uptime());
    EXPECT_TRUE(plain.dupEligible);
    EXPECT_FALSE(plain.open || plain.posting.testMsg || plain.posting.persist);
    EXPECT_EQ(plain.markedForDeletion + plain.duplicatesPending + plain.pendingOps, 0u);
    const OrvCHMesgQEntry& test = entry(ORV_CH_MESG_Q_SEND, 1);
    EXPECT_FALSE(test.dupEligible);
    EXPECT_TRUE(test.posting.testMsg);
    const OrvCHMesgQEntry& lasting = entry(ORV_CH_MESG_Q_SEND, 2);
    EXPECT_FALSE(lasting.dupEligible);
    EXPECT_TRUE(lasting.posting.persist);
    EXPECT_EQ(lasting.posting.persistRepostPeriod, 60u);
    EXPECT_EQ(lasting.posting.expire, 5);
    const OrvCHMesgQStatistics& counted = statistics();
    EXPECT_EQ(counted.totalReceived, 3u);
    EXPECT_EQ(counted.testReceived, 1u);
    EXPECT_EQ(counted.persistentReceived, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, doesNotCountAMessageThatIsProcessedAgain) {
    EXPECT_EQ(admission_.add(message("one"), {false, false, 86400, -1}, true), 0);
    EXPECT_EQ(admission_.add(message("two"), {false, true, 86400, -1}, true), 0);
    EXPECT_EQ(admission_.add(message("three"), {true, false, 86400, -1}, true), 0);
    EXPECT_EQ(statistics().totalReceived, 0u);
    EXPECT_EQ(statistics().persistentReceived, 0u);
    EXPECT_EQ(statistics().testReceived, 0u);
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 3u);
}

TEST_F(OrvCHMesgQAdmissionBefore, aPersistentTestMessageIsRefused) {
    for (const bool isOpen : {false, true}) {
        if (isOpen) {
            lists_.openForBusiness();
        }
        takeTrace();
        takeLog();
        EXPECT_EQ(admission_.add(message("both"), {true, true, 5, 6}, false), -1);
        EXPECT_EQ(takeTrace(), (Texts{"add: testMsg = true, persist = true, persistRepostPeriod = 5, "
                                      "expireCountdown = 6\n",
                                      "add: cannot persist a test message\n"}));
        EXPECT_EQ(takeLog(), (Log{{15, "Unable to persist a test message"}}));
        EXPECT_EQ(spaceInUse(), 0u);
    }
    EXPECT_EQ(statistics().totalReceived, 2u);
    EXPECT_EQ(statistics().testReceived, 2u);
    EXPECT_EQ(statistics().persistentReceived, 2u);
    EXPECT_EQ(statistics().couldNotBeAdded, 2u);
}

TEST_F(OrvCHMesgQAdmissionBefore, everythingIsHeldInMemory) {
    quotas_ = {.spaceAllowed = 1, .filesAllowed = 0};
    takeTrace();
    EXPECT_EQ(add("same"), 0);
    EXPECT_EQ(takeTrace().back(), "addInternal: entry (0) added to the init queue\n" +
                                      fillTable({{1, charge("same")}, {0, 0}, {0, 0}, {0, 0}}));
    EXPECT_EQ(add("same"), 0) << "no duplicate, size or quota check";
    EXPECT_EQ(addTest("test", "Profile"), 0);

    EXPECT_EQ(texts(ORV_CH_MESG_Q_INIT), (Texts{"same", "same", "test"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_INIT), (Ids{0, 0, 0}));
    EXPECT_THAT(files(kSendDir), IsEmpty());
}

TEST_F(OrvCHMesgQAdmissionTest, refusesAMessageLargerThanTheQuotaEvenWhenEmpty) {
    quotas_ = {.spaceAllowed = charge("big") - 1};
    takeTrace();
    EXPECT_EQ(add("big"), -1);
    EXPECT_EQ(takeTrace().back(),
              "add: message too big! (msg->bytesToSave() = " + std::to_string(charge("big") - 164) + ")\n");
    EXPECT_EQ(takeLog(), (Log{{15, "Message is too large"}}));
    EXPECT_EQ(statistics().couldNotBeAdded, 1u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, takesAMessageThatJustFits) {
    quotas_ = {.spaceAllowed = charge("big")};
    EXPECT_EQ(add("big"), 0);
    EXPECT_EQ(spaceInUse(), charge("big"));
}

TEST_F(OrvCHMesgQAdmissionBefore, whatWaitsIsCountedIntoTheSpaceInUse) {
    add("one");
    EXPECT_EQ(spaceInUse(), charge("one"));
}

TEST_F(OrvCHMesgQAdmissionTest, makesRoomFromTheDuplicateQueueFirst) {
    quotas_ = {.spaceAllowed = spaceFor({"one", "two"})};
    park("one");
    add("two");
    takeTrace();
    EXPECT_EQ(add("six"), 0);
    EXPECT_THAT(takeTrace(), Contains("makeRoom: sizeNeeded = " + std::to_string(charge("six")) + "\n"));
    // What was parked is credited with four bytes less than needed: the oldest on the send queue goes, too.
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"six"});
    EXPECT_EQ(statistics().deletedForSpace, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, stopsMakingRoomAsSoonAsThereIsEnough) {
    quotas_ = {.spaceAllowed = spaceFor({"longer", "two", "three"})};
    park("longer");
    add("two");
    add("three");
    EXPECT_EQ(add("x"), 0);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "three", "x"}));
    EXPECT_EQ(statistics().deletedForSpace, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, creditsDiscardedEntriesWithFourBytesLessThanTheirCharge) {
    // Exactly the charge of one entry is missing: two must go.
    quotas_ = {.spaceAllowed = spaceFor({"one", "two", "six"})};
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    EXPECT_EQ(add("ten"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"six", "ten"}));
}

TEST_F(OrvCHMesgQAdmissionTest, fourBytesLessThanAChargeAreFreedByOneEntry) {
    quotas_ = {.spaceAllowed = 3 * charge("one") + 4};
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    EXPECT_EQ(add("ten"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six", "ten"}));
}

TEST_F(OrvCHMesgQAdmissionTest, keepsParkedMessagesThatHaveCountedDuplicates) {
    quotas_ = {.spaceAllowed = spaceFor({"one", "a longer text"})};
    park("one");
    add("one");  // counted
    add("a longer text");
    EXPECT_EQ(add("x"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"x"});
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, marksOpenEntriesForSpaceAndRefusesWhenNothingElseIsLeft) {
    quotas_ = {.spaceAllowed = spaceFor({"one", "two"})};
    add("one");
    add("two");
    openAt(0);
    openAt(1);
    takeTrace();

    EXPECT_EQ(add("six"), -1);

    const std::string size = std::to_string(charge("six"));
    EXPECT_EQ(takeTrace(),
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1\n",
                     "makeRoom: sizeNeeded = " + size + "\n", "makeRoom: currently open, mark it for deletion\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m0\n",
                     "makeRoom: currently open, mark it for deletion\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m1\n",
                     "add: unable to make room\nsize needed = " + size +
                         ", spaceAllowed = " + std::to_string(spaceFor({"one", "two"})) +
                         ", spaceInUse = " + std::to_string(spaceFor({"one", "two"}))}));
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 2u);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m1"), messageFile("two") + stateBlock(0, 2));
    EXPECT_EQ(statistics().couldNotBeAdded, 1u);
    EXPECT_EQ(statistics().deletedForSpace, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, aNewReasonOverwritesAnEarlierMark) {
    quotas_ = {.spaceAllowed = spaceFor({"one"})};
    add("one");
    openAt(0);
    lists_.mark(entry(ORV_CH_MESG_Q_SEND, 0), kOrvMarkedByClear);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 1u);
    EXPECT_EQ(add("six"), -1);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 2u);
}

TEST_F(OrvCHMesgQAdmissionTest, neverTakesRoomFromPersistentMessages) {
    quotas_ = {.spaceAllowed = spaceFor({"one", "a much longer text"})};
    addPersistent("one", 60, -1);
    add("a much longer text");
    EXPECT_EQ(add("shorter"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "shorter"}));
    EXPECT_EQ(addPersistent("y", 60, -1), 0);
    EXPECT_EQ(add("a much longer text"), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "y"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 0u);
}

TEST_F(OrvCHMesgQAdmissionTest, discardedTestMessagesAreReportedAsFailed) {
    quotas_ = {.filesAllowed = 1};
    addTest("test", "Profile");
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 1}}));
    EXPECT_THAT(takeTrace(), Contains("removeInternal: Test Results (Failed) sent for Profile Profile\n"));
}

TEST_F(OrvCHMesgQAdmissionTest, removesTheOldestClosedEntryForANewFile) {
    quotas_ = {.filesAllowed = 2};
    add("one");
    add("two");
    takeTrace();
    EXPECT_EQ(add("six"), 0);
    EXPECT_EQ(takeTrace()[1], "removeOldest: discard first 1 non-open msg(s) from send queue to reduce file count\n");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{1, 2}));
    EXPECT_EQ(statistics().deletedForFileLimit, 1u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, openEntriesDoNotCountAsFilesButAreMarkedOnTheWay) {
    quotas_ = {.filesAllowed = 2};
    add("one");
    add("two");
    openAt(0);
    EXPECT_EQ(add("three"), 0) << "one open, one closed";
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two", "three"}));
    EXPECT_EQ(add("four"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "three", "four"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 3u);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one") + stateBlock(0, 3));
}

TEST_F(OrvCHMesgQAdmissionTest, refusesWhenOnlyPersistentFilesAreLeft) {
    quotas_ = {.filesAllowed = 1};
    addPersistent("one", 60, -1);
    takeTrace();
    EXPECT_EQ(add("two"), -1);
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsendQueue.count = 1, filesAllowed = 1");
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_EQ(statistics().couldNotBeAdded, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, aQuotaOfNoFilesRefusesEverything) {
    quotas_ = {.filesAllowed = 0};
    for (int i = 0; i < 2; ++i) {
        takeTrace();
        EXPECT_EQ(add("one"), -1);
        EXPECT_EQ(takeTrace()[1],
                  "removeOldest: discard first 1 non-open msg(s) from send queue to reduce file count\n");
        EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    }
    EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 0u);
}

TEST_F(OrvCHMesgQAdmissionTest, roomMadeForSpaceIsNotGivenBackWhenTheFileCheckFails) {
    quotas_ = {.spaceAllowed = spaceFor({"lasting", "ordinary"}), .filesAllowed = 1};
    addPersistent("lasting", 60, -1);
    quotas_ = {.spaceAllowed = spaceFor({"lasting", "ordinary"}), .filesAllowed = 2};
    add("ordinary");
    quotas_ = {.spaceAllowed = spaceFor({"lasting", "ordinary"}), .filesAllowed = 1};
    takeLog();
    EXPECT_EQ(add("x"), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
}

TEST_F(OrvCHMesgQAdmissionTest, withoutQuotasTheSumsDoNotWrap) {
    quotas_ = {.spaceAllowed = UINT32_MAX, .filesAllowed = UINT32_MAX};
    constexpr std::int32_t kHuge = INT32_MAX;
    constexpr std::uint32_t kCharge = kHuge + 164u;  // two of them pass 32 bits
    for (const char* sequence : {"1", "2"}) {
        auto capture = std::make_unique<OrvCHMesg>(OrvCHMesg::kCronCapture);
        capture->cronCapture()->Sequence = sequence;
        capture->cronCapture()->AttachmentBytes = kHuge;
        takeTrace();
        EXPECT_EQ(post(std::move(capture), {}), 0);
    }
    EXPECT_EQ(takeTrace()[1], "makeRoom: sizeNeeded = 327\n");
    ASSERT_EQ(list(ORV_CH_MESG_Q_SEND).count(), 1u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).message->cronCapture()->Sequence, "2");
    EXPECT_EQ(spaceInUse(), kCharge);
    EXPECT_EQ(statistics().deletedForSpace, 1u);
}

}  // namespace
