// One end of the file synchronisation here, the other one a process of its own, perhaps on another kind of processor.
#include "Descriptor.h"
#include "sync/OrvSyncPri.h"
#include "sync/OrvSyncRecord.h"
#include "testing/platform/Child.h"
#include "testing/sync/SyncFixture.h"
#include "testing/sync/SyncStandby.h"
#include "testing/sync/SyncTree.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <sstream>

namespace {

namespace fs = std::filesystem;

// The other end. It does not outlive the test.
class Party {
public:
    explicit Party(const Words& arguments) {
        int input[2] = {-1, -1};
        EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
        const Descriptor itsInput(input[0]);
        input_.reset(input[1]);
        Words words = command();
        words.insert(words.end(), arguments.begin(), arguments.end());
        process_ = std::make_unique<Child>(words.front(), Words(words.begin() + 1, words.end()), Environment{},
                                           [&] { dup2(itsInput.get(), STDIN_FILENO); });
    }

    void say(const std::string& line) const {
        const std::string text = line + "\n";
        EXPECT_EQ(write(input_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void sayNoMore() { input_.reset(); }
    // Without its line feed; what there was at the end of the output or of our patience.
    std::string line() {
        const std::string line = process_->readLine();
        return line.substr(0, line.find('\n'));
    }
    int wait() { return process_->wait(); }

private:
    static Words command() {
        const char* const other = std::getenv("ORV_SYNC_PARTY");
        std::istringstream text(other != nullptr ? other : SYNC_PARTY);
        Words words{std::istream_iterator<std::string>(text), {}};
        if (words[0].find('/') == std::string::npos) {  // an emulator
            words.insert(words.begin(), "/usr/bin/env");
        }
        return words;
    }

    Descriptor input_;
    std::unique_ptr<Child> process_;
};

class OrvSyncProcesses : public SyncFixture {
protected:
    static constexpr const char* kSteps[] = {"create", "change", "move", "remove", "remove all"};

    OrvSyncProcesses() {
        std::signal(SIGPIPE, SIG_IGN);
        fs::create_directories(onHost("/standby/tmp"));
    }
    static OrvSyncSettings settingsOf(Party& standby) {
        return at(static_cast<std::uint16_t>(std::strtoul(standby.line().c_str(), nullptr, 10)));
    }
    static std::int64_t told(OrvSyncPri& sender, int result) {
        return result < 0 || sender.recvResponse() < 0 ? -std::int64_t{sender.error()} : std::int64_t{sender.reply()};
    }
};

TEST_F(OrvSyncProcesses, bothTreesAreEqualAfterEachStepWhenTheReceiverIsAnotherProcess) {
    Party standby({"receive", onHost("/standby").string()});
    OrvSyncPri sender(settingsOf(standby));
    ASSERT_EQ(sender.startConnection(), 0);
    SyncTree tree(sender, "/active", "/conf/callHome");

    for (const char* step : kSteps) {
        SCOPED_TRACE(step);
        EXPECT_EQ(tree.run(step), "");
        EXPECT_TRUE(treeBelow(onHost("/active")) == treeBelow(onHost("/standby/conf/callHome")));
    }
    EXPECT_FALSE(fs::exists(onHost("/active")));
    EXPECT_TRUE(fs::is_empty(onHost("/standby/conf")));

    sender.endConnection();
    EXPECT_EQ(standby.line(), std::to_string(tree.records()));
    EXPECT_EQ(standby.wait(), 0);
}

TEST_F(OrvSyncProcesses, bothTreesAreEqualAfterEachStepWhenTheSenderIsAnotherProcess) {
    SyncStandby standby;
    Party active({"send", std::to_string(standby.settings().port), onHost("/active").string(), "/standby/conf"});
    fs::create_directory(onHost("/active"));

    for (const char* step : kSteps) {
        SCOPED_TRACE(step);
        active.say(step);
        ASSERT_EQ(active.line(), "done");
        EXPECT_TRUE(treeBelow(onHost("/active")) == treeBelow(onHost("/standby/conf")));
    }
    EXPECT_FALSE(fs::exists(onHost("/active")));
    EXPECT_FALSE(fs::exists(onHost("/standby/conf")));

    active.sayNoMore();
    EXPECT_EQ(active.wait(), 0);
    EXPECT_EQ(standby.records(), 1 + SyncTree::kDirectories + SyncTree::kFiles + 167 + 2 * 5 + 125 + 5 + 1);
}

TEST_F(OrvSyncProcesses, repliesMeanTheSameOnBothSides) {
    Party standby({"receive", onHost("/standby").string()});
    OrvSyncPri sender(settingsOf(standby));
    ASSERT_EQ(sender.startConnection(), 0);

    EXPECT_EQ(told(sender, sender.sendMkDir("/conf")), 0);
    EXPECT_EQ(told(sender, sender.sendRmFile("/conf/none")), ENOENT);
    EXPECT_EQ(told(sender, sender.sendOp({.operation = 0x01000000, .path = "/conf"})), 84);
    EXPECT_EQ(told(sender, sender.sendMvDir("/conf", "/moved")), ENOENT);
    EXPECT_TRUE(fs::is_directory(onHost("/standby/moved")));
}

// Nothing that a record may say leads out of the directory.
TEST_F(OrvSyncProcesses, aConfinedReceiverReachesNothingOutside) {
    fs::create_directories(onHost("/outside/directory"));
    fill(onHost("/outside/file"), "stays");
    fs::create_directory_symlink(onHost("/outside"), onHost("/standby/link"));
    fs::create_directory_symlink("../outside", onHost("/standby/relative"));
    const auto outside = treeBelow(onHost("/outside"));
    Party standby({"receive", onHost("/standby").string()});
    OrvSyncPri sender(settingsOf(standby));
    ASSERT_EQ(sender.startConnection(), 0);

    for (const std::string& start :
         {onHost("/outside").string(), std::string("/../outside"), std::string("/tmp/../../outside"),
          std::string("/link"), std::string("/relative")}) {
        SCOPED_TRACE(start);
        EXPECT_EQ(told(sender, sender.sendRmFile(start + "/file")), ENOENT);
        EXPECT_EQ(told(sender, sender.sendRmDir(start + "/directory")), ENOENT);
        EXPECT_EQ(told(sender, sender.sendCpFile("/outside/file", start + "/new")), ENOENT);
        EXPECT_EQ(told(sender, sender.sendMvDir("/tmp", start + "/moved")), ENOENT);
        EXPECT_TRUE(treeBelow(onHost("/outside")) == outside);
    }
    told(sender, sender.sendMkDir("/../outside"));  // made, but inside
    EXPECT_TRUE(treeBelow(onHost("/outside")) == outside);
    EXPECT_TRUE(fs::is_directory(onHost("/standby/outside")));
}

TEST_F(OrvSyncProcesses, aConfinedReceiverHearsOnePeerOnly) {
    Party standby({"receive", onHost("/standby").string()});
    const OrvSyncSettings settings = settingsOf(standby);
    OrvSyncPri sender(settings);
    ASSERT_EQ(sender.startConnection(), 0);
    ASSERT_EQ(told(sender, sender.sendMkDir("/conf")), 0);  // by now it has its peer and listens no more

    OrvSyncPri second(settings);
    EXPECT_EQ(second.startConnection(), -1);
    EXPECT_EQ(second.error(), ECONNREFUSED);
}

TEST_F(OrvSyncProcesses, aReceiverThatCannotBeConfinedDoesNotListen) {
    Party standby({"receive", onHost("/none").string()});

    EXPECT_EQ(standby.line(), "cannot be confined to " + onHost("/none").string() + ": No such file or directory");
    EXPECT_EQ(standby.wait(), 1);
}

}  // namespace
