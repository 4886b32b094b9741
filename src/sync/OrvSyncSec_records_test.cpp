// How the receiver takes records and answers them.
#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SecFixture.h"

#include <netinet/tcp.h>

#include <algorithm>
#include <cerrno>
#include <thread>

namespace {

using namespace std::string_literals;

class OrvSyncSecRecords : public SecFixture {
protected:
    OrvSyncSecRecords() { traced(); }
};

TEST_F(OrvSyncSecRecords, removesAFile) {
    write("/conf/file", "x");

    EXPECT_EQ(answer(removeFile("/conf/file")), reply(0));

    EXPECT_FALSE(isThere("/conf/file"));
    EXPECT_EQ(traced(), secTrace({{"recvOp", "name = /conf/file"}}));
}

TEST_F(OrvSyncSecRecords, answersWhyAFileCannotBeRemoved) {
    EXPECT_EQ(answer(removeFile("/conf/none")), reply(ENOENT));

    EXPECT_EQ(receiver_->error(), ENOENT);
    EXPECT_EQ(traced(), secTrace({{"recvOp", "name = /conf/none"}, {"recvOp", "remove: No such file or directory"}}));
}

TEST_F(OrvSyncSecRecords, copiesAFile) {
    write("/conf/x", "");

    EXPECT_EQ(answer(copy("/conf/file", "five\n")), reply(0));

    EXPECT_EQ(contents(onHost("/conf/file")), "five\n");
    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /conf/file, size = 5"},
                            {"recvFile", "Receiving file=/conf/file, size=5"},
                            {"recvFile", "Received bytes=5, bytes written total=5"},
                        }));
}

TEST_F(OrvSyncSecRecords, makesADirectory) {
    EXPECT_EQ(answer(makeDirectory("/conf")), reply(0));

    EXPECT_TRUE(isEmptyDirectory("/conf"));
    EXPECT_EQ(traced(), secTrace({{"recvOp", "name = /conf"}, {"cleanmkdir", "mkdir /conf"}}));
}

TEST_F(OrvSyncSecRecords, movesADirectory) {
    write("/from/file", "moved");
    write("/to/file", "replaced");
    write("/to/other", "gone");

    EXPECT_EQ(answer(move("/from", "/to")), reply(0));

    EXPECT_FALSE(isThere("/from"));
    EXPECT_EQ(contents(onHost("/to/file")), "moved");
    EXPECT_FALSE(isThere("/to/other"));
    EXPECT_EQ(traced(), secTrace({{"recvOp", "srcname = /from, dstname = /to"}}));
}

TEST_F(OrvSyncSecRecords, removesADirectoryWithAllThatIsInIt) {
    write("/conf/a/b/file", "x");

    EXPECT_EQ(answer(removeDirectory("/conf/a")), reply(0));

    EXPECT_TRUE(isEmptyDirectory("/conf"));
    EXPECT_EQ(traced(), secTrace({{"recvOp", "name = /conf/a"}}));
}

TEST_F(OrvSyncSecRecords, answersAnUnknownOperationWith84) {
    for (const std::string& code : {"\0\0\0\5"s, "\0\0\1\0"s, "\x80\0\0\0"s, "\xFF\xFF\xFF\xFF"s}) {
        EXPECT_EQ(answer(code + field("/conf", 512)), reply(84));
        EXPECT_EQ(receiver_->error(), 84);
        EXPECT_EQ(traced(), secTrace({{"recvOp", "Unrecognized operation code"}}));
    }
}

TEST_F(OrvSyncSecRecords, repeatsTheLastErrorInLaterReplies) {
    EXPECT_EQ(answer(makeDirectory("/conf")), reply(0));
    EXPECT_EQ(answer(removeFile("/conf/none")), reply(ENOENT));

    EXPECT_EQ(answer(copy("/conf/file", "text")), reply(ENOENT));
    EXPECT_EQ(answer(makeDirectory("/conf/new")), reply(ENOENT));
    EXPECT_EQ(answer(field("\0\0\0\x9"s, 516)), reply(84));
    EXPECT_EQ(answer(removeFile("/conf/file")), reply(84));
    newSession();
    EXPECT_EQ(answer(removeDirectory("/conf/new")), reply(84));
    EXPECT_TRUE(isEmptyDirectory("/conf"));

    ASSERT_EQ(receiver_->startConnection(), 0);
    EXPECT_EQ(answer(makeDirectory("/conf/new")), reply(0));
}

TEST_F(OrvSyncSecRecords, answersInBigEndianOrder) {
    const FailingCall failing("unlinkat", "", 0x01020304);
    write("/conf/file", "x");

    EXPECT_EQ(answer(removeDirectory("/conf")), "\1\2\3\4"s);
}

TEST_F(OrvSyncSecRecords, takesARecordInSingleBytes) {
    const std::string bytes = copy("/file", "0123456789");
    const std::uint16_t port = receiver_->port();
    std::string answered;
    peer_->end();
    std::thread sender([&] {
        const PlainSocket peer;
        const int on = 1;
        setsockopt(peer.descriptor(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        peer.connect(port);
        for (const char byte : bytes) {
            peer.write({&byte, 1});
        }
        answered = peer.read(4);
    });
    EXPECT_EQ(receiver_->recvOp(), 0);
    EXPECT_EQ(receiver_->startSession(), 0);

    EXPECT_EQ(receiver_->recvOp(), 1);

    sender.join();
    EXPECT_EQ(answered, reply(0));
    EXPECT_EQ(contents(onHost("/file")), "0123456789");
}

TEST_F(OrvSyncSecRecords, takesRecordsThatComeTogetherOneByOne) {
    peer_->write(makeDirectory("/a") + copy("/a/1", "one") + copy("/a/2", "") + copy("/a/3", "three") +
                 removeFile("/a/1"));

    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(receiver_->recvOp(), 1);
    }

    EXPECT_EQ(peer_->read(20), std::string(20, '\0'));
    EXPECT_FALSE(isThere("/a/1"));
    EXPECT_EQ(contents(onHost("/a/2")), "");
    EXPECT_EQ(contents(onHost("/a/3")), "three");
}

TEST_F(OrvSyncSecRecords, endsPathsBeforeTheLastByteOfTheirFields) {
    const std::string name = "/" + std::string(200, 'n');
    write("/" + std::string(54, 'd') + name, "x");
    const std::string path = "/" + std::string(54, 'd') + name;  // 256 characters: the last one is not looked at
    ASSERT_EQ(path.size(), 256u);
    write(path.substr(0, 255), "y");

    EXPECT_EQ(answer("\0\0\0\0"s + path + std::string(256, 'z')), reply(0));

    EXPECT_TRUE(isThere(path));
    EXPECT_FALSE(isThere(path.substr(0, 255)));
}

TEST_F(OrvSyncSecRecords, doesNothingWhenThePeerHasClosed) {
    peer_->sayNoMore();

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(receiver_->recvOp(), 0);
    }

    EXPECT_TRUE(receiver_->listening());
    EXPECT_EQ(receiver_->error(), 0);
    EXPECT_EQ(traced(), "");
    receiver_->endSession();
    EXPECT_EQ(peer_->readAll(), "");
}

// Half a path is another path, and a record may ask for the removal of a whole directory.
TEST_F(OrvSyncSecRecords, doesNotCarryOutARecordThatIsCutShort) {
    write("/conf/file", "x");
    const std::string record = removeDirectory("/conf/file/below");
    for (const std::size_t length : {1u, 3u, 4u, 9u, 515u}) {
        SCOPED_TRACE(length);
        newSession();
        ASSERT_EQ(receiver_->startConnection(), 0);  // clears error number and flag
        ASSERT_EQ(receiver_->listenConnection(), 0);
        peer_->write(record.substr(0, length));
        peer_->sayNoMore();

        EXPECT_EQ(receiver_->recvOp(), -1);

        EXPECT_EQ(receiver_->error(), ECONNRESET);
        EXPECT_FALSE(receiver_->listening());
        EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Connection reset by peer"}}));
        EXPECT_EQ(receiver_->recvOp(), 0);
        receiver_->endSession();
        EXPECT_EQ(peer_->readAll(), "");  // no reply
        EXPECT_TRUE(isThere("/conf/file"));
    }
}

TEST_F(OrvSyncSecRecords, reportsAFailedReadOnceUntilItListensAgain) {
    CallHooks hooks;
    hooks.recv = [](int, void*, std::size_t, int) -> ssize_t { return failWith(EIO); };

    EXPECT_EQ(receiver_->recvOp(), -1);

    EXPECT_FALSE(receiver_->listening());
    EXPECT_EQ(receiver_->error(), EIO);
    EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Input/output error"}}));

    hooks.recv = [](int, void*, std::size_t, int) -> ssize_t { return failWith(ENOTCONN); };
    EXPECT_EQ(receiver_->recvOp(), -1);
    EXPECT_EQ(receiver_->error(), EIO);
    EXPECT_EQ(traced(), "");

    ASSERT_EQ(receiver_->startConnection(), 0);
    EXPECT_EQ(receiver_->recvOp(), -1);
    EXPECT_EQ(receiver_->error(), ENOTCONN);
    EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Transport endpoint is not connected"}}));
    receiver_->endSession();
    EXPECT_EQ(peer_->readAll(), "");
}

TEST_F(OrvSyncSecRecords, reportsAPeerThatBreaksDown) {
    peer_->reset();

    EXPECT_EQ(receiver_->recvOp(), -1);

    EXPECT_EQ(receiver_->error(), ECONNRESET);
    EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Connection reset by peer"}}));
}

TEST_F(OrvSyncSecRecords, hasNoRecordWithoutASession) {
    receiver_->endSession();

    EXPECT_EQ(receiver_->recvOp(), -1);

    EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Bad file descriptor"}}));
}

TEST_F(OrvSyncSecRecords, reportsAReplyThatCannotBeSent) {
    CallHooks hooks;
    hooks.send = [](int, const void*, std::size_t, int flags) -> ssize_t {
        EXPECT_EQ(flags & MSG_NOSIGNAL, MSG_NOSIGNAL);
        return failWith(EPIPE);
    };
    peer_->write(makeDirectory("/conf"));

    EXPECT_EQ(receiver_->recvOp(), -1);

    EXPECT_TRUE(isEmptyDirectory("/conf"));
    EXPECT_EQ(receiver_->error(), EPIPE);
    EXPECT_EQ(traced(), secTrace({
                            {"recvOp", "name = /conf"},
                            {"cleanmkdir", "mkdir /conf"},
                            {"sendResponse", "send: Broken pipe"},
                        }));
    EXPECT_EQ(receiver_->sendResponse(), -1);
}

TEST_F(OrvSyncSecRecords, waitsOnAfterASignal) {
    const FailingCall signals("recv", "", EINTR, 0, 3);

    EXPECT_EQ(answer(makeDirectory("/conf")), reply(0));

    EXPECT_EQ(signals.calls(), 4u);
    EXPECT_TRUE(receiver_->listening());
    EXPECT_TRUE(isEmptyDirectory("/conf"));
    EXPECT_EQ(traced(), secTrace({{"recvOp", "name = /conf"}, {"cleanmkdir", "mkdir /conf"}}));
}

TEST_F(OrvSyncSecRecords, noticesAPeerThatHasVanishedBetweenTwoRecords) {
    int keepsAlive = 0;
    CallHooks hooks;
    hooks.recv = [&keepsAlive](int from, void* bytes, std::size_t count, int flags) {
        socklen_t size = sizeof keepsAlive;
        EXPECT_EQ(getsockopt(from, SOL_SOCKET, SO_KEEPALIVE, &keepsAlive, &size), 0);
        return ::recv(from, bytes, count, flags);
    };

    EXPECT_EQ(answer(makeDirectory("/conf")), reply(0));

    EXPECT_NE(keepsAlive, 0);
}

TEST_F(OrvSyncSecRecords, waitsForTheNextRecordAsLongAsItTakesButNotForTheRestOfOne) {
    OrvSyncSettings settings = at(0);
    settings.limit = std::chrono::milliseconds(20);
    OrvSyncSec sec(settings);
    ASSERT_EQ(sec.startConnection(), 0);
    ASSERT_EQ(sec.listenConnection(), 0);
    const PlainSocket peer;
    peer.connect(sec.port());
    ASSERT_EQ(sec.startSession(), 0);
    int waits = 0;
    CallHooks hooks;
    hooks.recv = [&](int from, void* bytes, std::size_t count, int flags) {
        const ssize_t got = ::recv(from, bytes, count, flags);
        const int error = errno;
        if (got < 0 && ++waits == 3) {
            peer.write(removeDirectory("/conf").substr(0, 100));
        }
        errno = error;
        return got;
    };

    EXPECT_EQ(sec.recvOp(), -1);

    EXPECT_EQ(waits, 4);
    EXPECT_EQ(sec.error(), ETIMEDOUT);
    EXPECT_EQ(traced(), secTrace({{"recvOp", "recv: Connection timed out"}}));
}

// As on a switch, where a path of no characters names nothing.
TEST_F(OrvSyncSecRecords, takesAnEmptyPathForNoFileAtAll) {
    for (const std::string& record : {removeFile(""), copy("", "text"), move("", ""), removeDirectory("")}) {
        ASSERT_EQ(receiver_->startConnection(), 0);
        EXPECT_EQ(answer(record), reply(ENOENT));
    }
    EXPECT_TRUE(isThere("/tmp"));
}

TEST_F(OrvSyncSecRecords, staysBelowTheHostsRootWithAPathThatDoesNotBeginThere) {
    EXPECT_EQ(answer(copy("relative", "text")), reply(0));
    EXPECT_EQ(contents(onHost("/relative")), "text");
    EXPECT_EQ(answer(removeFile("relative")), reply(0));
    EXPECT_FALSE(isThere("/relative"));
}

// Two letters and slashes: paths that exist, that do not, that are in each other's way.
TEST_F(OrvSyncSecRecords, answersWhateverItIsTold) {
    std::uint32_t seed = 1;
    const auto next = [&seed](std::uint32_t below) {
        seed = seed * 1664525 + 1013904223;
        return (seed >> 8) % below;
    };
    const auto path = [&next] {
        std::string text(next(8) == 0 ? next(250) : next(8), '/');
        for (char& character : text) {
            character = "ab//\xFF"[next(5)];
        }
        return "/base/" + text;
    };
    const std::string good = reply(0);
    int fine = 0;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(receiver_->startConnection(), 0);  // forgets the last error
        const auto operation = static_cast<char>(next(6));
        const std::int32_t size = operation == 1 ? static_cast<std::int32_t>(next(9000)) - 100 : 0;
        const std::string bytes(static_cast<std::size_t>(std::max(size, 0)), static_cast<char>(next(5)));
        const std::string answered =
            answer(operation == 1 ? copy(path(), size, bytes) : record(operation, path(), path()));
        ASSERT_EQ(answered.size(), 4u);
        fine += answered == good;
    }

    EXPECT_GT(fine, 100);
    EXPECT_LT(fine, 900);
    ASSERT_EQ(receiver_->startConnection(), 0);
    EXPECT_EQ(answer(makeDirectory("/base")), good);
    EXPECT_TRUE(isEmptyDirectory("/base"));
}

TEST_F(OrvSyncSecRecords, trustsItsPeerCompletely) {
    write("/elsewhere/file", "x");
    write("/conf/file", "x");

    EXPECT_EQ(answer(removeDirectory("/conf/../elsewhere")), reply(0));

    EXPECT_FALSE(isThere("/elsewhere"));
}

}  // namespace
