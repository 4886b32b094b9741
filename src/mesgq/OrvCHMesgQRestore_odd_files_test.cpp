// The restore from files and directories that are not as the queue left them.
#include "platform/posix/HostRoot.h"
#include "testing/mesgq/MesgQRestoreTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

using testing::Contains;
using testing::IsEmpty;

class OrvCHMesgQOddFilesTest : public MesgQRestoreTest {
protected:
    void sendBytes(std::size_t number, const std::string& bytes) {
        file(std::string(kSendDir) + "/m" + std::to_string(number), bytes);
    }
};

TEST_F(OrvCHMesgQOddFilesTest, skipsAFileThatCannotBeRestoredAndLeavesIt) {
    file(std::string(kSendDir) + "/m0", "<OrvCHMesg>\n");
    sendFile("m1", "good");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"good"});
    const std::string path = std::string(kSendDir) + "/m0";
    EXPECT_THAT(takeLog(),
                Contains(std::pair<int, std::string>(16, "Error restoring message from " + path + ", ignoring")));
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteMsgFromFile: Problem restoring msg 0 from file " + path + ", ignoring\n"));
    EXPECT_EQ(switch_.root().read(path), "<OrvCHMesg>\n");
    EXPECT_EQ(statistics().reconstituted, 1u);
}

TEST_F(OrvCHMesgQOddFilesTest, aNumberOfAnOrphanIsNotReserved) {
    file(std::string(kSendDir) + "/m0", "no message");
    start();
    add("one");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0}));
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one") + stateBlock());
}

TEST_F(OrvCHMesgQOddFilesTest, aNameWithoutNumberIsTriedAsNumberZero) {
    sendFile("mabc", "lost");
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_THAT(takeLog(), Contains(std::pair<int, std::string>(
                               16, std::string("Error restoring message from ") + kSendDir + "/m0, ignoring")));
    restart();
    sendFile("m0", "number zero");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"number zero"});
}

TEST_F(OrvCHMesgQOddFilesTest, aNumberTwiceIsIgnored) {
    sendFile("mabc", "lost");
    sendFile("m0", "number zero");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"number zero"});
    EXPECT_EQ(statistics().reconstituted, 1u);
    const Log log = takeLog();
    EXPECT_THAT(log, Contains(std::pair<int, std::string>(15, "Duplicate uniqueId, ignored")));
    EXPECT_THAT(log, Contains(std::pair<int, std::string>(
                         16, std::string("Unable to add message from file ") + kSendDir + "/m0 to queue")));
    const Texts traced = takeTrace();
    EXPECT_THAT(traced, Contains("addInternal: duplicate uniqueId, ignored\n"));
    EXPECT_THAT(traced, Contains("reconstituteMsgFromFile: unable to add msg 0, ignoring\n"));
    EXPECT_TRUE(switch_.root().exists(std::string(kSendDir) + "/m0"));
    checkConsistency(false);
}

TEST_F(OrvCHMesgQOddFilesTest, namesThatAreTooLongComeInPieces) {
    struct Row {
        const char* name;
        Log log;
    };
    const std::string zero = std::string("Error restoring message from ") + kSendDir + "/m0, ignoring";
    const std::string noFile = std::string("File ") + kSendDir + "/m0 is empty, ignoring";
    const Row kRows[] = {
        // Eleven characters fill the line; its line feed is a line of its own.
        {"m4294967296", {{16, "Invalid file name m4294967296, skipping"}, {15, noFile}, {16, zero}}},
        // The second piece loses its first character.
        {"m99999999999", {{16, "Invalid file name m9999999999, skipping"}, {15, noFile}, {16, zero}}},
    };
    for (const Row& row : kRows) {
        const std::string path = std::string(kSendDir) + "/" + row.name;
        file(path, messageFile("lost"));
        restart();
        start();
        Log expected = {cannotOpenOrder(kDuplicateDir), cannotOpenOrder(kSendDir)};
        expected.insert(expected.end(), row.log.begin(), row.log.end());
        expected.push_back(cannotOpenOrder(kPersistDir));
        EXPECT_EQ(takeLog(), expected) << row.name;
        EXPECT_THAT(takeTrace(), Contains("reconstituteQueueTheHardWay: skipping file " +
                                          std::string(row.name).substr(0, 11) + ", invalid file name\n"));
        ::unlink(switch_.root().at(path).c_str());
    }
}

TEST_F(OrvCHMesgQOddFilesTest, theSecondPieceOfALongNameIsANumberWithoutItsFirstCharacter) {
    file(std::string(kSendDir) + "/m0000000000x5", messageFile("lost"));
    sendFile("m5", "found by its own name");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"found by its own name"});
    EXPECT_THAT(takeTrace(), Contains("reconstituteMsgFromFile: unable to add msg 5, ignoring\n"));
}

TEST_F(OrvCHMesgQOddFilesTest, theLargestNumberIsNegativeInItsName) {
    sendFile("m-1", "found");
    start();
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{4294967295u}));
    add("next");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{4294967295u, 0}));
}

TEST_F(OrvCHMesgQOddFilesTest, otherFilesAndDirectoriesAreLeftAlone) {
    switch_.root().write(std::string(kSendDir) + "/m3/inside", "x");
    switch_.root().write(std::string(kSendDir) + "/notes", messageFile("no"));
    sendFile("m1", "good");
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"good"});
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/notes"), messageFile("no"));
}

// All of them side by side: none keeps another one from being restored.
TEST_F(OrvCHMesgQOddFilesTest, filesOfAnyBytesAreSkippedWithoutHarm) {
    const std::string message = messageFile("cut");
    const std::string whole = message + stateBlock(3, 2);
    std::size_t complete = 0;
    std::size_t number = 0;
    for (std::size_t length = 0; length < whole.size(); length += 7) {
        sendBytes(number++, whole.substr(0, length));
        complete += length >= message.size() - 1;
    }
    Texts expected(complete, "cut");
    for (std::uint32_t seed = 1; seed < 20; ++seed) {
        std::string noise;
        std::uint32_t value = seed;
        for (int i = 0; i < 500; ++i) {
            value = value * 1664525u + 1013904223u;
            noise += static_cast<char>(value >> 24);
        }
        const std::string text = "before noise " + std::to_string(seed);
        sendBytes(number++, seed % 2 ? noise : messageFile(text) + noise);
        if (seed % 2 == 0) {
            expected.push_back(text);
        }
    }

    start();

    EXPECT_TRUE(isOpenForBusiness());
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), testing::UnorderedElementsAreArray(expected));
    EXPECT_EQ(statistics().reconstituted, expected.size());
}

TEST_F(OrvCHMesgQOddFilesTest, aMissingQueueDirectoryIsReportedAndTheRestGoesOn) {
    sendFile("m0", "one");
    ASSERT_EQ(::rmdir(switch_.root().at(kDuplicateDir).c_str()), 0);
    start();
    EXPECT_EQ(takeLog(), (Log{cannotOpenOrder(kDuplicateDir),
                              {16, "Unable to open file /tmp/orv-queue-order"},
                              cannotOpenOrder(kSendDir),
                              cannotOpenOrder(kPersistDir)}));
    const Texts traced = takeTrace();
    const auto reported = std::ranges::find(traced, "reconstituteQueueTheHardWay: queue type = duplicate\n");
    ASSERT_NE(reported, traced.end());
    EXPECT_EQ(Texts(reported - 1, reported + 3),
              (Texts{std::string("reconstituteQueue: unable to open file ") + kDuplicateDir + "/order\n",
                     "reconstituteQueueTheHardWay: queue type = duplicate\n",
                     "reconstituteQueueTheHardWay: unable to open  file /tmp/orv-queue-order for reading, errno = No "
                     "such file or directory(2)\n",
                     "reconstituteQueue: queue type = send\n"}));
    EXPECT_TRUE(list(ORV_CH_MESG_Q_DUPLICATE).ordered());
    EXPECT_FALSE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQOddFilesTest, aPipeInPlaceOfTheOrderFileDoesNotHoldUpTheQueue) {
    open();
    ASSERT_EQ(::mkfifo(switch_.root().at(std::string(kSendDir) + "/order").c_str(), 0600), 0);
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/order"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQOddFilesTest, aPipeInPlaceOfTheMessageFileDoesNotHoldUpTheQueue) {
    open();
    ASSERT_EQ(::mkfifo(switch_.root().at(std::string(kSendDir) + "/m0").c_str(), 0600), 0);
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/m0 for writing"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQOddFilesTest, withoutAPlaceForTheListingNothingIsRestored) {
    sendFile("m0", "one");
    ASSERT_EQ(::rename(switch_.root().at("/tmp").c_str(), switch_.root().at("/away").c_str()), 0);
    parts_->restore.init();
    ASSERT_EQ(::rename(switch_.root().at("/away").c_str(), switch_.root().at("/tmp").c_str()), 0);
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_TRUE(isOpenForBusiness());
    EXPECT_TRUE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_THAT(takeLog(), Contains(std::pair<int, std::string>(16, "Unable to open file /tmp/orv-queue-order")));
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteQueueTheHardWay: unable to open  file /tmp/orv-queue-order for reading, errno = "
                         "No such file or directory(2)\n"));
}

TEST_F(OrvCHMesgQOddFilesTest, aLinkPlantedInPlaceOfTheListingIsNotFollowed) {
    switch_.root().write("/precious", "kept");
    ASSERT_EQ(::symlink(switch_.root().at("/precious").c_str(), switch_.root().at(kListing).c_str()), 0);
    sendFile("m0", "one");
    start();
    EXPECT_EQ(switch_.root().read("/precious"), "kept");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQOddFilesTest, aDirectoryInPlaceOfTheListingIsReported) {
    switch_.root().write(std::string(kListing) + "/x", "");
    sendFile("m0", "one");
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteQueueTheHardWay: error deleting file, errno = Is a directory(21)\n"));
}

TEST_F(OrvCHMesgQOddFilesTest, onlyAnEmptyFileOfTheQueuesOwnHidesTheEntries) {
    const std::string order = std::string(kSendDir) + "/order";
    const std::string hostPath = switch_.root().at(order);
    switch_.root().write("/empty", "");
    const std::string foreign = switch_.root().at("/empty");
    const std::function<void()> kPlants[] = {[&] { ASSERT_EQ(::mkfifo(hostPath.c_str(), 0600), 0); },
                                             [&] { ASSERT_EQ(::mkdir(hostPath.c_str(), 0700), 0); },
                                             [&] { ASSERT_EQ(::symlink(foreign.c_str(), hostPath.c_str()), 0); },
                                             [&] { ASSERT_EQ(::symlink("/dev/null", hostPath.c_str()), 0); },
                                             [&] { ASSERT_EQ(::symlink("/no/such", hostPath.c_str()), 0); },
                                             [&] { ASSERT_EQ(::link(foreign.c_str(), hostPath.c_str()), 0); }};
    sendFile("m0", "hidden");
    for (const auto& plant : kPlants) {
        restart();
        plant();
        start();
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"hidden"});
        EXPECT_THAT(takeLog(), Contains(cannotOpenOrder(kSendDir)));
        ASSERT_EQ(std::remove(hostPath.c_str()), 0);
    }
    switch_.root().write(order, "");
    restart();
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
}

TEST_F(OrvCHMesgQOddFilesTest, attachmentsThatNoMessageNamesAreGoneAfterTheStart) {
    switch_.root().write(std::string(kAttachments) + "/orphan.7", "x");
    sendFile("m0", "one");
    start();
    EXPECT_THAT(files(kAttachments), IsEmpty());
    EXPECT_FALSE(switch_.root().exists(kStage));
    EXPECT_EQ(switch_.root().read(kAttachmentState), wordsToBytes({1}));
}

TEST_F(OrvCHMesgQOddFilesTest, theStageIsMadeAgainByTheNextStart) {
    start();
    EXPECT_FALSE(switch_.root().exists(kStage));
    restart();
    EXPECT_TRUE(switch_.root().exists(kStage));
    switch_.root().write(std::string(kAttachments) + "/orphan.7", "x");
    start();
    EXPECT_THAT(files(kAttachments), IsEmpty());
}

TEST_F(OrvCHMesgQOddFilesTest, captureMessagesAreNotRestored) {
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.ID = "8B00.FFFF";
    capture.FileName = std::string(kSendDir) + "/m0";
    ASSERT_EQ(capture.save(), 0);
    start();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_THAT(takeLog(), Contains(std::pair<int, std::string>(
                               16, std::string("Error restoring message from ") + kSendDir + "/m0, ignoring")));
}

TEST_F(OrvCHMesgQOddFilesTest, aHostRootWithBlanksAndQuotesIsNoTrouble) {
    const std::string former = switch_.root().path();
    const std::string odd = "/it's odd; touch $HOME `x`";
    switch_.root().write(odd + "/tmp/placeholder", "");
    switch_.root().write(odd + "/ostrel/conf/placeholder", "");
    switch_.root().write(odd + kSendDir + "/m3", messageFile("one"));
    setHostRoot(former + odd);
    restart();
    start();
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    parts_.reset();
    setHostRoot(former);
}

}  // namespace
