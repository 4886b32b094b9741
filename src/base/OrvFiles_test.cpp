#include "base/OrvFiles.h"

#include "Directory_Stream.h"
#include "base/OrvPaths.h"
#include "testing/base/HostFixture.h"

#include <fcntl.h>

#include <functional>

namespace {

namespace fs = std::filesystem;

constexpr int kWrite = O_WRONLY | O_CREAT;

class OrvFiles : public HostFixture {
protected:
    OrvFiles() {
        fs::create_directories(onHost(kOrvSendQueueDirectory));
        fs::create_directories(onHost("/outside"));
        fill(onHost("/outside/secret"), "secret");
    }

    // Nothing outside has been touched.
    void expectUntouched() {
        EXPECT_EQ(contents(onHost("/outside/secret")), "secret");
        EXPECT_EQ(std::distance(fs::directory_iterator(onHost("/outside")), fs::directory_iterator()), 1);
    }
};

constexpr char kFile[] = "/ostrel/conf/orv/callHome/queues/send/m0";
constexpr char kTrace[] = "/tmp/orv.out.Main";

TEST_F(OrvFiles, opensWhatStandsThere) {
    fill(onHost(kFile), "text");
    char bytes[5] = {};

    const Descriptor file = orvOpenFile(kFile, O_RDONLY);

    EXPECT_EQ(read(file.get(), bytes, 4), 4);
    EXPECT_STREQ(bytes, "text");
    EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(OrvFiles, createsAndEmpties) {
    EXPECT_EQ(orvWriteWhole(orvOpenFile(kTrace, kWrite, 0600).get(), "one", 3), 0);
    EXPECT_EQ(fs::status(onHost(kTrace)).permissions(), fs::perms(0600));
    EXPECT_EQ(orvWriteWhole(orvOpenFile(kTrace, kWrite, 0600).get(), "t", 1), 0);
    EXPECT_EQ(contents(onHost(kTrace)), "tne");
    EXPECT_TRUE(orvOpenFile(kTrace, kWrite | O_TRUNC, 0600));
    EXPECT_EQ(contents(onHost(kTrace)), "");
}

TEST_F(OrvFiles, refusesALinkInPlaceOfTheFile) {
    for (const char* path : {kFile, kTrace}) {
        fs::create_symlink(onHost("/outside/secret"), onHost(path));
        for (const int flags : {O_RDONLY, kWrite, kWrite | O_TRUNC}) {
            EXPECT_FALSE(orvOpenFile(path, flags, 0600));
            EXPECT_EQ(errno, ELOOP);
        }
    }
    expectUntouched();
}

TEST_F(OrvFiles, createsNothingThroughADanglingLink) {
    fs::create_symlink(onHost("/outside/new"), onHost(kFile));

    EXPECT_FALSE(orvOpenFile(kFile, kWrite, 0600));
    expectUntouched();
}

// Each of the daemon's own directories in turn is a link to one that has everything below it.
TEST_F(OrvFiles, refusesALinkInPlaceOfEveryDirectoryOfItsOwn) {
    for (const char* own : {kOrvDirectory, kOrvCallHomeDirectory, kOrvQueuesDirectory, kOrvSendQueueDirectory}) {
        fs::rename(onHost(own), onHost("/elsewhere"));
        fs::create_directory_symlink(onHost("/elsewhere"), onHost(own));

        EXPECT_FALSE(orvOpenFile(kFile, kWrite, 0600)) << own;
        EXPECT_EQ(errno, ENOTDIR) << own;
        EXPECT_FALSE(orvOpenDirectory(kOrvSendQueueDirectory)) << own;
        EXPECT_EQ(orvMakeDirectory("/ostrel/conf/orv/callHome/queues/send/x", 0700), -1) << own;
        EXPECT_EQ(orvUnlinkFile(kFile), -1) << own;

        fs::remove(onHost(own));
        fs::rename(onHost("/elsewhere"), onHost(own));
    }
    EXPECT_TRUE(fs::is_empty(onHost(kOrvSendQueueDirectory)));
}

TEST_F(OrvFiles, followsLinksAboveItsOwnDirectories) {
    fs::rename(onHost("/ostrel"), onHost("/flash"));
    fs::create_directory_symlink(onHost("/flash"), onHost("/ostrel"));
    fs::rename(onHost("/tmp"), onHost("/memory"));
    fs::create_directory_symlink(onHost("/memory"), onHost("/tmp"));

    EXPECT_TRUE(orvOpenFile(kFile, kWrite, 0600));
    EXPECT_TRUE(orvOpenFile(kTrace, kWrite, 0600));
    EXPECT_EQ(orvRenameFile(kFile, "/ostrel/conf/orv/callHome/queues/send/m1"), 0);
    EXPECT_EQ(orvUnlinkFile("/ostrel/conf/orv/callHome/queues/send/m1"), 0);
    EXPECT_EQ(orvUnlinkFile(kTrace), 0);
    // One among its own is refused there too.
    fs::create_symlink(onHost("/outside/secret"), onHost(kFile));
    EXPECT_FALSE(orvOpenFile(kFile, kWrite, 0600));
    expectUntouched();
}

TEST_F(OrvFiles, findsANameThatHasGrownTogetherWithItsRoots) {
    fs::create_directory_symlink(onHost("/outside"), onHost("/way"));
    const std::string path = onHost("/way/secret").string();

    EXPECT_TRUE(Descriptor(orvOpenUnlinked(path.c_str(), path.size() - 3, O_RDONLY | O_CLOEXEC, 0)));
}

// The kernel's own way stops at the link, and a walk begins.
TEST_F(OrvFiles, followsNoLinkOfTheWorkingDirectory) {
    const fs::path before = fs::current_path();
    fs::current_path(onHost("/tmp"));
    fs::create_symlink(onHost("/outside/secret"), "link");

    EXPECT_LT(orvOpenUnlinked("link", 0, O_RDONLY | O_CLOEXEC, 0), 0);
    EXPECT_EQ(errno, ELOOP);

    fs::current_path(before);
}

TEST_F(OrvFiles, walksFromTheRootWhereNothingIsTrusted) {
    fs::create_directory_symlink(onHost("/outside"), onHost("/way"));

    EXPECT_LT(orvOpenUnlinked(onHost("/way/secret").c_str(), 0, O_RDONLY | O_CLOEXEC, 0), 0);
}

TEST_F(OrvFiles, opensTheTrustedPartItself) {
    fs::create_directory_symlink(onHost("/outside"), onHost("/way"));
    const std::string path = onHost("/way").string() + "/";

    EXPECT_TRUE(Descriptor(orvOpenUnlinked(path.c_str(), path.size() - 1, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0)));
}

TEST_F(OrvFiles, givesNoSecondNameWhereThereIsNoDirectory) {
    fill(onHost(kFile), "text");

    EXPECT_LT(orvLinkFile(kFile, "/ostrel/conf/no/such/m0"), 0);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(OrvFiles, writesToNoFileWithASecondName) {
    for (const char* path : {kFile, kTrace}) {
        fs::create_hard_link(onHost("/outside/secret"), onHost(path));

        EXPECT_FALSE(orvOpenFile(path, kWrite | O_TRUNC, 0600));
        EXPECT_EQ(errno, EMLINK);
        EXPECT_TRUE(orvOpenFile(path, O_RDONLY));
    }
    expectUntouched();
}

TEST_F(OrvFiles, waitsForNoPipeAndWritesToNone) {
    mkfifo(onHost(kFile).c_str(), 0600);

    EXPECT_FALSE(orvOpenFile(kFile, kWrite, 0600));
    EXPECT_EQ(errno, ENXIO);
    const Descriptor reader = orvOpenFile(kFile, O_RDONLY);
    EXPECT_TRUE(reader);
    EXPECT_FALSE(orvOpenFile(kFile, kWrite, 0600));
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(OrvFiles, opensADirectoryAsADirectoryOnly) {
    EXPECT_FALSE(orvOpenFile(kOrvSendQueueDirectory, kWrite, 0600));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(orvOpenDirectory(kOrvSendQueueDirectory));
    EXPECT_TRUE(orvOpenDirectory("/ostrel/conf/orv/callHome/queues/send/"));
    fill(onHost(kFile), "");
    EXPECT_FALSE(orvOpenDirectory(kFile));
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(OrvFiles, seesALinkAsALink) {
    fs::create_symlink(onHost("/outside/secret"), onHost(kFile));
    struct stat status {};

    EXPECT_EQ(orvStatFile(kFile, status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(orvStatFile("/ostrel/conf/orv/callHome/queues/send/m1", status), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(OrvFiles, removesLinksThemselves) {
    fs::create_symlink(onHost("/outside/secret"), onHost(kFile));

    EXPECT_EQ(orvUnlinkFile(kFile), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(onHost(kFile))));
    expectUntouched();
}

TEST_F(OrvFiles, makesAndRemovesDirectories) {
    EXPECT_EQ(orvMakeDirectory("/ostrel/conf/orv/callHome/attachments/", 0700), 0);
    EXPECT_TRUE(fs::is_directory(onHost(kOrvAttachmentsDirectory)));
    EXPECT_EQ(orvRemoveDirectory("/ostrel/conf/orv/callHome/attachments/"), 0);
    EXPECT_FALSE(fs::exists(onHost(kOrvAttachmentsDirectory)));
}

TEST_F(OrvFiles, givesAFileASecondNameButNotALink) {
    const char* const second = "/ostrel/conf/orv/callHome/queues/send/m1";
    fs::create_symlink(onHost("/outside/secret"), onHost(kFile));
    EXPECT_EQ(orvLinkFile(kFile, second), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(fs::exists(onHost(second)));

    EXPECT_EQ(orvUnlinkFile(kFile), 0);
    fill(onHost(kFile), "text");
    EXPECT_EQ(orvLinkFile(kFile, second), 0);
    EXPECT_EQ(contents(onHost(second)), "text");
}

TEST_F(OrvFiles, hasNoNameThatIsTooLong) {
    EXPECT_EQ(orvUnlinkFile("/tmp/" + std::string(300, 'x')), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(OrvFiles, rewritesInPlaceWithoutEmptying) {
    fill(onHost(kFile), "a longer text");
    const auto before = fs::hard_link_count(onHost(kFile));
    struct stat former {};
    ASSERT_EQ(orvStatFile(kFile, former), 0);

    const auto rewrite = [](std::string_view text) {
        off_t size = 0;
        const Descriptor file = orvOpenFile(kFile, O_WRONLY, 0, size);
        return orvRewriteFile(file.get(), size, text.data(), text.size());
    };
    EXPECT_EQ(rewrite("short"), 0);
    EXPECT_EQ(contents(onHost(kFile)), "short");
    EXPECT_EQ(rewrite("longer again"), 0);
    EXPECT_EQ(contents(onHost(kFile)), "longer again");
    EXPECT_EQ(rewrite("as long here"), 0);
    EXPECT_EQ(contents(onHost(kFile)), "as long here");

    struct stat status {};
    ASSERT_EQ(orvStatFile(kFile, status), 0);
    EXPECT_EQ(status.st_ino, former.st_ino);
    EXPECT_EQ(before, 1u);
}

TEST_F(OrvFiles, tellsHowManyBytesAFileHasForWriting) {
    fill(onHost(kFile), "five.");
    off_t size = -1;
    EXPECT_TRUE(orvOpenFile(kFile, O_WRONLY, 0, size));
    EXPECT_EQ(size, 5);
    EXPECT_TRUE(orvOpenFile(kFile, O_WRONLY | O_TRUNC, 0, size));
    EXPECT_EQ(size, 0);
    EXPECT_EQ(contents(onHost(kFile)), "");

    fs::remove(onHost(kFile));
    size = -1;
    EXPECT_TRUE(orvOpenFile(kFile, O_WRONLY | O_CREAT | O_EXCL, 0600, size));
    EXPECT_EQ(size, 0);
}

TEST_F(OrvFiles, createsAWholeFileOrNone) {
    EXPECT_EQ(orvCreateWholeFile(kFile, "text", 4, 0640), 0);
    EXPECT_EQ(contents(onHost(kFile)), "text");
    EXPECT_EQ(fs::status(onHost(kFile)).permissions(), fs::perms(0640));
    EXPECT_FALSE(fs::exists(onHost(std::string(kFile) + ".new")));

    // Its name is taken by what cannot be replaced.
    fs::create_directory(onHost("/ostrel/conf/orv/callHome/queues/send/m1"));
    EXPECT_EQ(orvCreateWholeFile("/ostrel/conf/orv/callHome/queues/send/m1", "text", 4, 0640), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(fs::exists(onHost("/ostrel/conf/orv/callHome/queues/send/m1.new")));
}

// What a kill has left, and what a stranger has put there.
TEST_F(OrvFiles, createsAWholeFileWhateverStandsUnderItsNewName) {
    const std::string newName = onHost(std::string(kFile) + ".new");
    const std::function<void()> plants[] = {
        [&] { fill(newName, "a longer leftover"); },
        [&] { fs::create_symlink(onHost("/outside/secret"), newName); },
        [&] { fs::create_symlink(onHost("/outside/new"), newName); },
        [&] { fs::create_hard_link(onHost("/outside/secret"), newName); },
        [&] { EXPECT_EQ(mkfifo(newName.c_str(), 0600), 0); },
    };
    for (const auto& plant : plants) {
        plant();

        EXPECT_EQ(orvCreateWholeFile(kFile, "text", 4, 0640), 0);

        EXPECT_EQ(contents(onHost(kFile)), "text");
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(onHost(kFile))));
        EXPECT_FALSE(fs::exists(fs::symlink_status(newName)));
        expectUntouched();
        fs::remove(onHost(kFile));
    }
}

TEST_F(OrvFiles, leavesNoDescriptorOpen) {
    const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()); };
    const auto before = open();

    struct stat status {};
    EXPECT_EQ(orvCreateWholeFile(kFile, "text", 4, 0640), 0);
    EXPECT_EQ(orvStatFile(kFile, status), 0);
    EXPECT_TRUE(orvOpenFile(kFile, O_RDONLY));
    EXPECT_FALSE(orvOpenFile("/ostrel/conf/orv/none/none", O_RDONLY));
    EXPECT_EQ(orvUnlinkFile(kFile), 0);

    EXPECT_EQ(open(), before);
}

}  // namespace
