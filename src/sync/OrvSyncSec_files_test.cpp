// How the receiver takes a file.
#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SecFixture.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace {

using namespace std::string_literals;

class OrvSyncSecFiles : public SecFixture {
protected:
    OrvSyncSecFiles() { traced(); }
    // What stands in the way of what is to be written: a disk that is always full.
    void makeDiskFull(const std::string& path) const { std::filesystem::create_symlink("/dev/full", onHost(path)); }
};

TEST_F(OrvSyncSecFiles, createsAFileThatItsOwnerMayWriteAndAllMayRead) {
    const mode_t former = umask(0);
    peer_->write("text");

    EXPECT_EQ(receiver_->files().recvFile("/file", 4), 0);

    umask(former);
    struct stat status {};
    ASSERT_EQ(stat(onHost("/file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=4"},
                            {"recvFile", "Received bytes=4, bytes written total=4"},
                        }));
}

TEST_F(OrvSyncSecFiles, replacesWhatWasInTheFile) {
    write("/file", "something longer");
    peer_->write("text");

    EXPECT_EQ(receiver_->files().recvFile("/file", 4), 0);

    EXPECT_EQ(contents(onHost("/file")), "text");
}

TEST_F(OrvSyncSecFiles, emptiesAFileForASizeBelowOne) {
    for (const std::int32_t size : {0, -1, -2147483647 - 1}) {
        write("/file", "something");

        EXPECT_EQ(receiver_->files().recvFile("/file", size), 0);

        EXPECT_EQ(contents(onHost("/file")), "");
        EXPECT_EQ(traced(), secTrace({{"recvFile", "Receiving file=/file, size=" + std::to_string(size)}}));
        EXPECT_EQ(answer(removeFile("/file")), reply(0));
        traced();
    }
}

TEST_F(OrvSyncSecFiles, takesAFileInPiecesOf4096Bytes) {
    std::string text;
    for (int i = 0; text.size() < 10000; ++i) {
        text += std::to_string(i) + " ";
    }
    text.resize(10000);
    peer_->write(text + "next");

    EXPECT_EQ(receiver_->files().recvFile("/file", 10000), 0);

    EXPECT_EQ(contents(onHost("/file")), text);
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=10000"},
                            {"recvFile", "Received bytes=4096, bytes written total=4096"},
                            {"recvFile", "Received bytes=4096, bytes written total=8192"},
                            {"recvFile", "Received bytes=1808, bytes written total=10000"},
                        }));
}

TEST_F(OrvSyncSecFiles, takesWhatComesWhenItComes) {
    std::string pieces[] = {"ab", "c", "defg"};
    std::size_t next = 0;
    CallHooks hooks;
    hooks.recv = [&](int, void* bytes, std::size_t count, int) -> ssize_t {
        const std::string& piece = pieces[next++];
        EXPECT_GE(count, piece.size());
        std::copy(piece.begin(), piece.end(), static_cast<char*>(bytes));
        return static_cast<ssize_t>(piece.size());
    };

    EXPECT_EQ(receiver_->files().recvFile("/file", 7), 0);

    EXPECT_EQ(contents(onHost("/file")), "abcdefg");
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=7"},
                            {"recvFile", "Received bytes=2, bytes written total=2"},
                            {"recvFile", "Received bytes=1, bytes written total=3"},
                            {"recvFile", "Received bytes=4, bytes written total=7"},
                        }));
}

TEST_F(OrvSyncSecFiles, stopsWhenThePeerClosesEarly) {
    peer_->write(copy("/file", 10, "text"));
    peer_->sayNoMore();

    EXPECT_EQ(receiver_->recvOp(), 1);

    EXPECT_EQ(peer_->read(4), reply(ECONNRESET));
    EXPECT_EQ(contents(onHost("/file")), "text");
    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /file, size = 10"},
                            {"recvFile", "Receiving file=/file, size=10"},
                            {"recvFile", "Received bytes=4, bytes written total=4"},
                            {"recvFile", "recv: Connection reset by peer"},
                        }));
    EXPECT_EQ(receiver_->recvOp(), 0);
}

TEST_F(OrvSyncSecFiles, reportsAFailedReceive) {
    const FailingCall failing("recv", "", EIO);

    EXPECT_EQ(receiver_->files().recvFile("/file", 10), -1);

    EXPECT_EQ(receiver_->error(), EIO);
    EXPECT_TRUE(receiver_->listening());
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=10"},
                            {"recvFile", "recv: Input/output error"},
                        }));
}

TEST_F(OrvSyncSecFiles, doesNotWaitForEverForTheRest) {
    OrvSyncSettings settings = at(0);
    settings.limit = std::chrono::milliseconds(10);
    OrvSyncSec sec(settings);
    ASSERT_EQ(sec.startConnection(), 0);
    ASSERT_EQ(sec.listenConnection(), 0);
    const PlainSocket peer;
    peer.connect(sec.port());
    ASSERT_EQ(sec.startSession(), 0);
    peer.write("text");

    EXPECT_EQ(sec.files().recvFile("/file", 10), -1);

    EXPECT_EQ(sec.error(), ETIMEDOUT);
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=10"},
                            {"recvFile", "Received bytes=4, bytes written total=4"},
                            {"recvFile", "recv: Connection timed out"},
                        }));
    EXPECT_EQ(sec.recvOp(), -1);  // the rest may still come, and is no record
}

TEST_F(OrvSyncSecFiles, answersAPeerThatFallsSilentAndWaitsForTheRestOnceMore) {
    OrvSyncSettings settings = at(0);
    settings.limit = std::chrono::milliseconds(10);
    OrvSyncSec sec(settings);
    ASSERT_EQ(sec.startConnection(), 0);
    ASSERT_EQ(sec.listenConnection(), 0);
    const PlainSocket peer;
    peer.connect(sec.port());
    ASSERT_EQ(sec.startSession(), 0);
    peer.write(copy("/file", 10, "text"));
    int receives = 0;
    CallHooks hooks;
    hooks.recv = [&receives](int from, void* bytes, std::size_t count, int flags) {
        ++receives;
        return ::recv(from, bytes, count, flags);
    };

    EXPECT_EQ(sec.recvOp(), 1);
    EXPECT_EQ(peer.read(4), reply(ETIMEDOUT));
    EXPECT_EQ(contents(onHost("/file")), "text");
    receives = 0;
    EXPECT_EQ(sec.recvOp(), -1);

    EXPECT_EQ(receives, 1);
    EXPECT_EQ(sec.error(), ETIMEDOUT);
    EXPECT_FALSE(sec.listening());
}

TEST_F(OrvSyncSecFiles, writesInAsManyPiecesAsTheDiskTakes) {
    int calls = 0;
    CallHooks hooks;
    hooks.write = [&calls](int to, const void* bytes, std::size_t count) -> ssize_t {
        return ++calls == 2 ? failWith(EINTR) : ::write(to, bytes, std::min<std::size_t>(count, 3));
    };
    peer_->write("12345678");

    EXPECT_EQ(receiver_->files().recvFile("/file", 8), 0);

    EXPECT_EQ(calls, 4);
    EXPECT_EQ(contents(onHost("/file")), "12345678");
    EXPECT_EQ(traced(), secTrace({
                            {"recvFile", "Receiving file=/file, size=8"},
                            {"recvFile", "Received bytes=8, bytes written total=8"},
                        }));
}

TEST_F(OrvSyncSecFiles, doesNotTryForEverToWriteNothing) {
    CallHooks hooks;
    hooks.write = [](int, const void*, std::size_t) -> ssize_t { return 0; };
    peer_->write("12345678");

    EXPECT_EQ(receiver_->files().recvFile("/file", 8), -1);

    EXPECT_EQ(receiver_->error(), EIO);
}

TEST_F(OrvSyncSecFiles, answersThatTheDiskIsFullAndStaysInStepWithItsPeer) {
    makeDiskFull("/file");
    // Were any of it taken for a record, it would be one that removes the directory.
    const std::string poison = removeDirectory("/tmp");
    std::string text;
    while (text.size() < 50 * poison.size()) {
        text += poison;
    }
    text += "odd";
    traced();

    EXPECT_EQ(answer(copy("/file", text)), reply(ENOSPC));

    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /file, size = " + std::to_string(text.size())},
                            {"recvFile", "Receiving file=/file, size=" + std::to_string(text.size())},
                            {"recvFile", "write: No space left on device"},
                        }));
    EXPECT_EQ(answer(makeDirectory("/new")), reply(ENOSPC));
    EXPECT_TRUE(isEmptyDirectory("/new"));
    EXPECT_TRUE(isThere("/tmp"));
    EXPECT_EQ(answer(copy("/new/file", "text")), reply(ENOSPC));
    EXPECT_EQ(contents(onHost("/new/file")), "text");
}

TEST_F(OrvSyncSecFiles, reportsADiskThatFillsUpInTheMiddle) {
    {
        int calls = 0;
        CallHooks hooks;
        hooks.write = [&calls](int to, const void* bytes, std::size_t count) -> ssize_t {
            return ++calls == 1 ? ::write(to, bytes, std::min<std::size_t>(count, 3)) : failWith(ENOSPC);
        };

        EXPECT_EQ(answer(copy("/file", "12345678")), reply(ENOSPC));

        EXPECT_EQ(calls, 2);
    }
    EXPECT_EQ(contents(onHost("/file")), "123");
    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /file, size = 8"},
                            {"recvFile", "Receiving file=/file, size=8"},
                            {"recvFile", "write: No space left on device"},
                        }));
    EXPECT_EQ(answer(copy("/file", "text")), reply(ENOSPC));
    EXPECT_EQ(contents(onHost("/file")), "text");
}

TEST_F(OrvSyncSecFiles, answersThatAFileCannotBeOpenedAndStaysInStepWithItsPeer) {
    EXPECT_EQ(answer(copy("/none/file", removeDirectory("/tmp"))), reply(ENOENT));

    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /none/file, size = 516"},
                            {"recvFile", "Receiving file=/none/file, size=516"},
                            {"recvFile", "open: No such file or directory"},
                        }));
    EXPECT_EQ(answer(makeDirectory("/new")), reply(ENOENT));
    EXPECT_TRUE(isEmptyDirectory("/new"));
    EXPECT_TRUE(isThere("/tmp"));
}

TEST_F(OrvSyncSecFiles, answersBeforeItHasSeenTheFileThatItCannotOpen) {
    EXPECT_EQ(answer(copy("/none/file", 10, "")), reply(ENOENT));

    peer_->write("0123456789");
    EXPECT_EQ(answer(makeDirectory("/new")), reply(ENOENT));
    EXPECT_TRUE(isEmptyDirectory("/new"));
}

TEST_F(OrvSyncSecFiles, findsThePeerGoneWhileItDropsTheRestOfAFile) {
    peer_->write(copy("/none/file", 10000, "text"));
    peer_->sayNoMore();

    EXPECT_EQ(receiver_->recvOp(), 1);
    EXPECT_EQ(receiver_->recvOp(), 0);
    EXPECT_EQ(receiver_->recvOp(), 0);
}

TEST_F(OrvSyncSecFiles, startsANewSessionWithARecord) {
    EXPECT_EQ(answer(copy("/none/file", 10000, "text")), reply(ENOENT));

    newSession();

    EXPECT_EQ(answer(makeDirectory("/new")), reply(ENOENT));
    EXPECT_TRUE(isEmptyDirectory("/new"));
}

TEST_F(OrvSyncSecFiles, doesNotWaitForSomebodyWhoReadsAFifo) {
    ASSERT_EQ(mkfifo(onHost("/fifo").c_str(), 0600), 0);

    EXPECT_EQ(answer(copy("/fifo", "text")), reply(ENXIO));
}

TEST_F(OrvSyncSecFiles, leavesNoDescriptorOpenWhateverHappens) {
    makeDiskFull("/full");
    const int before = Descriptor(dup(0)).get();

    EXPECT_EQ(answer(copy("/file", "text")), reply(0));
    EXPECT_EQ(answer(copy("/empty", "")), reply(0));
    EXPECT_EQ(answer(copy("/none/file", "text")), reply(ENOENT));
    EXPECT_EQ(answer(copy("/full", "text")), reply(ENOSPC));
    peer_->write(copy("/file", 10, "text"));
    peer_->sayNoMore();
    EXPECT_EQ(receiver_->recvOp(), 1);

    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, before);
}

}  // namespace
