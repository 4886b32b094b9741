// Both ends of the file synchronisation together, and what becomes of them when one of them fails.
#include "base/OrvText.h"
#include "sync/OrvSyncPri.h"
#include "sync/OrvSyncRecord.h"
#include "testing/sync/SyncFixture.h"
#include "testing/sync/SyncStandby.h"
#include "testing/sync/SyncTree.h"

#include <cerrno>
#include <csignal>

namespace {

namespace fs = std::filesystem;

class OrvSyncTree : public SyncFixture {
protected:
    static constexpr char kActive[] = "/active/ostrel/conf/orv/callHome";
    static constexpr char kStandby[] = "/standby/ostrel/conf/orv/callHome";

    OrvSyncTree() { std::signal(SIGPIPE, SIG_IGN); }

    static std::size_t openDescriptors() {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
    }
    // The reply to an operation; an error number of this end is negative.
    static std::int64_t told(OrvSyncPri& sender, int result) {
        if (result < 0 || sender.recvResponse() < 0) {
            return -sender.error();
        }
        EXPECT_EQ(sender.replyBytes(), 4u);
        return sender.reply();
    }
};

TEST_F(OrvSyncTree, staysEqualOnBothSidesThroughEveryStep) {
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);
    SyncTree tree(sender, kActive, kStandby);
    std::map<std::string, std::string> former;

    for (const char* step : {"create", "change", "move", "remove"}) {
        SCOPED_TRACE(step);
        EXPECT_EQ(tree.run(step), "");
        const auto active = treeBelow(onHost(kActive));
        EXPECT_TRUE(active == treeBelow(onHost(kStandby)));
        EXPECT_TRUE(active != former);
        former = active;
    }

    EXPECT_EQ(former.size(), 280u);
    sender.endConnection();
    EXPECT_EQ(standby.records(), tree.records());
}

TEST_F(OrvSyncTree, leavesNothingWhenTheWholeTreeIsRemoved) {
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);
    SyncTree tree(sender, kActive, kStandby);
    ASSERT_EQ(tree.run("create"), "");
    ASSERT_EQ(treeBelow(onHost(kStandby)).size(), 540u);
    ASSERT_TRUE(treeBelow(onHost(kActive)) == treeBelow(onHost(kStandby)));

    EXPECT_EQ(tree.run("remove all"), "");

    EXPECT_FALSE(fs::exists(onHost(kActive)));
    EXPECT_FALSE(fs::exists(onHost(kStandby)));
    EXPECT_TRUE(fs::is_empty(onHost(kActive).parent_path()));
    EXPECT_TRUE(fs::is_empty(onHost(kStandby).parent_path()));
    sender.endConnection();
    EXPECT_EQ(standby.records(), tree.records());
}

TEST_F(OrvSyncTree, outlastsTenThousandRecordsInOneSession) {
    ASSERT_EQ(OrvDbg::setOfThread(nullptr), 0);  // this is about the records, not about their traces
    fs::create_directory(onHost("/active"));
    fill(onHost("/active/file"), "a few bytes");
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);
    ASSERT_EQ(told(sender, sender.sendMkDir("/standby")), 0);
    const std::size_t before = openDescriptors();
    int wrong = 0;

    for (int round = 0; round < 2000; ++round) {
        const std::string path = "/standby/" + std::to_string(round % 50);
        wrong += told(sender, sender.sendMkDir(path)) != 0;
        wrong += told(sender, sender.sendCpFile("/active/file", path + "/file")) != 0;
        wrong += told(sender, sender.sendMkDir(path + ".moved")) != 0;
        wrong += told(sender, sender.sendMvDir(path, path + ".moved")) != 0;
        wrong += told(sender, round % 2 == 0 ? sender.sendRmFile(path + ".moved/file")
                                             : sender.sendRmDir(path + ".moved")) != 0;
    }

    EXPECT_EQ(wrong, 0);
    EXPECT_LE(openDescriptors(), before);
    EXPECT_EQ(treeBelow(onHost("/standby")).size(), 25u);
    sender.endConnection();
    EXPECT_EQ(standby.records(), 10001);
}

TEST_F(OrvSyncTree, repeatsAnErrorInTheRepliesToWhatWentWell) {
    fs::create_directory(onHost("/active"));
    fill(onHost("/active/file"), "text");
    SyncStandby standby(2);
    {
        OrvSyncPri sender(standby.settings());
        ASSERT_EQ(sender.startConnection(), 0);
        EXPECT_EQ(told(sender, sender.sendMkDir("/standby")), 0);
        EXPECT_EQ(told(sender, sender.sendRmFile("/standby/none")), ENOENT);
        EXPECT_EQ(told(sender, sender.sendCpFile("/active/file", "/standby/file")), ENOENT);
        EXPECT_EQ(contents(onHost("/standby/file")), "text");
        EXPECT_EQ(told(sender, sender.sendOp({.operation = 5, .path = "/standby"})), 84);
    }
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);
    EXPECT_EQ(told(sender, sender.sendRmFile("/standby/file")), 84);
}

TEST_F(OrvSyncTree, carriesPathsOf255CharactersWholeAndCutsLongerOnes) {
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);
    const std::string start = "/standby/" + std::string(120, 'd') + "/";
    for (const std::size_t length : {254u, 255u, 256u, 300u}) {
        const std::string path = start + std::string(length - start.size(), 'x');
        EXPECT_EQ(told(sender, sender.sendMkDir(path)), 0);
        EXPECT_TRUE(fs::is_directory(onHost(path.substr(0, 255)))) << length;
    }
}

TEST_F(OrvSyncTree, goesOnAfterADiskThatWasFull) {
    fs::create_directory(onHost("/active"));
    fill(onHost("/active/large"), std::string(3 << 20, 'x'));
    fs::create_directory(onHost("/standby"));
    fs::create_symlink("/dev/full", onHost("/standby/full"));
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);

    EXPECT_EQ(told(sender, sender.sendCpFile("/active/large", "/standby/full")), ENOSPC);
    EXPECT_EQ(told(sender, sender.sendCpFile("/active/large", "/standby/large")), ENOSPC);

    EXPECT_TRUE(contents(onHost("/standby/large")) == std::string(3 << 20, 'x'));
    sender.endConnection();
    EXPECT_EQ(standby.records(), 2);
}

// The standby waits for what the active side has promised; ending the connection tells it that nothing will come.
TEST_F(OrvSyncTree, endsWithAFileThatShrankWhileItWasSent) {
    fs::create_directory(onHost("/active"));
    fill(onHost("/active/file"), "text");
    fs::create_directory(onHost("/standby"));
    SyncStandby standby(2);
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);

    ASSERT_EQ(sender.sendOp({.operation = OrvSyncRecord::kCopyFile, .path = "/standby/file", .size = 10}), 0);
    EXPECT_EQ(sender.sendFile("/active/file", 10), -1);
    EXPECT_EQ(sender.error(), EPIPE);
    sender.endConnection();

    ASSERT_EQ(sender.startConnection(), 0);
    EXPECT_EQ(told(sender, sender.sendCpFile("/active/file", "/standby/other")), ECONNRESET);
    EXPECT_EQ(contents(onHost("/standby/file")), "text");
    EXPECT_EQ(contents(onHost("/standby/other")), "text");
}

TEST_F(OrvSyncTree, copiesAFileThatGrowsAsLongAsItWas) {
    fs::create_directory(onHost("/active"));
    fill(onHost("/active/file"), "text and more");
    fs::create_directory(onHost("/standby"));
    SyncStandby standby;
    OrvSyncPri sender(standby.settings());
    ASSERT_EQ(sender.startConnection(), 0);

    ASSERT_EQ(sender.sendOp({.operation = OrvSyncRecord::kCopyFile, .path = "/standby/file", .size = 4}), 0);
    EXPECT_EQ(told(sender, sender.sendFile("/active/file", 4)), 0);

    EXPECT_EQ(contents(onHost("/standby/file")), "text");
    EXPECT_EQ(told(sender, sender.sendMkDir("/standby/next")), 0);
}

// A standby without a receiver, which hangs up at some point of a copy.
class OrvSyncHangUp : public OrvSyncTree {
protected:
    OrvSyncHangUp() {
        listener_.listen();
        fs::create_directory(onHost("/active"));
        fill(onHost("/active/large"), std::string(8 << 20, 'x'));
    }
    // Reads that much of what the sender says, then breaks down or closes.
    std::thread hangUpAfter(std::size_t bytes, bool hard) {
        return std::thread([this, bytes, hard] {
            PlainSocket peer = listener_.accept();
            EXPECT_EQ(peer.read(bytes).size(), bytes);
            hard ? peer.reset() : peer.end();
        });
    }

    PlainSocket listener_;
    OrvSyncPri sender_{at(listener_.bindAnywhere())};
};

TEST_F(OrvSyncHangUp, endsACopyWithAnErrorWhereverItHappens) {
    for (const std::size_t bytes : {0u, 1u, 515u, 516u, 517u, 1000000u}) {
        SCOPED_TRACE(bytes);
        std::thread standby = hangUpAfter(bytes, true);
        ASSERT_EQ(sender_.startConnection(), 0);

        EXPECT_LT(sender_.sendCpFile("/active/large", "/standby/large"), 0);

        EXPECT_TRUE(sender_.error() == EPIPE || sender_.error() == ECONNRESET) << orvErrorText(sender_.error());
        standby.join();
        EXPECT_TRUE(sender_.connected());
        sender_.endConnection();
    }
}

// The kernel takes record and file whole before anything is known of the standby.
TEST_F(OrvSyncHangUp, showsInTheReplyThatASmallFileWasLost) {
    fill(onHost("/active/small"), "text");
    struct Row {
        std::size_t bytes;  // that the standby reads
        bool hard;
        int result;
    };
    // What a standby leaves unread when it closes counts as a breakdown.
    for (const Row& row : {Row{517, true, -1}, Row{517, false, -1}, Row{520, true, -1}, Row{520, false, 0}}) {
        SCOPED_TRACE(std::to_string(row.bytes) + (row.hard ? " hard" : ""));
        std::thread standby = hangUpAfter(row.bytes, row.hard);
        ASSERT_EQ(sender_.startConnection(), 0);
        EXPECT_EQ(sender_.sendCpFile("/active/small", "/standby/small"), 0);
        EXPECT_EQ(sender_.error(), 0);
        standby.join();

        EXPECT_EQ(sender_.recvResponse(), row.result);

        EXPECT_EQ(sender_.replyBytes(), 0u);
        EXPECT_EQ(sender_.error(), row.result < 0 ? ECONNRESET : 0);
    }
}

TEST_F(OrvSyncHangUp, leavesARecordWithoutAReplyWhereverInItTheStandbyGoes) {
    for (const std::size_t bytes : {1u, 515u, 516u}) {
        for (const bool hard : {false, true}) {
            SCOPED_TRACE(std::to_string(bytes) + (hard ? " hard" : ""));
            std::thread standby = hangUpAfter(bytes, hard);
            ASSERT_EQ(sender_.startConnection(), 0);
            EXPECT_EQ(sender_.sendMkDir("/standby"), 0);
            standby.join();

            const bool lost = hard || bytes < 516;
            EXPECT_EQ(sender_.recvResponse(), lost ? -1 : 0);

            EXPECT_EQ(sender_.replyBytes(), 0u);
            EXPECT_EQ(sender_.error(), lost ? ECONNRESET : 0);
        }
    }
}

}  // namespace
