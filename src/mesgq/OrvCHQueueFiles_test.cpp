#include "mesgq/OrvCHQueueFiles.h"

#include "testing/TempRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

namespace {

ORV_CH_MESG_Q_TYPE type(std::uint32_t number) {
    return static_cast<ORV_CH_MESG_Q_TYPE>(number);
}

TEST(OrvCHQueueFiles, eachQueueButInitHasADirectoryAndAStandbyDirectory) {
    struct Row {
        std::uint32_t type;
        const char* directory;
        const char* standby;
    };
    const Row kRows[] = {
        {0, "Invalid", "Invalid"},
        {1, "/ostrel/conf/orv/callHome/queues/send", "/ostrel/conf/orv/callHome/queues_tmp/send"},
        {2, "/ostrel/conf/orv/callHome/queues/duplicate", "/ostrel/conf/orv/callHome/queues_tmp/duplicate"},
        {3, "/ostrel/conf/orv/callHome/queues/persist", "/ostrel/conf/orv/callHome/queues_tmp/persist"},
        {4, "Invalid", "Invalid"},
        {0xFFFFFFFFu, "Invalid", "Invalid"},
    };
    for (const Row& row : kRows) {
        EXPECT_STREQ(orvQueueDirectory(type(row.type)), row.directory);
        EXPECT_STREQ(orvStandbyQueueDirectory(type(row.type)), row.standby);
    }
    EXPECT_STREQ(kOrvStandbyAttachmentsDirectory, "/ostrel/conf/orv/callHome/attachments.sync/");
}

TEST(OrvCHQueueFiles, entryPathIsDirectoryAndNumber) {
    EXPECT_EQ(orvEntryPath(orvQueueDirectory(ORV_CH_MESG_Q_SEND), 12), "/ostrel/conf/orv/callHome/queues/send/m12");
    EXPECT_EQ(orvEntryPath(orvQueueDirectory(ORV_CH_MESG_Q_INIT), 0), "Invalid/m0");
    EXPECT_EQ(orvEntryPath(orvQueueDirectory(ORV_CH_MESG_Q_DUPLICATE), 2147483647),
              "/ostrel/conf/orv/callHome/queues/duplicate/m2147483647");
}

TEST(OrvCHQueueFiles, numbersAbove2147483647StandWithAMinusSignInThePath) {
    EXPECT_EQ(orvEntryPath("d", 4294967295u), "d/m-1");
    EXPECT_EQ(orvEntryPath("d", 2147483648u), "d/m-2147483648");
}

TEST(OrvCHQueueFiles, orderPathIsDirectoryAndOrder) {
    EXPECT_EQ(orvOrderPath(orvQueueDirectory(ORV_CH_MESG_Q_PERSIST)), "/ostrel/conf/orv/callHome/queues/persist/order");
    EXPECT_EQ(orvOrderPath(orvQueueDirectory(ORV_CH_MESG_Q_INIT)), "Invalid/order");
}

TEST(OrvCHQueueFiles, pathsAreCutAt63Characters) {
    const std::string directory(60, 'd');
    EXPECT_EQ(orvEntryPath(directory.c_str(), 12345), directory + "/m1");
    EXPECT_EQ(orvOrderPath(directory.c_str()), directory + "/or");
}

TEST(OrvCHQueueFiles, makesTheWholeTreeAndLeavesWhatExists) {
    const TempRoot root;
    const mode_t mask = ::umask(0);
    root.write("/ostrel/conf/orv/callHome/queues/send/m0", "kept");
    orvMakeQueueDirectories();
    orvMakeQueueDirectories();
    ::umask(mask);

    for (const char* directory :
         {"/ostrel/conf/orv/callHome/queues/duplicate", "/ostrel/conf/orv/callHome/queues/persist",
          "/ostrel/conf/orv/callHome/sync", "/ostrel/conf/orv/callHome/attachments.stage",
          "/ostrel/conf/orv/callHome/attachments"}) {
        struct stat status = {};
        ASSERT_EQ(::stat(root.at(directory).c_str(), &status), 0) << directory;
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFDIR | 0777)) << directory;
    }
    EXPECT_EQ(root.read("/ostrel/conf/orv/callHome/queues/send/m0"), "kept");
    EXPECT_THAT(root.list("/ostrel/conf/orv/callHome"),
                testing::ElementsAre("attachments", "attachments.stage", "queues", "sync"));
    EXPECT_THAT(root.list("/ostrel/conf/orv/callHome/queues"), testing::ElementsAre("duplicate", "persist", "send"));
}

TEST(OrvCHQueueFiles, leavesTheModeToTheUmask) {
    const TempRoot root;
    const mode_t mask = ::umask(027);
    orvMakeQueueDirectories();
    ::umask(mask);
    struct stat status = {};
    ASSERT_EQ(::stat(root.at("/ostrel/conf/orv").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFDIR | 0750));
}

TEST(OrvCHQueueFiles, survivesATreeThatCannotBeMade) {
    const TempRoot root;
    root.write("/ostrel/conf/orv", "a file in the way");
    orvMakeQueueDirectories();
    EXPECT_EQ(root.read("/ostrel/conf/orv"), "a file in the way");
}

TEST(OrvCHQueueFiles, stateTextShowsEveryField) {
    OrvCHMesgQEntry entry;
    EXPECT_EQ(orvStateText(entry),
              "<OrvCHMesgQ>\nduplicatesPending = 0\npersist = false\npersistRepostPeriod = 86400\n"
              "markedForDeletion = 0\nexpire = -1\n</OrvCHMesgQ>\n");
    entry.duplicatesPending = 4294967295u;
    entry.posting = {false, true, 4000000000u, -7};
    entry.markedForDeletion = kOrvMarkedForTime;
    EXPECT_EQ(orvStateText(entry),
              "<OrvCHMesgQ>\nduplicatesPending = 4294967295\npersist = true\npersistRepostPeriod = 4000000000\n"
              "markedForDeletion = 4\nexpire = -7\n</OrvCHMesgQ>\n");
}

// The state that a file with these bytes gives, as its state text.
std::string readBack(std::string bytes) {
    bytes += '\0';  // fmemopen takes no empty buffer
    const OrvFilePtr file(::fmemopen(bytes.data(), bytes.size() - 1 > 0 ? bytes.size() - 1 : 1, "r"));
    const OrvCHQueueState state = orvReadState(*file);
    OrvCHMesgQEntry entry;
    entry.duplicatesPending = state.duplicatesPending;
    entry.posting = {false, state.persist, state.persistRepostPeriod, state.expire};
    entry.markedForDeletion = state.markedForDeletion;
    return orvStateText(entry);
}

std::string block(const std::string& pending, const std::string& persist, const std::string& period,
                  const std::string& marked, const std::string& expire) {
    return "<OrvCHMesgQ>\nduplicatesPending = " + pending + "\npersist = " + persist +
           "\npersistRepostPeriod = " + period + "\nmarkedForDeletion = " + marked + "\nexpire = " + expire +
           "\n</OrvCHMesgQ>\n";
}

const std::string kDefaults = block("0", "false", "86400", "0", "-1");

TEST(OrvCHQueueFiles, aBlockAsWrittenIsNeverRecognised) {
    EXPECT_EQ(readBack(block("3", "true", "60", "2", "5")), kDefaults);
    EXPECT_EQ(readBack("<OrvCHMesg>\n</OrvCHMesg>\n" + block("3", "true", "60", "2", "5")), kDefaults);
}

TEST(OrvCHQueueFiles, aFileWithoutABlockGivesTheDefaults) {
    EXPECT_EQ(readBack(""), kDefaults);
    EXPECT_EQ(readBack("<OrvCHMesgQ>"), kDefaults);
    EXPECT_EQ(readBack("\n\n\n"), kDefaults);
}

// A tag that ends in a NUL is the only one without a line feed that can have lines behind it.
std::string recognised(const std::string& lines) {
    return std::string("<OrvCHMesgQ>\0\n", 14) + lines;
}

TEST(OrvCHQueueFiles, readsTheLinesOfARecognisedBlock) {
    struct Row {
        const char* line;
        std::string state;
    };
    const Row kRows[] = {
        {"duplicatesPending = 3\n", block("3", "false", "86400", "0", "-1")},
        {"  duplicatesPending =  17 \n", block("17", "false", "86400", "0", "-1")},
        {"duplicatesPending = 4294967296\n", kDefaults},
        {"duplicatesPending = many\n", kDefaults},
        {"persist = true\n", block("0", "true", "86400", "0", "-1")},
        {"true persist = \n", block("0", "true", "86400", "0", "-1")},
        {"persist = false\n", kDefaults},
        {"persist = 1\n", kDefaults},
        {"persistRepostPeriod = 60\n", block("0", "false", "60", "0", "-1")},
        {"persistRepostPeriod = 99999999999\n", kDefaults},
        {"persistRepostPeriod = x\n", block("0", "false", "0", "0", "-1")},
        {"markedForDeletion = true\n", block("0", "false", "86400", "1", "-1")},
        {"markedForDeletion = false\n", kDefaults},
        {"markedForDeletion = 1\n", block("0", "false", "86400", "1", "-1")},
        {"markedForDeletion = 4\n", block("0", "false", "86400", "4", "-1")},
        {"markedForDeletion = 5\n", kDefaults},
        {"markedForDeletion = 99999999999\n", kDefaults},
        {"expire = 5\n", block("0", "false", "86400", "0", "5")},
        {"expire = -2147483648\n", block("0", "false", "86400", "0", "-2147483648")},
        {"expire = 2147483648\n", kDefaults},
        {"expire = soon\n", block("0", "false", "86400", "0", "0")},
        {"expire=5\n", kDefaults},
        {"unknown = 5\n", kDefaults},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(readBack(recognised(row.line)), row.state) << row.line;
    }
}

TEST(OrvCHQueueFiles, aRecognisedBlockEndsAtItsEndTagWithoutLineFeed) {
    const std::string end("</OrvCHMesgQ>\0\n", 15);
    EXPECT_EQ(readBack(recognised("expire = 5\n" + end + "expire = 6\n")), block("0", "false", "86400", "0", "5"));
    EXPECT_EQ(readBack(recognised("expire = 5\n</OrvCHMesgQ>\nexpire = 6\n")), block("0", "false", "86400", "0", "6"));
}

TEST(OrvCHQueueFiles, linesAreReadInPiecesOf79Characters) {
    // The number is cut in two: the second piece has no label.
    const std::string line = std::string(79 - std::strlen("expire = 12"), ' ') + "expire = 1234\n";
    EXPECT_EQ(readBack(recognised(line)), block("0", "false", "86400", "0", "12"));
}

}  // namespace
