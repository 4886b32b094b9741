// What the receiver says of what it could not do, where freeing memory loses errno: part of a program that replaces the
// allocations.
#include "sync/OrvSyncSec.h"
#include "sync/SyncFixture.h"

#include <cerrno>

namespace {

class OrvSyncSecErrno : public SyncFixture {
protected:
    OrvSyncSecErrno() {
        fill(onHost("/file"), "x");
        std::filesystem::create_directory(onHost("/directory"));
    }
};

struct Case {
    int (*operation)(OrvSyncSec& receiver);
    std::vector<std::pair<std::string, std::string>> lines;
    int result;
    int error;
};

TEST_F(OrvSyncSecErrno, ofTheReceiverIsThatOfTheCallThatFailed) {
    const Case cases[] = {
        {[](OrvSyncSec& receiver) { return receiver.recvFile("/missing/file", 1); },
         {{"recvFile", "Receiving file=/missing/file, size=1"}, {"recvFile", "open: No such file or directory"}},
         -1,
         ENOENT},
        {[](OrvSyncSec& receiver) { return receiver.cleanmkdir("/file/below"); },
         {{"cleanmkdir", "mkdir /file"}, {"cleanmkdir", "mkdir /file/below"}, {"cleanmkdir", "mkdir: Not a directory"}},
         -1,
         ENOTDIR},
        {[](OrvSyncSec& receiver) { return receiver.cleanmkdir("/directory"); },
         {{"cleanmkdir", "mkdir /directory"}},
         0,
         0},
        {[](OrvSyncSec& receiver) { return receiver.cleandir("/missing"); },
         {{"cleandir", "opendir: No such file or directory"}},
         -1,
         ENOENT},
        {[](OrvSyncSec& receiver) { return receiver.cleanrmdir("/directory/."); },
         {{"cleanrmdir", "remove: Invalid argument"}},
         -1,
         EINVAL},
        {[](OrvSyncSec& receiver) { return receiver.cleanmvdir("/missing", "/missing/too"); },
         {{"cleandir", "opendir: No such file or directory"},
          {"cleanmvdir", "remove: No such file or directory"},
          {"cleanmvdir", "remove: No such file or directory"},
          {"cleanmvdir", "rename: No such file or directory"}},
         -1,
         ENOENT},
    };
    std::filesystem::create_directories(onHost("/ostrel/conf/orv/callHome/sync"));
    for (const Case& c : cases) {
        OrvSyncSec receiver(at(0));
        traced();

        EXPECT_EQ(c.operation(receiver), c.result);

        EXPECT_EQ(receiver.error(), c.error);
        EXPECT_EQ(traced(), lines("OrvSyncSec", c.lines));
    }
}

}  // namespace
