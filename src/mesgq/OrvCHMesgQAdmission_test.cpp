#include "MessageCodes.h"
#include "testing/mesgq/MesgQTest.h"
#include "uptime.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class OrvCHMesgQAdmissionTest : public MesgQTest {
protected:
    // The quota that just holds messages with these texts.
    static std::string spaceFor(const std::vector<std::string>& texts) {
        std::uint32_t sum = 0;
        for (const std::string& text : texts) {
            sum += charge(text);
        }
        return std::to_string(sum);
    }
    std::string table(const char* verb, unsigned id, const char* queue,
                      const std::vector<std::pair<unsigned, unsigned>>& fill) {
        std::string text = "entry (" + std::to_string(id) + ") " + verb + " the " + queue +
                           " queue\n  Queue             Count  Space Used\n";
        const char* const kLabels[] = {"    init       ", "    send       ", "    duplicate  ", "    persist    ",
                                       "  Total        "};
        for (std::size_t i = 0; i < 5; ++i) {
            char line[64];
            std::snprintf(line, sizeof line, "%s%10u  %10u\n", kLabels[i], fill[i].first, fill[i].second);
            text += line;
        }
        return text;
    }
};

TEST_F(OrvCHMesgQAdmissionTest, isEmptyAndClosedAtFirst) {
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

using OrvCHMesgQDeathTest = OrvCHMesgQAdmissionTest;

TEST_F(OrvCHMesgQDeathTest, aQueueOfUnknownTypeStopsTheProcess) {
    EXPECT_DEATH(queue_->ToQueuePtr(static_cast<ORV_CH_MESG_Q_TYPE>(4)), "type < kOrvQueueTypes");
}

TEST_F(OrvCHMesgQAdmissionTest, removeIsAStub) {
    open();
    add("one");
    takeTrace();
    EXPECT_EQ(queue_->remove(entry(ORV_CH_MESG_Q_SEND, 0).message.get()), -1);
    EXPECT_EQ(takeTrace(), Texts{"remove: Entry\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQAdmissionTest, removesByMessage) {
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

TEST_F(OrvCHMesgQAdmissionTest, keepsMessagesInOrderOnTheSendQueue) {
    open();
    takeTrace();
    const std::uint32_t size = charge("one");
    EXPECT_EQ(add("one"), 0);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced,
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, "
                     "expireCountdown = -1\n",
                     "addInternal: " + table("added to", 0, "send", {{0, 0}, {1, size}, {0, 0}, {0, 0}, {1, size}}),
                     std::string("saveEntryToFile: file=") + kSendDir + "/m0\n"}));
    EXPECT_EQ(add("two"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0, 1}));
    EXPECT_EQ(queue_->spaceInUse(), charge("one") + charge("two"));
    EXPECT_EQ(queue_->statistics().totalReceived, 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, setsUpTheEntryFromTheArguments) {
    open();
    seconds(7);
    EXPECT_EQ(queue_->add(message("plain"), false, false, 86400, -1, false), 0);
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
    const OrvCHMesgQStatistics& statistics = queue_->statistics();
    EXPECT_EQ(statistics.totalReceived, 3u);
    EXPECT_EQ(statistics.testReceived, 1u);
    EXPECT_EQ(statistics.persistentReceived, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, doesNotCountAMessageThatIsProcessedAgain) {
    open();
    EXPECT_EQ(queue_->add(message("one"), false, false, 86400, -1, true), 0);
    EXPECT_EQ(queue_->add(message("two"), false, true, 86400, -1, true), 0);
    EXPECT_EQ(queue_->add(message("three"), true, false, 86400, -1, true), 0);
    EXPECT_EQ(queue_->statistics().totalReceived, 0u);
    EXPECT_EQ(queue_->statistics().persistentReceived, 0u);
    EXPECT_EQ(queue_->statistics().testReceived, 0u);
    EXPECT_EQ(queue_->sendCount(), 3u);
}

TEST_F(OrvCHMesgQAdmissionTest, refusesAPersistentTestMessage) {
    for (const bool isOpen : {false, true}) {
        if (isOpen) {
            open();
        }
        takeTrace();
        takeLog();
        EXPECT_EQ(queue_->add(message("both"), true, true, 5, 6, false), -1);
        EXPECT_EQ(takeTrace(), (Texts{"add: testMsg = true, persist = true, persistRepostPeriod = 5, "
                                      "expireCountdown = 6\n",
                                      "add: cannot persist a test message\n"}));
        EXPECT_EQ(takeLog(), (Log{{15, "Unable to persist a test message"}}));
        EXPECT_EQ(queue_->spaceInUse(), 0u);
    }
    EXPECT_EQ(queue_->statistics().totalReceived, 2u);
    EXPECT_EQ(queue_->statistics().testReceived, 2u);
    EXPECT_EQ(queue_->statistics().persistentReceived, 2u);
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 2u);
}

TEST_F(OrvCHMesgQAdmissionTest, holdsEverythingInMemoryUntilItIsOpen) {
    configure({{"FileSystemSpaceAllowed", "1"}, {"FilesAllowed", "0"}});
    takeTrace();
    EXPECT_EQ(add("same"), 0);
    EXPECT_EQ(takeTrace().back(),
              "addInternal: " +
                  table("added to", 0, "init", {{1, charge("same")}, {0, 0}, {0, 0}, {0, 0}, {1, charge("same")}}));
    EXPECT_EQ(add("same"), 0) << "no duplicate, size or quota check";
    EXPECT_EQ(addTest("test", "Profile"), 0);

    EXPECT_EQ(texts(ORV_CH_MESG_Q_INIT), (Texts{"same", "same", "test"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_INIT), (Ids{0, 0, 0}));
    EXPECT_THAT(files(kSendDir), IsEmpty());
    EXPECT_EQ(queue_->peekOpen(), nullptr);
}

TEST_F(OrvCHMesgQAdmissionTest, chargesStayTheSameWhenTheMessageGrows) {
    open();
    add("one");
    entry(ORV_CH_MESG_Q_SEND, 0).message->Envelopes.clear();
    entry(ORV_CH_MESG_Q_SEND, 0).message->addEnvelope(std::make_unique<OrvCHEnvelope>());
    mailNext();
    chores(17);
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQAdmissionTest, refusesAMessageLargerThanTheQuotaEvenWhenEmpty) {
    open({{"FileSystemSpaceAllowed", std::to_string(charge("big") - 1)}});
    takeTrace();
    EXPECT_EQ(add("big"), -1);
    EXPECT_EQ(takeTrace().back(),
              "add: message too big! (msg->bytesToSave() = " + std::to_string(charge("big") - 164) + ")\n");
    EXPECT_EQ(takeLog(), (Log{{15, "Message is too large"}}));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, takesAMessageThatJustFits) {
    open({{"FileSystemSpaceAllowed", std::to_string(charge("big"))}});
    EXPECT_EQ(add("big"), 0);
    EXPECT_EQ(queue_->spaceInUse(), charge("big"));
}

TEST_F(OrvCHMesgQAdmissionTest, countsTheInitQueueIntoTheSpaceInUse) {
    add("one");
    EXPECT_EQ(queue_->spaceInUse(), charge("one"));
}

TEST_F(OrvCHMesgQAdmissionTest, makesRoomFromTheDuplicateQueueFirst) {
    open({{"FileSystemSpaceAllowed", spaceFor({"one", "two"})}});
    park("one");
    add("two");
    takeTrace();
    EXPECT_EQ(add("six"), 0);
    EXPECT_THAT(takeTrace(), Contains("makeRoom: sizeNeeded = " + std::to_string(charge("six")) + "\n"));
    // What was parked is credited with four bytes less than needed: the oldest on the send queue goes, too.
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"six"});
    EXPECT_EQ(queue_->statistics().deletedForSpace, 2u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, stopsMakingRoomAsSoonAsThereIsEnough) {
    open({{"FileSystemSpaceAllowed", spaceFor({"longer", "two", "three"})}});
    park("longer");
    add("two");
    add("three");
    EXPECT_EQ(add("x"), 0);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "three", "x"}));
    EXPECT_EQ(queue_->statistics().deletedForSpace, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, creditsDiscardedEntriesWithFourBytesLessThanTheirCharge) {
    // Exactly the charge of one entry is missing: two must go.
    open({{"FileSystemSpaceAllowed", spaceFor({"one", "two", "six"})}});
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    EXPECT_EQ(add("ten"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"six", "ten"}));
}

TEST_F(OrvCHMesgQAdmissionTest, fourBytesLessThanAChargeAreFreedByOneEntry) {
    open({{"FileSystemSpaceAllowed", std::to_string(3 * charge("one") + 4)}});
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    EXPECT_EQ(add("ten"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six", "ten"}));
}

TEST_F(OrvCHMesgQAdmissionTest, keepsParkedMessagesThatHaveCountedDuplicates) {
    open({{"FileSystemSpaceAllowed", spaceFor({"one", "a longer text"})}});
    park("one");
    add("one");  // counted
    add("a longer text");
    EXPECT_EQ(add("x"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"x"});
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, marksOpenEntriesForSpaceAndRefusesWhenNothingElseIsLeft) {
    open({{"FileSystemSpaceAllowed", spaceFor({"one", "two"})}});
    add("one");
    add("two");
    queue_->peekOpen();
    queue_->peekOpen();
    takeTrace();

    EXPECT_EQ(add("six"), -1);

    const std::string size = std::to_string(charge("six"));
    EXPECT_EQ(takeTrace(),
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1\n",
                     "makeRoom: sizeNeeded = " + size + "\n", "makeRoom: currently open, mark it for deletion\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m0\n",
                     "makeRoom: currently open, mark it for deletion\n",
                     std::string("saveEntryToFile: file=") + kSendDir + "/m1\n",
                     "add: unable to make room\nsize needed = " + size + ", spaceAllowed = " +
                         spaceFor({"one", "two"}) + ", spaceInUse = " + spaceFor({"one", "two"})}));
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 2u);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m1"), messageFile("two") + stateBlock(0, 2));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, aNewReasonOverwritesAnEarlierMark) {
    open({{"FileSystemSpaceAllowed", spaceFor({"one"})}});
    add("one");
    queue_->peekOpen();
    queue_->clearQueue();
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 1u);
    EXPECT_EQ(add("six"), -1);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 2u);
}

TEST_F(OrvCHMesgQAdmissionTest, neverTakesRoomFromPersistentMessages) {
    open({{"FileSystemSpaceAllowed", spaceFor({"one", "a much longer text"})}});
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
    open({{"FilesAllowed", "1"}});
    addTest("test", "Profile");
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Profile", 1}}));
    EXPECT_THAT(takeTrace(), Contains("removeInternal: Test Results (Failed) sent for Profile Profile\n"));
}

TEST_F(OrvCHMesgQAdmissionTest, removesTheOldestClosedEntryForANewFile) {
    open({{"FilesAllowed", "2"}});
    add("one");
    add("two");
    takeTrace();
    EXPECT_EQ(add("six"), 0);
    EXPECT_EQ(takeTrace()[1], "removeOldest: discard first 1 non-open msg(s) from send queue to reduce file count\n");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{1, 2}));
    EXPECT_EQ(queue_->statistics().deletedForFileLimit, 1u);
    EXPECT_THAT(takeLog(), IsEmpty());
    checkConsistency();
}

TEST_F(OrvCHMesgQAdmissionTest, openEntriesDoNotCountAsFilesButAreMarkedOnTheWay) {
    open({{"FilesAllowed", "2"}});
    add("one");
    add("two");
    queue_->peekOpen();
    EXPECT_EQ(add("three"), 0) << "one open, one closed";
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two", "three"}));
    EXPECT_EQ(add("four"), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "three", "four"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 3u);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one") + stateBlock(0, 3));
}

TEST_F(OrvCHMesgQAdmissionTest, refusesWhenOnlyPersistentFilesAreLeft) {
    open({{"FilesAllowed", "1"}});
    addPersistent("one", 60, -1);
    takeTrace();
    EXPECT_EQ(add("two"), -1);
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsendQueue.count = 1, filesAllowed = 1");
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, aQuotaOfNoFilesRefusesEverything) {
    open({{"FilesAllowed", "0"}});
    for (int i = 0; i < 2; ++i) {
        takeTrace();
        EXPECT_EQ(add("one"), -1);
        EXPECT_EQ(takeTrace()[1],
                  "removeOldest: discard first 1 non-open msg(s) from send queue to reduce file count\n");
        EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    }
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQAdmissionTest, roomMadeForSpaceIsNotGivenBackWhenTheFileCheckFails) {
    open({{"FileSystemSpaceAllowed", spaceFor({"lasting", "ordinary"})}, {"FilesAllowed", "1"}});
    addPersistent("lasting", 60, -1);
    configure({{"FileSystemSpaceAllowed", spaceFor({"lasting", "ordinary"})}, {"FilesAllowed", "2"}});
    add("ordinary");
    configure({{"FileSystemSpaceAllowed", spaceFor({"lasting", "ordinary"})}, {"FilesAllowed", "1"}});
    takeLog();
    EXPECT_EQ(add("x"), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
}

TEST_F(OrvCHMesgQAdmissionTest, withoutQuotasTheSumsDoNotWrap) {
    open({{"FileSystemSpaceAllowed", "4294967295"}, {"FilesAllowed", "4294967295"}});
    constexpr std::int32_t kHuge = INT32_MAX;
    constexpr std::uint32_t kCharge = kHuge + 164u;  // two of them pass 32 bits
    for (const char* sequence : {"1", "2"}) {
        auto capture = std::make_unique<OrvCHMesg>(OrvCHMesg::kCronCapture);
        capture->cronCapture()->Sequence = sequence;
        capture->cronCapture()->AttachmentBytes = kHuge;
        takeTrace();
        EXPECT_EQ(queue_->add(std::move(capture), false, false, 86400, -1, false), 0);
    }
    EXPECT_EQ(takeTrace()[1], "makeRoom: sizeNeeded = 327\n");
    ASSERT_EQ(queue_->sendCount(), 1u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).message->cronCapture()->Sequence, "2");
    EXPECT_EQ(queue_->spaceInUse(), kCharge);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 1u);
}

TEST_F(OrvCHMesgQAdmissionTest, reportsATestResultThatCannotBeSent) {
    open();
    addTest("test", "Profile");
    switch_.bus().refuse(LoopbackBus::messages(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS), 1);
    takeTrace();
    mailNext(0);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced[traced.size() - 2], "removeInternal: Test Results (Passed) sent for Profile Profile\n");
    EXPECT_EQ(traced.back(), "removeInternal: error returned from CH_TestProfileResults\n");
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to send test profile results"}}));
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQAdmissionTest, tellsTestProfilesTheResultInWords) {
    open();
    const std::pair<int, std::string> kResults[] = {
        {0, "Passed"}, {1, "Failed"}, {2, "Cleared"}, {3, "???"}, {-1, "???"}};
    for (const auto& [result, word] : kResults) {
        addTest("test", "Profile");
        takeTrace();
        mailNext(result);
        EXPECT_EQ(takeTrace().back(), "removeInternal: Test Results (" + word + ") sent for Profile Profile\n");
        EXPECT_THAT(takeTestResults(),
                    ElementsAre(std::pair<std::string, std::uint32_t>("Profile", static_cast<std::uint32_t>(result))));
    }
}

}  // namespace
