// What the receiver says of what it could not do, where freeing memory loses errno: part of a program that replaces the
// allocations.
#include "sync/OrvSyncFiles.h"
#include "testing/sync/SyncFixture.h"

#include <cerrno>

namespace {

class OrvSyncFilesErrno : public SyncFixture {
protected:
    OrvSyncFilesErrno() {
        fill(onHost("/file"), "x");
        std::filesystem::create_directory(onHost("/directory"));
    }
};

struct Case {
    int (*operation)(OrvSyncFiles& files);
    std::vector<std::pair<std::string, std::string>> lines;
    int result;
    int error;
};

TEST_F(OrvSyncFilesErrno, ofTheReceiverIsThatOfTheCallThatFailed) {
    const Case cases[] = {
        {[](OrvSyncFiles& files) { return files.recvFile("/missing/file", 1); },
         {{"recvFile", "Receiving file=/missing/file, size=1"}, {"recvFile", "open: No such file or directory"}},
         -1,
         ENOENT},
        {[](OrvSyncFiles& files) { return files.cleanmkdir("/file/below"); },
         {{"cleanmkdir", "mkdir /file"}, {"cleanmkdir", "mkdir /file/below"}, {"cleanmkdir", "mkdir: Not a directory"}},
         -1,
         ENOTDIR},
        {[](OrvSyncFiles& files) { return files.cleanmkdir("/directory"); },
         {{"cleanmkdir", "mkdir /directory"}},
         0,
         0},
        {[](OrvSyncFiles& files) { return files.cleandir("/missing"); },
         {{"cleandir", "opendir: No such file or directory"}},
         -1,
         ENOENT},
        {[](OrvSyncFiles& files) { return files.cleanrmdir("/directory/."); },
         {{"cleanrmdir", "remove: Invalid argument"}},
         -1,
         EINVAL},
        {[](OrvSyncFiles& files) { return files.cleanmvdir("/missing", "/missing/too"); },
         {{"cleandir", "opendir: No such file or directory"},
          {"cleanmvdir", "remove: No such file or directory"},
          {"cleanmvdir", "remove: No such file or directory"},
          {"cleanmvdir", "rename: No such file or directory"}},
         -1,
         ENOENT},
    };
    for (const Case& c : cases) {
        const OrvSyncSocket noSession;
        OrvSyncLastError last;
        OrvSyncFiles files(noSession, last);

        EXPECT_EQ(c.operation(files), c.result);

        EXPECT_EQ(last.number, c.error);
        EXPECT_EQ(traced(), lines("OrvSyncSec", c.lines));
    }
}

}  // namespace
