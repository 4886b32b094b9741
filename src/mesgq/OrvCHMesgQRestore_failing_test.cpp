// The queue on a flash that fails: the restore.
#include "testing/FailingCalls.h"
#include "testing/mesgq/MesgQRestoreTest.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace {

using testing::Contains;
using testing::IsEmpty;

using Line = std::pair<int, std::string>;

constexpr unsigned kTries = 4;  // to start a shell

class OrvCHMesgQFailingRestoreTest : public MesgQRestoreTest {
protected:
    void messageOnFlash() { switch_.root().write(kFirstEntry, messageFile("one") + stateBlock()); }
    void start(std::uint32_t filesAllowed = 100) {
        MesgQRestoreTest::start(filesAllowed);
        ASSERT_TRUE(isOpenForBusiness());
    }
    // A queue's directory and the names of the files in it, each of which says its own name.
    using Messages = std::pair<std::string, Texts>;
    void everySingleFailure(int error, const char* part, const std::vector<Messages>& queues, unsigned atLeast);
};

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAnOrderFileThatCannotBeClosed) {
    messageOnFlash();
    for (const std::string& bytes : {std::string(), wordsToBytes({1, 0})}) {
        switch_.root().write(kOrderFile, bytes);
        restart();
        const FailingCall failing("fclose", "/send/order", EIO);
        start();
        EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to close file " + kOrderFile}));
        EXPECT_THAT(takeTrace(), Contains("reconstituteQueue: unable to close order file " + kOrderFile + "\n"));
        EXPECT_EQ(list(ORV_CH_MESG_Q_SEND).count(), bytes.empty() ? 0u : 1u);
    }
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsNumbersThatCannotBeReadAndTakesTheDirectory) {
    messageOnFlash();
    switch_.root().write(kOrderFile, std::string("\0\1\1", 3));  // a count cut short, more than none
    start(UINT32_MAX);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to read uniqueId field from file " + kOrderFile}));
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteQueue: unable to read uniqueId data from file " + kOrderFile + "\n"));
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsMissingMemoryForTheNumbersAndTakesTheDirectory) {
    messageOnFlash();
    const std::string kCut("\0\1\1", 3);
    std::uint32_t count = 0;
    std::memcpy(&count, kCut.data(), kCut.size());
    switch_.root().write(kOrderFile, kCut);
    const std::uint32_t size = 4 * (count + 1);
    {
        const FailingAllocation failing(size, size);
        start(UINT32_MAX);
    }
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to allocate memory (" + std::to_string(size) + " bytes)"}));
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteQueue: unable to allocate memory of size = " + std::to_string(size) + "\n"));
}

TEST_F(OrvCHMesgQFailingRestoreTest, aCutCountIsCutFurtherToTheFileQuota) {
    messageOnFlash();
    const std::string order = std::string(kPersistDir) + "/order";
    const std::string kCut256 =
        std::endian::native == std::endian::big ? std::string("\0\0\1", 3) : std::string("\0\1\0", 3);
    switch_.root().write(order, kCut256);
    {
        const FailingAllocation failing(4 * (255 + 1), 4 * (255 + 1));
        start(255);
    }
    EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to allocate memory (1024 bytes)"}));
    EXPECT_THAT(takeTrace(), Contains("reconstituteQueue: unable to allocate memory of size = 1024\n"));
    EXPECT_EQ(statistics().deletedForFileLimit, 1u);
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAnOrderFileThatCannotBeClosedWhenItsCountFindsNoRoom) {
    switch_.root().write(std::string(kDuplicateDir) + "/order", "");
    switch_.root().write(std::string(kPersistDir) + "/order", "");
    switch_.root().write(kOrderFile, std::string("\7\7\7", 3));
    {
        const FailingCall failing("fclose", "/send/order", EIO);
        start();
        EXPECT_EQ(failing.failures(), 1u);
    }
    EXPECT_EQ(takeLog(), (Log{{16, "Unable reduce message count to allowed number: 100"},
                              {16, "Unable to close file " + kOrderFile}}));
    Texts traced = takeTrace();
    const auto reported =
        std::ranges::find(traced, "reconstituteQueue: unable to close order file " + kOrderFile + "\n");
    ASSERT_NE(reported, traced.end());
    EXPECT_THAT(*(reported - 1), testing::StartsWith("reconstituteQueue: unable to make room\ncount = "));
    EXPECT_EQ(*(reported + 1), "reconstituteQueueTheHardWay: queue type = send\n");
}

TEST_F(OrvCHMesgQFailingRestoreTest, listsADirectoryWithAPlainCommand) {
    const auto host = [this](const std::string& path) { return switch_.root().at(path); };
    for (const char* directory : {kDuplicateDir, kSendDir, kPersistDir}) {
        restart();
        const FailingCall failing("posix_spawn", "cd " + host(directory) + " && ls -1t m* > " + host(kListing), EAGAIN);
        start();
        EXPECT_EQ(failing.failures(), kTries) << directory;
    }
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAShellThatCannotBeRun) {
    messageOnFlash();
    {
        const FailingCall failing("posix_spawn", "cd ", EAGAIN);
        start();
        EXPECT_EQ(failing.failures(), 3 * kTries);
    }
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_TRUE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to create file /tmp/orv-queue-order"}).Times(3));
    EXPECT_TRUE(switch_.root().exists(kFirstEntry)) << "the file stays";
}

TEST_F(OrvCHMesgQFailingRestoreTest, aShellThatCannotBeRunOnceCostsNothing) {
    messageOnFlash();
    for (unsigned nth = 1; nth <= 3; ++nth) {
        restart();
        const FailingNth failing(nth, "cd ", EAGAIN);
        start();
        EXPECT_TRUE(failing.failed());
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"}) << nth;
    }
}

TEST_F(OrvCHMesgQFailingRestoreTest, restoresWhereNobodyIsToldOfEndedChildren) {
    messageOnFlash();
    const auto former = std::signal(SIGCHLD, SIG_IGN);
    start();
    std::signal(SIGCHLD, former);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
}

TEST_F(OrvCHMesgQFailingRestoreTest, doesNotWriteToAListingThatSomebodyElseHolds) {
    messageOnFlash();
    switch_.root().write(kListing, "somebody else's");
    {
        const FailingCall failing("unlinkat", "orv-queue-order", EPERM);
        start();
    }
    EXPECT_EQ(switch_.root().read(kListing), "somebody else's");
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_THAT(takeLog(), Contains(Line{16, "Unable to create file /tmp/orv-queue-order"}).Times(3));
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAListingThatCannotBeClosedAndGoesOn) {
    messageOnFlash();
    {
        const FailingCall failing("fclose", "orv-queue-order", EIO);
        start();
    }
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_FALSE(list(ORV_CH_MESG_Q_SEND).ordered());
    EXPECT_THAT(takeLog(), Contains(Line{16, "Error attempting to close file /tmp/orv-queue-order"}).Times(3));
    EXPECT_THAT(takeTrace(), Contains("reconstituteQueueTheHardWay: unable to close order file\n").Times(3));
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAMessageFileThatCannotBeOpenedForItsStateBlock) {
    messageOnFlash();
    {
        const FailingCall failing("openUnlinked", "/m0", EACCES, 1);  // the first is the message's
        start();
    }
    EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsEmpty());
    EXPECT_THAT(takeLog(), Contains(Line{16, "Error opening " + kFirstEntry + " for reading, ignoring"}));
    EXPECT_THAT(takeTrace(), Contains("reconstituteMsgFromFile: unable to open file " + kFirstEntry +
                                      " for reading, skipping, errno = Permission denied(13)\n"));
    EXPECT_EQ(statistics().reconstituted, 0u);
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAMessageFileThatCannotBeClosedAndRestoresIt) {
    messageOnFlash();
    {
        const FailingCall failing("fclose", "/m0", EIO);
        start();
    }
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    EXPECT_THAT(takeLog(), Contains(Line{17, "Error closing " + kFirstEntry}));
    EXPECT_THAT(takeTrace(), Contains("reconstituteMsgFromFile: unable to close file " + kFirstEntry +
                                      "\n, errno = Input/output error(5)"));
}

TEST_F(OrvCHMesgQFailingRestoreTest, reportsAStreamThatCannotBeMadeLikeAFileThatCannotBeOpened) {
    messageOnFlash();
    {
        const FailingCall failing("fdopen", "/m0", ENOMEM);
        start();
    }
    EXPECT_THAT(takeLog(), Contains(Line{16, "Error opening " + kFirstEntry + " for reading, ignoring"}));
    EXPECT_THAT(takeTrace(), Contains("reconstituteMsgFromFile: unable to open file " + kFirstEntry +
                                      " for reading, skipping, errno = Cannot allocate memory(12)\n"));
}

TEST_F(OrvCHMesgQFailingRestoreTest, aFileTooBigForTheMemoryIsLeftOutAndTheStartGoesOn) {
    constexpr std::size_t kBig = 1 << 20;
    switch_.root().write(kFirstEntry, messageFile(std::string(2 * kBig, 'x')));
    switch_.root().write(std::string(kSendDir) + "/m1", messageFile("small"));
    {
        const FailingAllocation failing(kBig);
        start();
    }
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"small"});
    EXPECT_TRUE(switch_.root().exists(kFirstEntry));
}

TEST_F(OrvCHMesgQFailingRestoreTest, anInitQueueMessageWithoutMemoryDoesNotStopTheOthers) {
    constexpr std::size_t kBig = 1 << 20;
    add("early");
    add(std::string(2 * kBig, 'x'));
    add("late");
    {
        const FailingAllocation failing(kBig);  // no duplicate key of the big one
        start();
    }
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"early", "late"}));
    EXPECT_EQ(spaceInUse(), charge("early") + charge("late"));
}

TEST_F(OrvCHMesgQFailingRestoreTest, aDirectoryThatCannotBeReadToItsEndIsReported) {
    const std::string kFrom = std::string(kAttachments) + "/";
    const std::string failure = "readdir(" + kFrom + "): Input/output error\n";
    switch_.root().write(kFrom + "a.7", "");
    takeTrace();
    {
        const FailingCall failing("readdir", "attachments", EIO);
        OrvCHAttachmentFiles::cleanDir(kFrom);
        OrvCHAttachmentFiles::linkDirEntries(kFrom, std::string(kStage) + "/");
    }
    EXPECT_EQ(takeLog(), (Log{{16, failure}, {16, failure}}));
    const Texts traced = takeTrace();
    EXPECT_THAT(traced, Contains("cleanDir: " + failure));
    EXPECT_THAT(traced, Contains("linkDirEntries: " + failure));
    EXPECT_EQ(files(kAttachments), Texts{"a.7"});
}

TEST_F(OrvCHMesgQFailingRestoreTest, aFileThatCannotBeUnlinkedIsReportedByItsDirectory) {
    const std::string kFrom = std::string(kAttachments) + "/";
    const std::string failure = "unlink(" + kFrom + "): Operation not permitted\n";
    switch_.root().write(kFrom + "a.7", "");
    switch_.root().write(kFrom + "b.7", "");
    takeTrace();
    {
        const FailingCall failing("unlinkat", "a.7", EPERM);
        OrvCHAttachmentFiles::cleanDir(kFrom);
    }
    EXPECT_EQ(takeLog(), (Log{{16, failure}}));
    EXPECT_THAT(takeTrace(), Contains("cleanDir: " + failure));
    EXPECT_EQ(files(kAttachments), Texts{"a.7"}) << "the others go";
}

TEST_F(OrvCHMesgQFailingRestoreTest, aLinkPutInAnAttachmentsPlaceWhileItIsStagedIsNotFollowed) {
    const std::string kFrom = std::string(kAttachments) + "/";
    const std::filesystem::path foreign = switch_.root().at("/foreign");
    switch_.root().write("/foreign", "somebody else's");
    switch_.root().write(kFrom + "a.7", "");
    {
        const StepBeforeCall swapping("linkat", "a.7", [&] {
            std::filesystem::remove(switch_.root().at(kFrom + "a.7"));
            std::filesystem::create_symlink(foreign, switch_.root().at(kFrom + "a.7"));
        });
        OrvCHAttachmentFiles::linkDirEntries(kFrom, std::string(kStage) + "/");
        EXPECT_TRUE(swapping.taken());
    }
    EXPECT_EQ(std::filesystem::hard_link_count(foreign), 1u) << "no name of ours leads to it";
}

TEST_F(OrvCHMesgQFailingRestoreTest, aStateThatCannotBeReadMeansNotStaged) {
    switch_.root().write(kAttachmentState, wordsToBytes({0}));
    switch_.root().write(std::string(kAttachments) + "/a.7", "");
    OrvCHAttachmentFiles attachments;
    const FailingCall failing("pread", "attachments.state", EIO);
    attachments.stageAttachments();
    EXPECT_EQ(files(kStage), Texts{"a.7"});
}

// Every call of a start with one queue to list, and those on the directory of the queue that is flushed. Of the errors
// that are a moment's, the calls on the entries' own directory.
TEST_F(OrvCHMesgQFailingRestoreTest, noSingleFailureCostsAStartAMessage) {
    const Messages kSent = {kSendDir, {"m0", "m1"}};
    const Messages kCounted = {kDuplicateDir, {"m0"}};
    everySingleFailure(EIO, "orv", {kSent}, 50);
    everySingleFailure(EIO, "/duplicate", {kCounted}, 15);
    everySingleFailure(EIO, "orv-queue-order", {kSent, kCounted}, 8);
    everySingleFailure(EMFILE, "/send", {kSent}, 20);
    everySingleFailure(EINTR, "/m0", {kSent}, 4);
}

void OrvCHMesgQFailingRestoreTest::everySingleFailure(int error, const char* part, const std::vector<Messages>& queues,
                                                      unsigned atLeast) {
    Texts expected{"early"};
    for (const auto& [listed, names] : queues) {
        for (const std::string& name : names) {
            expected.push_back(listed + name);
        }
    }
    unsigned nth = 0;
    for (bool failed = true; failed;) {
        SCOPED_TRACE(std::to_string(error) + " " + part + " " + std::to_string(nth + 1));
        parts_.reset();
        std::filesystem::remove_all(switch_.root().at("/ostrel/conf/orv"));
        for (const char* directory : {kDuplicateDir, kSendDir, kPersistDir}) {
            switch_.root().write(std::string(directory) + "/order", "");
        }
        for (const auto& [listed, names] : queues) {
            switch_.root().write(listed + "/order", wordsToBytes({2, 0, 1}));
            for (const std::string& name : names) {
                switch_.root().write(listed + "/" + name, messageFile(listed + name, 2) + stateBlock());
            }
        }
        switch_.root().write(std::string(kAttachments) + "/a.7", "");
        FailingNth failing(++nth, part, error);
        restart();
        add("early");
        start();
        failed = failing.failed();
        EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), testing::UnorderedElementsAreArray(expected));
        checkConsistency(false);
    }
    EXPECT_GT(nth, atLeast);
}

// What a kill leaves: the state word, and the names in both directories.
TEST_F(OrvCHMesgQFailingRestoreTest, theStateIsWrittenLastOfEachStep) {
    const auto seen = [this] {
        const auto names = [this](const char* directory) {
            std::string list;
            for (const std::string& name : files(directory)) {
                list += " " + name;
            }
            return switch_.root().exists(directory) ? list : std::string(" none");
        };
        const std::string word = switch_.root().read(kAttachmentState);
        const std::string state = word.empty() ? "not written" : word == wordsToBytes({0}) ? "0" : "1";
        return state + ", attachments:" + names(kAttachments) + ", stage:" + names(kStage);
    };
    Texts steps;
    bool killed = true;
    for (unsigned nth = 1; killed; ++nth) {
        std::filesystem::remove_all(switch_.root().at("/ostrel/conf/orv"));
        for (const char* directory : {kSendDir, kDuplicateDir, kPersistDir}) {
            switch_.root().write(std::string(directory) + "/order", "");
        }
        switch_.root().write(std::string(kAttachments) + "/a.7", "");
        restart();
        killed = killedAt(nth, "/ostrel/", [this] { parts_->restore.init(); });
        if (steps.empty() || steps.back() != seen()) {
            steps.push_back(seen());
        }
    }
    EXPECT_EQ(steps,
              (Texts{"not written, attachments: a.7, stage:", "not written, attachments: a.7, stage: a.7",
                     "not written, attachments:, stage: a.7", "0, attachments:, stage: a.7",
                     "0, attachments:, stage:", "0, attachments:, stage: none", "1, attachments:, stage: none"}));
}

}  // namespace
