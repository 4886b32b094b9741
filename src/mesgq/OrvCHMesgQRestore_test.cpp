#include "testing/mesgq/MesgQRestoreTest.h"
#include "uptime.h"

#include <sys/stat.h>

#include <bit>
#include <cstring>

namespace {

using testing::Contains;
using testing::IsEmpty;

class OrvCHMesgQRestoreTest : public MesgQRestoreTest {};

TEST_F(OrvCHMesgQRestoreTest, firstStartFindsNothing) {
    start();
    EXPECT_TRUE(isOpenForBusiness());
    EXPECT_EQ(takeLog(),
              (Log{cannotOpenOrder(kDuplicateDir), cannotOpenOrder(kSendDir), cannotOpenOrder(kPersistDir)}));
    const auto queueTrace = [](const std::string& name, const char* directory) {
        return Texts{"reconstituteQueue: queue type = " + name + "\n",
                     std::string("reconstituteQueue: unable to open file ") + directory + "/order\n",
                     "reconstituteQueueTheHardWay: queue type = " + name + "\n"};
    };
    Texts expected = {"init: Entry\n",
                      "readPersistentData: Entry\n",
                      "stageAttachments: Entry\n",
                      std::string("cleanDir: Entry: ") + kStage + "/\n",
                      std::string("linkDirEntries: Entry: from ") + kAttachments + "/ to " + kStage + "/\n",
                      std::string("cleanDir: Entry: ") + kAttachments + "/\n"};
    for (const auto& [name, directory] : {std::pair<std::string, const char*>{"duplicate", kDuplicateDir},
                                          {"send", kSendDir},
                                          {"persist", kPersistDir}}) {
        const Texts lines = queueTrace(name, directory);
        expected.insert(expected.end(), lines.begin(), lines.end());
    }
    for (const std::string& line :
         Texts{"cleanAttachments: Entry\n", std::string("cleanDir: Entry: ") + kStage + "/\n",
               "flushDuplicateQueue: Entry\n", "processInitQueue: Entry\n", "init: init queue processed\n"}) {
        expected.push_back(line);
    }
    EXPECT_EQ(takeTrace(), expected);
    for (std::uint32_t type = 1; type < 4; ++type) {
        EXPECT_FALSE(list(static_cast<ORV_CH_MESG_Q_TYPE>(type)).ordered());
    }
    EXPECT_FALSE(switch_.root().exists(kListing));
    EXPECT_EQ(switch_.root().read(kAttachmentState), wordsToBytes({1}));
    EXPECT_FALSE(switch_.root().exists(kStage));
}

TEST_F(OrvCHMesgQRestoreTest, restoresNewestFirstUnderTheNumbersOfTheFiles) {
    sendFile("m7", "oldest");
    sendFile("m0", "middle");
    sendFile("m3", "newest");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"newest", "middle", "oldest"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{3, 0, 7}));
    EXPECT_EQ(statistics().reconstituted, 3u);
    EXPECT_EQ(statistics().totalReceived, 0u);
    add("next");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{3, 0, 7, 8})) << "numbered on from the tail";
    EXPECT_EQ(parts_->sending.peekOpen()->Text, "newest") << "the head is mailed first";
    checkConsistency();
}

TEST_F(OrvCHMesgQRestoreTest, nextNumberSkipsWhatIsTaken) {
    sendFile("m1", "tail");
    sendFile("m2", "middle");
    sendFile("m3", "head");
    start();
    ASSERT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{3, 2, 1}));
    add("next");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{3, 2, 1, 4}));
}

TEST_F(OrvCHMesgQRestoreTest, survivesARestartWithTheSameCharges) {
    open();
    add("one");
    addPersistent("two", 60, 5);
    const std::uint32_t space = spaceInUse();
    restart();
    EXPECT_EQ(spaceInUse(), 0u);
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), testing::UnorderedElementsAre("one", "two"));
    EXPECT_EQ(spaceInUse(), space);
    checkConsistency();
}

TEST_F(OrvCHMesgQRestoreTest, anOrderFileWithACountNeverSuppliesTheOrder) {
    sendFile("m0", "older");
    sendFile("m1", "newer");
    const std::string order = wordsToBytes({2, 0, 1});
    file(std::string(kSendDir) + "/order", order);
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"newer", "older"}));
    EXPECT_FALSE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_EQ(takeLog(), (Log{cannotOpenOrder(kDuplicateDir),
                              {16, std::string("Unable to read 'count' field from file ") + kSendDir + "/order"},
                              cannotOpenOrder(kPersistDir)}));
    EXPECT_THAT(takeTrace(), Contains("reconstituteQueue: unable to read 'count' field from the order file\n"));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/order"), order) << "nothing is written back";
}

TEST_F(OrvCHMesgQRestoreTest, anEmptyOrderFileHidesEveryMessageOfItsQueue) {
    sendFile("m0", "hidden");
    file(std::string(kSendDir) + "/order", "");
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_TRUE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_EQ(takeLog(), (Log{cannotOpenOrder(kDuplicateDir), cannotOpenOrder(kPersistDir)}));
    EXPECT_TRUE(switch_.root().exists(std::string(kSendDir) + "/m0")) << "the file stays";
}

TEST_F(OrvCHMesgQRestoreTest, anEmptiedQueueLeavesAnOrderFileWithACountThatHidesNothing) {
    open();
    add("one");
    add("two");
    while (OrvCHMesg* const next = parts_->sending.peekOpen()) {
        ASSERT_EQ(parts_->sending.peekDelete(next, kOrvPassed), 0);
    }
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/order").size(), 4u);
    restart();
    start();
    EXPECT_THAT(takeLog(), Contains(std::pair<int, std::string>(
                               16, std::string("Unable to read 'count' field from file ") + kSendDir + "/order")));
}

TEST_F(OrvCHMesgQRestoreTest, anOrderFileCutInsideItsCountHidesNothing) {
    sendFile("m0", "one");
    // Any byte of a count other than 0 is a number of entries that the file does not hold.
    file(std::string(kSendDir) + "/order", std::string("\1\0\0", 3));
    start(UINT32_MAX);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_FALSE(list(ORV_CH_MESG_Q_SEND).ordered());
}

TEST_F(OrvCHMesgQRestoreTest, aCutCountAboveTheFileQuotaIsReportedAndRebuiltFromTheDirectory) {
    sendFile("m0", "one");
    file(std::string(kSendDir) + "/order", "\7\7\7");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_THAT(takeLog(),
                Contains(std::pair<int, std::string>(16, "Unable reduce message count to allowed number: 100")));
    std::uint32_t count = 0;
    std::memcpy(&count, "\7\7\7", 3);
    EXPECT_THAT(takeTrace(), Contains("reconstituteQueue: unable to make room\ncount = " + std::to_string(count) +
                                      ", filesAllowed = 100"));
}

// 256 entries, whichever way round the word is read.
const std::string kCut256 =
    std::endian::native == std::endian::big ? std::string("\0\0\1", 3) : std::string("\0\1\0", 3);

TEST_F(OrvCHMesgQRestoreTest, aCutCountAboveTheFileQuotaTakesItsRoomFromTheSendQueueAsItStands) {
    sendFile("m0", "older");
    sendFile("m1", "newer");
    file(std::string(kPersistDir) + "/m0", messageFile("resting"));
    file(std::string(kPersistDir) + "/order", kCut256);
    start(255);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"older"}) << "the head of the rebuilt queue went";
    EXPECT_EQ(statistics().deletedForFileLimit, 1u);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"resting"});
    EXPECT_EQ(takeLog(), (Log{cannotOpenOrder(kDuplicateDir),
                              cannotOpenOrder(kSendDir),
                              {16, std::string("Unable to read uniqueId field from file ") + kPersistDir + "/order"}}));
}

TEST_F(OrvCHMesgQRestoreTest, anInterruptedStartIsFinishedFromTheStage) {
    switch_.root().write(kAttachmentState, wordsToBytes({0}));
    switch_.root().write(std::string(kStage) + "/staged.7", "x");
    switch_.root().write(std::string(kAttachments) + "/half.7", "x");
    sendFile("m0", "one");
    start();
    const Texts traced = takeTrace();
    EXPECT_EQ(
        Texts(traced.begin(), traced.begin() + 5),
        (Texts{"init: Entry\n", "readPersistentData: Entry\n", "stageAttachments: Entry\n",
               std::string("cleanDir: Entry: ") + kAttachments + "/\n", "reconstituteQueue: queue type = duplicate\n"}))
        << "the stage is left as it is until the messages are restored";
    EXPECT_THAT(files(kAttachments), IsEmpty());
    EXPECT_FALSE(switch_.root().exists(kStage));
    EXPECT_EQ(switch_.root().read(kAttachmentState), wordsToBytes({1}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQRestoreTest, restoredEntriesTakeTheDefaults) {
    file(std::string(kSendDir) + "/m0", messageFile("one") + stateBlock(3, 2, "true", 60, 5));
    seconds(50);
    start();
    const OrvCHMesgQEntry& restored = entry(ORV_CH_MESG_Q_SEND, 0);
    EXPECT_EQ(restored.duplicatesPending, 0u);
    EXPECT_EQ(restored.markedForDeletion, 0u);
    EXPECT_FALSE(restored.posting.persist);
    EXPECT_FALSE(restored.posting.testMsg);
    EXPECT_EQ(restored.posting.persistRepostPeriod, 86400u);
    EXPECT_EQ(restored.posting.expire, -1);
    EXPECT_EQ(restored.received, uptime());
    EXPECT_FALSE(restored.dupEligible) << "the flush at the end of the restore";
}

TEST_F(OrvCHMesgQRestoreTest, aRecognisedStateBlockIsTaken) {
    const std::string tag("<OrvCHMesgQ>\0\n", 14);
    file(std::string(kSendDir) + "/m0",
         messageFile("one") + tag +
             "duplicatesPending = 3\npersist = true\npersistRepostPeriod = 60\nmarkedForDeletion = 2\nexpire = 5\n");
    start();
    const OrvCHMesgQEntry& restored = entry(ORV_CH_MESG_Q_SEND, 0);
    EXPECT_EQ(restored.duplicatesPending, 3u);
    EXPECT_EQ(restored.markedForDeletion, 2u);
    EXPECT_TRUE(restored.posting.persist);
    EXPECT_EQ(restored.posting.persistRepostPeriod, 60u);
    EXPECT_EQ(restored.posting.expire, 5);
}

TEST_F(OrvCHMesgQRestoreTest, restoresThePersistQueueAsOrdinaryMessages) {
    file(std::string(kPersistDir) + "/m4", messageFile("lasting") + stateBlock(0, 0, "true", 60, 5));
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(ids(ORV_CH_MESG_Q_PERSIST), (Ids{4}));
    EXPECT_TRUE(entry(ORV_CH_MESG_Q_PERSIST, 0).dupEligible) << "the flush clears the send queue only";
    seconds(86401);
    parts_->housekeeping.oneSecondChores();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    add("lasting");
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 1u);
}

TEST_F(OrvCHMesgQRestoreTest, parkedMessagesWithDuplicatesAreMailedAgainAndTheirFilesFollow) {
    file(std::string(kDuplicateDir) + "/m0", messageFile("counted", 4, "some time") + stateBlock());
    file(std::string(kDuplicateDir) + "/order", wordsToBytes({1, 0}));
    sendFile("m0", "waiting");
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"waiting", "counted"}));
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0, 1}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).message->DuplicateCount, 4);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m1"),
              messageFile("counted", 4, "some time") + stateBlock());
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/order"), wordsToBytes({2, 0, 1}));
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/order"), wordsToBytes({0}));
    checkConsistency();
}

TEST_F(OrvCHMesgQRestoreTest, onlyTheFilesOfMovedMessagesAreWritten) {
    sendFile("m0", "waiting");
    struct stat before = {};
    ASSERT_EQ(::stat(switch_.root().at(std::string(kSendDir) + "/m0").c_str(), &before), 0);
    start();
    struct stat after = {};
    ASSERT_EQ(::stat(switch_.root().at(std::string(kSendDir) + "/m0").c_str(), &after), 0);
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_FALSE(switch_.root().exists(std::string(kSendDir) + "/order"));
}

TEST_F(OrvCHMesgQRestoreTest, parkedMessagesWithoutDuplicatesAreDroppedButTheirFilesStay) {
    file(std::string(kDuplicateDir) + "/m0", messageFile("silent", 0) + stateBlock());
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_EQ(statistics().reconstituted, 1u);
    EXPECT_TRUE(switch_.root().exists(std::string(kDuplicateDir) + "/m0"));
}

TEST_F(OrvCHMesgQRestoreTest, drainsTheInitQueueBehindTheRestoredMessages) {
    sendFile("m5", "restored");
    add("early");
    add("early");
    addTest("test", "Profile");
    addPersistent("lasting", 60, 5);
    seconds(30);
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"restored", "early", "test", "lasting"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).duplicatesPending, 1u) << "checked now";
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).received, uptime());
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{5, 6, 7, 8}));
    EXPECT_TRUE(entry(ORV_CH_MESG_Q_SEND, 2).posting.testMsg);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 3).posting.persistRepostPeriod, 60u);
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 3).posting.expire, 5);
    EXPECT_EQ(list(ORV_CH_MESG_Q_INIT).count(), 0u);
    EXPECT_EQ(statistics().totalReceived, 4u) << "counted once";
    EXPECT_EQ(statistics().duplicateReceived, 1u);
    EXPECT_TRUE(switch_.root().exists(std::string(kSendDir) + "/m6"));
    checkConsistency();
}

TEST_F(OrvCHMesgQRestoreTest, refusesInitQueueMessagesThatDoNotFit) {
    add("one");
    add("two");
    start(0);
    EXPECT_EQ(statistics().couldNotBeAdded, 2u);
    EXPECT_EQ(spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQRestoreTest, theFillTableShowsTheInitQueueWhileItIsDrained) {
    sendFile("m5", "restored");
    file(std::string(kPersistDir) + "/m2", messageFile("resting"));
    add("early");
    add("late");
    start();
    const Texts traced = traceOf("removeInternal");
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[0], "removeInternal: entry (0) removed from the init queue\n" +
                             fillTable({{1, charge("late")}, {1, charge("restored")}, {0, 0}, {1, charge("resting")}}));
    EXPECT_EQ(traced[1],
              "removeInternal: entry (0) removed from the init queue\n" +
                  fillTable({{0, 0}, {2, charge("restored") + charge("early")}, {0, 0}, {1, charge("resting")}}));
}

}  // namespace
