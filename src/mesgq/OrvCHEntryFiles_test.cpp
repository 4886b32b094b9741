#include "Descriptor.h"
#include "testing/mesgq/MesgQTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OrvCHMesgQFilesTest : public MesgQTest {
protected:
    OrvCHMesgQFilesTest() { open(); }

    std::string send(const std::string& name) { return switch_.root().read(std::string(kSendDir) + "/" + name); }
};

TEST_F(OrvCHMesgQFilesTest, anEntryFileIsTheMessageAndTheStateBlock) {
    add("one");
    EXPECT_EQ(send("m0"), messageFile("one") +
                              "<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\npersistRepostPeriod = 86400\n"
                              "markedForDeletion = 0\nexpire = -1\n</OrvCHMesgQ>\n");
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).message->FileName, std::string(kSendDir) + "/m0");
}

TEST_F(OrvCHMesgQFilesTest, aPersistentEntryFileCarriesItsPosting) {
    addPersistent("one", 60, 5);
    EXPECT_EQ(send("m0"), messageFile("one") + stateBlock(0, 0, "true", 60, 5));
}

TEST_F(OrvCHMesgQFilesTest, theOrderFileIsTheCountAndTheNumbersInNativeWords) {
    add("one");
    EXPECT_EQ(send("order"), wordsToBytes({1, 0}));
    add("two");
    add("three");
    EXPECT_EQ(send("order"), wordsToBytes({3, 0, 1, 2}));
    const std::string kLittle("\3\0\0\0\0\0\0\0\1\0\0\0\2\0\0\0", 16);
    const std::string kBig("\0\0\0\3\0\0\0\0\0\0\0\1\0\0\0\2", 16);
    EXPECT_EQ(send("order"), std::endian::native == std::endian::big ? kBig : kLittle);
}

TEST_F(OrvCHMesgQFilesTest, whatAKillHasLeftOfAFirstOrderFileMakesWay) {
    switch_.root().write(std::string(kSendDir) + "/order.new", "half a w");
    add("one");
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(send("order"), wordsToBytes({1, 0}));
    EXPECT_THAT(files(kSendDir), ElementsAre("m0", "order"));
}

TEST_F(OrvCHMesgQFilesTest, theOrderFileShrinksWithTheQueue) {
    for (const char* text : {"one", "two", "three"}) {
        add(text);
    }
    mailNext();
    EXPECT_EQ(send("order"), wordsToBytes({2, 1, 2}));
    mailNext();
    mailNext();
    EXPECT_EQ(send("order"), wordsToBytes({0}));
    EXPECT_THAT(files(kSendDir), ElementsAre("order"));
}

TEST_F(OrvCHMesgQFilesTest, aNewEntryDoesNotGoOverWhatNoStartCouldRead) {
    const std::string path = std::string(kSendDir) + "/m0";
    switch_.root().write(path, "<OrvCHMesg>\nhalf a message\n");
    struct stat leftover = {};
    ASSERT_EQ(::stat(switch_.root().at(path).c_str(), &leftover), 0);
    const int held = ::open(switch_.root().at(path).c_str(), O_RDONLY);  // or its number would be the next file's

    add("one");
    struct stat saved = {};
    ASSERT_EQ(::stat(switch_.root().at(path).c_str(), &saved), 0);
    EXPECT_NE(saved.st_ino, leftover.st_ino);
    const Descriptor closed(held);

    add("one");  // counted, and written again
    struct stat rewritten = {};
    ASSERT_EQ(::stat(switch_.root().at(path).c_str(), &rewritten), 0);
    EXPECT_EQ(rewritten.st_ino, saved.st_ino);
}

TEST_F(OrvCHMesgQFilesTest, aNewEntryLeavesALeftoverWithAnotherName) {
    const std::string path = switch_.root().at(std::string(kSendDir) + "/m0");
    switch_.root().write("/other", "somebody else's");
    ASSERT_EQ(::link(switch_.root().at("/other").c_str(), path.c_str()), 0);
    add("one");
    struct stat status = {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_nlink, 2u);
    EXPECT_EQ(send("m0"), "somebody else's");
}

TEST_F(OrvCHMesgQFilesTest, theOrderFileIsRewrittenInPlace) {
    add("one");
    struct stat before = {};
    ASSERT_EQ(::stat(switch_.root().at(std::string(kSendDir) + "/order").c_str(), &before), 0);
    add("two");
    struct stat after = {};
    ASSERT_EQ(::stat(switch_.root().at(std::string(kSendDir) + "/order").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(OrvCHMesgQFilesTest, aTestMessageHasNoFileButAFillerWordInTheOrderFile) {
    addTest("test", "Profile");
    EXPECT_THAT(files(kSendDir), IsEmpty()) << "a test message writes nothing at all";
    add("one");
    EXPECT_THAT(files(kSendDir), ElementsAre("m1", "order"));
    EXPECT_EQ(send("order"), wordsToBytes({1, 1, 0})) << "four bytes longer than the count implies";
    mailNext();
    EXPECT_EQ(send("order"), wordsToBytes({1, 1, 0})) << "the test message went without a trace on flash";
    mailNext();
    EXPECT_EQ(send("order"), wordsToBytes({0}));
}

TEST_F(OrvCHMesgQFilesTest, aFileGoesWithItsEntryAfterTheOrderFile) {
    add("one");
    configure({{"ThrottleDupsEnable", "False"}});
    takeTrace();
    mailNext();
    const Texts traced = takeTrace();
    ASSERT_EQ(traced.size(), 4u);
    EXPECT_EQ(traced[0], "peekOpen: entry (0) opened in the send queue\n");
    EXPECT_EQ(traced[1],
              "peekDelete: entry (0) has completed processing, (duplicates not allowed) remove it from the send queue "
              "and delete\n");
    EXPECT_EQ(traced[2], std::string("deleteEntryFile: file=") + kSendDir + "/m0\n");
    EXPECT_EQ(traced[3],
              "removeInternal: entry (0) removed from the send queue\n"
              "  Queue             Count  Space Used\n"
              "    init                0           0\n"
              "    send                0           0\n"
              "    duplicate           0           0\n"
              "    persist             0           0\n"
              "  Total                 0           0\n");
}

TEST_F(OrvCHMesgQFilesTest, aMoveGivesANewNumberAndANewFile) {
    park("one");
    add("one");
    add("two");
    ASSERT_THAT(files(kDuplicateDir), ElementsAre("m0", "order"));
    chores(16);
    EXPECT_THAT(files(kDuplicateDir), ElementsAre("order"));
    EXPECT_EQ(switch_.root().read(std::string(kDuplicateDir) + "/order"), wordsToBytes({0}));
    EXPECT_THAT(files(kSendDir), ElementsAre("m0", "m1", "order"));
    EXPECT_EQ(send("order"), wordsToBytes({2, 0, 1}));
    EXPECT_EQ(send("m1"), messageFile("one", 1, "Tue Nov 14 22:13:20 UTC 2023") + stateBlock());
}

TEST_F(OrvCHMesgQFilesTest, parkingWithoutDuplicatesLeavesNoFileAtAll) {
    park("one");
    EXPECT_THAT(files(kDuplicateDir), IsEmpty());
    EXPECT_THAT(files(kSendDir), ElementsAre("order"));
    chores(16);
    EXPECT_THAT(files(kDuplicateDir), IsEmpty()) << "nor when it leaves";
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQFilesTest, numbersStartAgainAtZeroWheneverAQueueRunsEmpty) {
    add("one");
    add("two");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0, 1}));
    mailNext();
    add("three");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{1, 2}));
    mailNext();
    mailNext();
    add("four");
    EXPECT_EQ(ids(ORV_CH_MESG_Q_SEND), (Ids{0}));
}

TEST_F(OrvCHMesgQFilesTest, reportsADirectoryInPlaceOfTheEntryFile) {
    switch_.root().write(std::string(kSendDir) + "/m0/x", "");
    takeTrace();
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/m0 for writing"}}));
    EXPECT_EQ(takeTrace().back(), std::string("saveEntryToFile: unable to open file ") + kSendDir +
                                      "/m0 for writing, errno = Is a directory(21)\n");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"}) << "the list is the truth";
    mailNext();
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Error deleting file ") + kSendDir + "/m0"}}));
}

TEST_F(OrvCHMesgQFilesTest, reportsAFileThatIsGoneWhenItIsToBeDeleted) {
    add("one");
    ASSERT_EQ(::remove(switch_.root().at(std::string(kSendDir) + "/m0").c_str()), 0);
    takeTrace();
    mailNext();
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Error deleting file ") + kSendDir + "/m0"}}));
    EXPECT_THAT(takeTrace(), testing::Contains(std::string("deleteEntryFile: error deleting file ") + kSendDir +
                                               "/m0, errno = No such file or directory(2)\n"));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

TEST_F(OrvCHMesgQFilesTest, reportsADirectoryInPlaceOfTheOrderFile) {
    switch_.root().write(std::string(kSendDir) + "/order/x", "");
    takeTrace();
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/order"}}));
    EXPECT_EQ(takeTrace().back(), std::string("updateOrderFile: unable to open file ") + kSendDir + "/order\n");
    EXPECT_EQ(send("m0"), messageFile("one") + stateBlock());
}

TEST_F(OrvCHMesgQFilesTest, survivesAMissingDirectory) {
    ASSERT_EQ(::rmdir(switch_.root().at(kSendDir).c_str()), 0);
    EXPECT_EQ(add("one"), 0);
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/order"},
                              {15, std::string("Unable to open file ") + kSendDir + "/m0 for writing"}}));
    mailNext();
    EXPECT_EQ(takeLog(), (Log{{15, std::string("Unable to open file ") + kSendDir + "/order"},
                              {15, std::string("Error deleting file ") + kSendDir + "/m0"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
}

}  // namespace
