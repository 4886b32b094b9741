// What somebody has put in place of the queue's own files and directories: nothing that it leads to is touched, and the
// queue goes on.
#include "base/OrvPaths.h"
#include "testing/mesgq/MesgQTest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <string>

namespace {

namespace fs = std::filesystem;

enum Plant { kLinkToFile, kLinkToNothing, kLinkToDirectory, kHardLink, kPipe, kDirectory, kSocket };
constexpr const char* kPlantNames[] = {
    "link to a file", "link to nothing", "link to a directory", "second name", "pipe", "directory", "socket"};

class OrvCHMesgQPlantedTest : public MesgQTest, public testing::WithParamInterface<const char*> {
protected:
    OrvCHMesgQPlantedTest() {
        switch_.root().write("/outside/file", "somebody else's");
        for (const char* name :
             {"m0", "m1", "order", "a.7", "deep/file", "send/m0", "send/order", "callHome/queues/x"}) {
            switch_.root().write(std::string("/outside/full/") + name, messageFile(name));
        }
    }

    std::string host(const std::string& path) { return switch_.root().at(path); }

    // In place of whatever stands there.
    void plant(Plant kind) {
        const std::string path = host(GetParam());
        fs::remove_all(path);
        fs::create_directories(fs::path(path).parent_path());
        switch (kind) {
            case kLinkToFile:
                return fs::create_symlink(host("/outside/file"), path);
            case kLinkToNothing:
                return fs::create_symlink(host("/outside/new"), path);
            case kLinkToDirectory:
                return fs::create_directory_symlink(host("/outside/full"), path);
            case kHardLink:
                return fs::create_hard_link(host("/outside/file"), path);
            case kPipe:
                ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
                return;
            case kDirectory:
                fs::create_directory(path);
                return;
            case kSocket:
                ASSERT_EQ(::mknod(path.c_str(), S_IFSOCK | 0600, 0), 0);
        }
    }

    // Everything outside: path, kind, content and the time of its last change.
    std::map<std::string, std::string> outside() {
        std::map<std::string, std::string> found;
        for (const auto& each : fs::recursive_directory_iterator(host("/outside"))) {
            const std::string path = each.path().string().substr(switch_.root().path().size());
            struct stat status {};
            EXPECT_EQ(::lstat(each.path().c_str(), &status), 0);
            found[path] = std::to_string(status.st_mode) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                          std::to_string(status.st_mtim.tv_nsec) +
                          (S_ISREG(status.st_mode) ? switch_.root().read(path) : std::string());
        }
        return found;
    }

    void wipe() {
        queue_.reset();
        fs::remove_all(host("/ostrel/conf/orv"));
        fs::remove_all(host(kListing));
        switch_.root().write(std::string(kAttachments) + "/old.7", "");
    }
    // A directory that has nothing to do with the plant need not be listed at the next start: an empty order file.
    void hideWhatIsNotConcerned() {
        const std::string planted = GetParam();
        for (const std::string directory : {kSendDir, kDuplicateDir, kPersistDir}) {
            const bool concerned =
                planted == kListing || planted.starts_with(directory) || directory.starts_with(planted);
            if (!concerned) {
                switch_.root().write(directory + "/order", "");
            }
        }
    }
    // Repeats, marks, discards, moves and clears what is there.
    void liveOn() {
        EXPECT_EQ(add("one"), 0);
        OrvCHMesg* const opened = queue_->peekOpen();
        ASSERT_NE(opened, nullptr);
        EXPECT_EQ(add("two"), 0);
        EXPECT_EQ(queue_->clearQueue(), 0);
        EXPECT_EQ(queue_->peekClose(opened), 0);
        EXPECT_EQ(addPersistent("three", 1, -1), 0);
        EXPECT_EQ(add("four"), 0);
        mailNext();
        mailNext(1);
        EXPECT_EQ(add("four"), 0);
        chores(20);
    }
    void mails(const std::string& text) {
        ASSERT_EQ(add(text), 0);
        std::string mailed;
        for (int i = 0; i < 20 && mailed != text; ++i) {
            OrvCHMesg* const next = queue_->peekOpen();
            ASSERT_NE(next, nullptr);
            mailed = next->Text;
            ASSERT_EQ(queue_->peekDelete(next, 0), 0);
        }
        EXPECT_EQ(mailed, text);
    }
};

TEST_P(OrvCHMesgQPlantedTest, nothingOutsideIsTouchedAndTheQueueGoesOn) {
    enum { kBeforeTheStart, kAfterAMessage, kBeforeARestart, kMoments };
    const auto before = outside();
    for (const Plant kind : {kLinkToFile, kLinkToNothing, kLinkToDirectory, kHardLink, kPipe, kDirectory, kSocket}) {
        for (int moment = kBeforeTheStart; moment < kMoments; ++moment) {
            SCOPED_TRACE(std::string(kPlantNames[kind]) + ", moment " + std::to_string(moment));
            wipe();
            if (moment == kBeforeTheStart) {
                plant(kind);
            }
            restartAndOpen();
            EXPECT_EQ(add("one"), 0);
            if (moment == kAfterAMessage) {
                plant(kind);
            }
            liveOn();
            if (moment == kBeforeARestart) {
                plant(kind);
            }
            hideWhatIsNotConcerned();
            restartAndOpen();
            mails("later");
            EXPECT_EQ(outside(), before);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Names, OrvCHMesgQPlantedTest,
    testing::Values(kOrvCallHomeDirectory, kOrvQueuesDirectory, kOrvSendQueueDirectory, kOrvDuplicateQueueDirectory,
                    kOrvPersistQueueDirectory, "/ostrel/conf/orv/callHome/queues/send/order",
                    "/ostrel/conf/orv/callHome/queues/send/order.new", "/ostrel/conf/orv/callHome/queues/send/m0",
                    "/ostrel/conf/orv/callHome/queues/duplicate/m0", "/ostrel/conf/orv/callHome/queues/persist/m0",
                    "/ostrel/conf/orv/callHome/queues/persist/order", kOrvAttachmentsDirectory,
                    "/ostrel/conf/orv/callHome/attachments.stage", kOrvAttachmentState, kOrvQueueListing),
    [](const auto& parameter) {
        std::string name = parameter.param;
        std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
        return name;
    });

}  // namespace
