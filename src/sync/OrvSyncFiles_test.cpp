// What is done to directories in a receiver's file tree, without a receiver.
#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SecFixture.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

namespace {

namespace fs = std::filesystem;

class OrvSyncFilesDirectories : public TreeFixture {
protected:
    // Directories "d" in each other, below a new one.
    void makeDeep(const std::string& path, int levels) const {
        fs::create_directory(onHost(path));
        Descriptor parent(open(onHost(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        for (int i = 0; i < levels; ++i) {
            ASSERT_EQ(mkdirat(parent.get(), "d", 0700), 0);
            parent.reset(openat(parent.get(), "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
    }

    OrvSyncSocket noSession_;
    OrvSyncLastError last_;
    OrvSyncFiles files_{noSession_, last_};

    static Line mkdirLine(const std::string& path) { return {"cleanmkdir", "mkdir " + path}; }
};

TEST_F(OrvSyncFilesDirectories, makesAllThatLeadsToADirectory) {
    write("/a/file", "kept");

    EXPECT_EQ(files_.cleanmkdir("/a/b/c"), 0);

    EXPECT_TRUE(isEmptyDirectory("/a/b/c"));
    EXPECT_EQ(contents(onHost("/a/file")), "kept");
    EXPECT_EQ(traced(), secTrace({mkdirLine("/a"), mkdirLine("/a/b"), mkdirLine("/a/b/c")}));
}

TEST_F(OrvSyncFilesDirectories, makesThemForEverybody) {
    const mode_t former = umask(0);

    EXPECT_EQ(files_.cleanmkdir("/a/b"), 0);

    umask(former);
    for (const char* path : {"/a", "/a/b"}) {
        struct stat status {};
        ASSERT_EQ(stat(onHost(path).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0777u);
    }
}

TEST_F(OrvSyncFilesDirectories, rebuildsThePathFromItsComponents) {
    struct Row {
        const char* path;
        std::vector<Line> lines;
    };
    const Row rows[] = {
        {"a/b", {mkdirLine("/a"), mkdirLine("/a/b")}},
        {"//c///d/", {mkdirLine("/c"), mkdirLine("/c/d")}},
        {"e", {mkdirLine("/e")}},
        {"/", {}},
        {"", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(files_.cleanmkdir(row.path), 0);
        EXPECT_EQ(traced(), secTrace(row.lines));
    }
    for (const char* path : {"/a/b", "/c/d", "/e"}) {
        EXPECT_TRUE(isEmptyDirectory(path));
    }
    EXPECT_TRUE(isThere("/tmp"));
}

TEST_F(OrvSyncFilesDirectories, emptiesADirectoryThatIsThereAlready) {
    write("/a/b/file", "x");
    write("/a/b/c/file", "x");
    write("/a/file", "kept");

    EXPECT_EQ(files_.cleanmkdir("/a/b"), 0);

    EXPECT_TRUE(isEmptyDirectory("/a/b"));
    EXPECT_TRUE(isThere("/a/file"));
    EXPECT_EQ(last_.number, 0);
    EXPECT_EQ(traced(), secTrace({mkdirLine("/a"), mkdirLine("/a/b")}));
}

TEST_F(OrvSyncFilesDirectories, failsWhenADirectoryCannotBeMade) {
    write("/a/file", "x");

    EXPECT_EQ(files_.cleanmkdir("/a/new/../file/b/c"), -1);

    EXPECT_EQ(last_.number, ENOTDIR);
    EXPECT_TRUE(isEmptyDirectory("/a/new"));  // what was done stays done
    EXPECT_EQ(traced(), secTrace({
                            mkdirLine("/a"),
                            mkdirLine("/a/new"),
                            mkdirLine("/a/new/.."),
                            mkdirLine("/a/new/../file"),
                            mkdirLine("/a/new/../file/b"),
                            {"cleanmkdir", "mkdir: Not a directory"},
                        }));
}

TEST_F(OrvSyncFilesDirectories, failsWhenWhatIsThereCannotBeEmptied) {
    write("/a/file", "x");

    EXPECT_EQ(files_.cleanmkdir("/a/file"), -1);

    EXPECT_EQ(last_.number, ENOTDIR);
    EXPECT_EQ(contents(onHost("/a/file")), "x");
    EXPECT_EQ(traced(), secTrace({mkdirLine("/a"), mkdirLine("/a/file"), {"cleandir", "opendir: Not a directory"}}));
}

TEST_F(OrvSyncFilesDirectories, refusesAPathOfMoreThan256Characters) {
    const std::string path = "/a/" + std::string(254, 'x');
    ASSERT_EQ(path.size(), 257u);

    EXPECT_EQ(files_.cleanmkdir(path), -1);

    EXPECT_EQ(last_.number, 36);
    EXPECT_FALSE(isThere("/a"));
    EXPECT_EQ(traced(), secTrace({{"cleanmkdir", "cleanmkdir() directory path: File name too long"}}));
}

TEST_F(OrvSyncFilesDirectories, stopsWhereTheRebuiltPathExceeds255Characters) {
    const std::string half = "/" + std::string(127, 'x');
    const std::string path = half + half;
    ASSERT_EQ(path.size(), 256u);

    EXPECT_EQ(files_.cleanmkdir(path), -1);

    EXPECT_EQ(last_.number, 36);
    EXPECT_TRUE(isEmptyDirectory(half));
    EXPECT_EQ(traced(), secTrace({mkdirLine(half), {"cleanmkdir", "creating directory path: File name too long"}}));
}

TEST_F(OrvSyncFilesDirectories, takesThe255CharactersThatTravel) {
    const std::string half = "/" + std::string(127, 'x');
    const std::string path = half + half.substr(0, 127);

    EXPECT_EQ(files_.cleanmkdir(path), 0);
    EXPECT_TRUE(isEmptyDirectory(path));
    EXPECT_EQ(files_.cleanmkdir(path.substr(1)), 0);  // the slash in front counts, not the one that was there
}

TEST_F(OrvSyncFilesDirectories, addsASlashThatMayBeOneTooMany) {
    const std::string half = std::string(127, 'x');
    const std::string path = half + "/" + half;
    ASSERT_EQ(path.size(), 255u);

    EXPECT_EQ(files_.cleanmkdir(path), -1);

    EXPECT_EQ(last_.number, 36);
}

TEST_F(OrvSyncFilesDirectories, movesIntoAnEmptyPlace) {
    write("/from/a/file", "moved");
    write("/to/old", "gone");

    EXPECT_EQ(files_.cleanmvdir("/from", "/to"), 0);

    EXPECT_FALSE(isThere("/from"));
    EXPECT_FALSE(isThere("/to/old"));
    EXPECT_EQ(contents(onHost("/to/a/file")), "moved");
    EXPECT_EQ(last_.number, 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncFilesDirectories, recordsAMissingDestinationAndMovesAllTheSame) {
    write("/from/file", "moved");

    EXPECT_EQ(files_.cleanmvdir("/from", "/to"), 0);

    EXPECT_EQ(contents(onHost("/to/file")), "moved");
    EXPECT_EQ(last_.number, ENOENT);
    EXPECT_EQ(traced(), secTrace({
                            {"cleandir", "opendir: No such file or directory"},
                            {"cleanmvdir", "remove: No such file or directory"},
                            {"cleanmvdir", "remove: No such file or directory"},
                        }));
}

TEST_F(OrvSyncFilesDirectories, losesTheDestinationWhenThereIsNothingToMove) {
    write("/to/file", "gone");

    EXPECT_EQ(files_.cleanmvdir("/from", "/to"), -1);

    EXPECT_FALSE(isThere("/to"));
    EXPECT_EQ(last_.number, ENOENT);
    EXPECT_EQ(traced(), secTrace({{"cleanmvdir", "rename: No such file or directory"}}));
}

TEST_F(OrvSyncFilesDirectories, triesToMoveWhateverHappensToTheDestination) {
    write("/from/file", "not moved");
    write("/to/file", "stays");
    const FailingCall failing("unlinkat", "", EPERM);

    EXPECT_EQ(files_.cleanmvdir("/from", "/to"), -1);

    EXPECT_EQ(last_.number, ENOTEMPTY);
    EXPECT_EQ(contents(onHost("/to/file")), "stays");
    EXPECT_EQ(traced(), secTrace({
                            {"cleandir", "remove: Operation not permitted"},
                            {"cleanmvdir", "remove: Operation not permitted"},
                            {"cleanmvdir", "remove: Directory not empty"},
                            {"cleanmvdir", "rename: Directory not empty"},
                        }));
}

TEST_F(OrvSyncFilesDirectories, replacesAFileByADirectory) {
    write("/from/file", "moved");
    write("/to", "a file");

    EXPECT_EQ(files_.cleanmvdir("/from", "/to"), 0);

    EXPECT_EQ(contents(onHost("/to/file")), "moved");
    EXPECT_EQ(last_.number, ENOTDIR);
    EXPECT_EQ(traced(), secTrace({
                            {"cleandir", "opendir: Not a directory"},
                            {"cleanmvdir", "remove: Not a directory"},
                        }));
}

TEST_F(OrvSyncFilesDirectories, removesADirectoryWithAllThatIsInIt) {
    write("/a/b/c/d/file", "x");
    write("/a/b/file", "x");

    EXPECT_EQ(files_.cleanrmdir("/a/b"), 0);

    EXPECT_TRUE(isEmptyDirectory("/a"));
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncFilesDirectories, doesNotRemoveWhatItCannotEmpty) {
    write("/a/file", "x");
    struct Row {
        const char* path;
        int error;
        const char* line;
    };
    for (const Row& row : {Row{"/none", ENOENT, "opendir: No such file or directory"},
                           Row{"/a/file", ENOTDIR, "opendir: Not a directory"}}) {
        EXPECT_EQ(files_.cleanrmdir(row.path), -1);
        EXPECT_EQ(last_.number, row.error);
        EXPECT_EQ(traced(), secTrace({{"cleandir", row.line}}));
    }
    EXPECT_TRUE(isThere("/a/file"));
}

TEST_F(OrvSyncFilesDirectories, reportsAnEmptyDirectoryThatCannotBeRemoved) {
    fs::create_directory(onHost("/a"));
    fs::create_directory_symlink(onHost("/a"), onHost("/busy"));

    EXPECT_EQ(files_.cleanrmdir("/busy/."), -1);

    EXPECT_EQ(last_.number, EINVAL);
    EXPECT_EQ(traced(), secTrace({{"cleanrmdir", "remove: Invalid argument"}}));
}

TEST_F(OrvSyncFilesDirectories, removesLinksAndNotWhatTheyPointTo) {
    write("/outside/file", "stays");
    write("/a/file", "x");
    fs::create_directory_symlink(onHost("/outside"), onHost("/a/link"));
    fs::create_symlink(onHost("/outside/file"), onHost("/a/other"));
    fs::create_symlink("nowhere", onHost("/a/dangling"));

    EXPECT_EQ(files_.cleandir("/a"), 0);

    EXPECT_TRUE(isEmptyDirectory("/a"));
    EXPECT_EQ(contents(onHost("/outside/file")), "stays");
}

TEST_F(OrvSyncFilesDirectories, emptiesWhatHasManyEntriesAndOddNames) {
    fs::create_directory(onHost("/many"));
    for (int i = 0; i < 3000; ++i) {
        fill(onHost("/many/" + std::to_string(i)), "");
    }
    write("/many/.hidden/..more/...", "x");
    write("/many/with blank\n/and line", "x");
    fs::create_directory(onHost("/many/empty"));
    mkfifo(onHost("/many/fifo").c_str(), 0600);

    EXPECT_EQ(files_.cleandir("/many"), 0);

    EXPECT_TRUE(isEmptyDirectory("/many"));
}

TEST_F(OrvSyncFilesDirectories, emptiesATreeDeeperThanAPathIsLong) {
    const int before = Descriptor(dup(0)).get();
    fs::create_directory(onHost("/deep"));
    Descriptor parent(open(onHost("/deep").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::string name(200, 'n');
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(mkdirat(parent.get(), name.c_str(), 0700), 0);
        parent.reset(openat(parent.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    parent.reset();

    EXPECT_EQ(files_.cleanrmdir("/deep"), 0);

    EXPECT_FALSE(isThere("/deep"));
    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, before);
}

// Far more levels than descriptors: a level must not keep one open.
TEST_F(OrvSyncFilesDirectories, emptiesATreeDeeperThanDescriptorsAreMany) {
    makeDeep("/deep", 3000);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    const rlimit few{std::min<rlim_t>(former.rlim_cur, 100), former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);

    EXPECT_EQ(files_.cleanrmdir("/deep"), 0);

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_FALSE(isThere("/deep"));
    EXPECT_EQ(traced(), "");
}

// What is above a directory is then somebody else's.
TEST_F(OrvSyncFilesDirectories, removesNothingAboveADirectoryThatIsMovedAwayMeanwhile) {
    makeDeep("/deep", 40);
    write("/outside/file", "stays");
    std::string tenth = "/deep";
    for (int i = 0; i < 10; ++i) {
        tenth += "/d";
    }
    bool moved = false;
    CallHooks hooks;
    hooks.unlinkat = [&](int parent, const char* name, int flags) {
        if (!std::exchange(moved, true)) {
            fs::rename(onHost(tenth), onHost("/outside/d"));
        }
        return ::unlinkat(parent, name, flags);
    };

    EXPECT_EQ(files_.cleandir("/deep"), -1);

    EXPECT_EQ(last_.number, ESTALE);
    EXPECT_TRUE(isThere("/outside/d"));
    EXPECT_EQ(contents(onHost("/outside/file")), "stays");
    EXPECT_EQ(traced(), secTrace({{"cleandir", "opendir: Stale file handle"}}));
}

TEST_F(OrvSyncFilesDirectories, stopsAtAnEntryThatCannotBeRemoved) {
    write("/a/b/file", "x");
    const FailingCall failing("unlinkat", "", EBUSY);

    EXPECT_EQ(files_.cleandir("/a"), -1);

    EXPECT_EQ(last_.number, EBUSY);
    EXPECT_EQ(traced(), secTrace({{"cleandir", "remove: Device or resource busy"}}));
    EXPECT_EQ(files_.cleanrmdir("/a"), -1);
    EXPECT_EQ(traced(), secTrace({{"cleandir", "remove: Device or resource busy"}}));
}

}  // namespace
