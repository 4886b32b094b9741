// What the sender puts on the wire, byte by byte, and what it says when it cannot.
#include "sync/OrvSyncPri.h"

#include "base/OrvText.h"
#include "sync/OrvSyncRecord.h"
#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SyncFixture.h"

#include <netinet/tcp.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <memory>

namespace {

using namespace std::string_literals;

class OrvSyncPriSend : public SyncFixture {
protected:
    OrvSyncPriSend() {
        std::signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(sender_.startConnection(), 0);
    }
    void writeFile(const std::string& path, const std::string& bytes) const { fill(onHost(path), bytes); }
    std::string priTrace(const std::vector<Line>& messages) const { return lines("OrvSyncPri", messages); }
    PlainSocket& peer() {
        if (peer_ == nullptr) {
            peer_ = std::make_unique<PlainSocket>(accept(standby_.descriptor(), nullptr, nullptr));
        }
        return *peer_;
    }
    // Everything that was sent.
    std::string sent() {
        sender_.endConnection();
        return peer().readAll();
    }
    static std::uint16_t listenSomewhere(const PlainSocket& standby) {
        const std::uint16_t port = standby.bindAnywhere();
        standby.listen();
        return port;
    }

    PlainSocket standby_;
    OrvSyncPri sender_{at(listenSomewhere(standby_))};

private:
    std::unique_ptr<PlainSocket> peer_;
};

TEST_F(OrvSyncPriSend, sendsARecordPerOperationAndNothingElse) {
    EXPECT_EQ(sender_.sendRmFile("/conf/a"), 0);
    EXPECT_EQ(sender_.sendMkDir("/conf/b"), 0);
    EXPECT_EQ(sender_.sendMvDir("/conf/c", "/conf/d"), 0);
    EXPECT_EQ(sender_.sendRmDir("/conf/e"), 0);

    EXPECT_EQ(sent(), "\0\0\0\0"s + field("/conf/a", 512) +                              //
                          "\0\0\0\2"s + field("/conf/b", 512) +                          //
                          "\0\0\0\3"s + field("/conf/c", 256) + field("/conf/d", 256) +  //
                          "\0\0\0\4"s + field("/conf/e", 512));
    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"},
                                  {"sendOp", "length = 516"},
                                  {"sendOp", "length = 516"},
                                  {"sendOp", "length = 516"}}));
    EXPECT_EQ(sender_.error(), 0);
}

TEST_F(OrvSyncPriSend, sendsAFileBehindItsRecordUnderTheNameForTheStandby) {
    writeFile("/tmp/local", "five!\n\0binary\xFF"s);

    EXPECT_EQ(sender_.sendCpFile("/tmp/local", "/conf/name"), 0);

    EXPECT_EQ(sent(), "\0\0\0\1"s + field("/conf/name", 256) + "\0\0\0\xE"s + field("", 252) + "five!\n\0binary\xFF"s);
    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendFile", "Entry (/tmp/local, 14)"}}));
}

TEST_F(OrvSyncPriSend, sendsTheRecordOfAnEmptyFileAndNoData) {
    writeFile("/tmp/empty", "");

    EXPECT_EQ(sender_.sendCpFile("/tmp/empty", "/conf/empty"), 0);

    EXPECT_EQ(sent(), "\0\0\0\1"s + field("/conf/empty", 512));
    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendFile", "Entry (/tmp/empty, 0)"}}));
}

TEST_F(OrvSyncPriSend, sendsTheFirst255CharactersOfALongPath) {
    for (const std::size_t length : {255u, 256u, 300u}) {
        EXPECT_EQ(sender_.sendMkDir(std::string(length, 'p')), 0);
    }

    const std::string record = "\0\0\0\2"s + field(std::string(255, 'p'), 512);
    EXPECT_EQ(sent(), record + record + record);
}

TEST_F(OrvSyncPriSend, sendsARecordInAsManyPiecesAsTheSocketTakes) {
    {
        CallHooks hooks;
        hooks.send = [](int to, const void* bytes, std::size_t count, int flags) {
            return ::send(to, bytes, std::min<std::size_t>(count, 200), flags);
        };
        EXPECT_EQ(sender_.sendRmDir("/conf/dir"), 0);
    }

    EXPECT_EQ(sent(), "\0\0\0\4"s + field("/conf/dir", 512));
    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendOp", "length = 316"}, {"sendOp", "length = 116"}}));
}

TEST_F(OrvSyncPriSend, returnsTheErrorNumberOfARecordThatCannotBeSent) {
    struct Row {
        int error;
        const char* text;
    };
    for (const Row& row : {Row{EPIPE, "Broken pipe"}, Row{ECONNRESET, "Connection reset by peer"}}) {
        const FailingCall failing("send", "", row.error);

        EXPECT_EQ(sender_.sendOp({.operation = OrvSyncRecord::kRemoveFile, .path = "/x"}), -row.error);
        EXPECT_EQ(sender_.error(), row.error);
        EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendOp", std::string("send: ") + row.text}}));
        EXPECT_EQ(sender_.sendRmFile("/x"), -row.error);
        EXPECT_EQ(sender_.sendMkDir("/x"), -row.error);
        EXPECT_EQ(sender_.sendMvDir("/x", "/y"), -row.error);
        EXPECT_EQ(sender_.sendRmDir("/x"), -row.error);
        traced();
    }
    EXPECT_TRUE(sender_.connected());
}

TEST_F(OrvSyncPriSend, sendsNoFileAfterARecordThatFailed) {
    writeFile("/tmp/local", "text");
    const FailingCall failing("send", "", EPIPE);

    EXPECT_EQ(sender_.sendCpFile("/tmp/local", "/conf/name"), -EPIPE);

    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendOp", "send: Broken pipe"}}));
    EXPECT_EQ(sent(), "");
}

TEST_F(OrvSyncPriSend, sendsNothingOfAFileThatIsNotThere) {
    EXPECT_EQ(sender_.sendCpFile("/tmp/none", "/conf/name"), -1);

    EXPECT_EQ(sender_.error(), ENOENT);
    EXPECT_EQ(traced(), priTrace({{"sendCpFile", "stat: No such file or directory"}}));
    EXPECT_EQ(sent(), "");
}

TEST_F(OrvSyncPriSend, sendsNothingOfAFileWhoseSizeHasNoPlaceInTheRecord) {
    for (const std::uintmax_t size : {std::uintmax_t{1} << 31, (std::uintmax_t{1} << 32) + 5}) {
        writeFile("/tmp/huge", "");
        std::filesystem::resize_file(onHost("/tmp/huge"), size);
        EXPECT_EQ(sender_.sendCpFile("/tmp/huge", "/conf/huge"), -1);
        EXPECT_EQ(sender_.error(), EOVERFLOW);
        EXPECT_EQ(traced(), priTrace({{"sendCpFile", "stat: Value too large for defined data type"}}));
    }
    EXPECT_EQ(sent(), "");
}

// The bytes themselves are left out: two gigabytes take their time.
TEST_F(OrvSyncPriSend, announcesTheLargestSizeThatHasAPlace) {
    writeFile("/tmp/large", "");
    std::filesystem::resize_file(onHost("/tmp/large"), 2147483647u);
    std::size_t asked = 0;
    {
        CallHooks hooks;
        hooks.sendfile = [&asked](int, int, off_t*, std::size_t count) {
            asked += count;
            return static_cast<ssize_t>(count);
        };
        EXPECT_EQ(sender_.sendCpFile("/tmp/large", "/conf/large"), 0);
    }

    EXPECT_EQ(asked, 2147483647u);
    EXPECT_EQ(sent(), "\0\0\0\1"s + field("/conf/large", 256) + "\x7F\xFF\xFF\xFF"s + field("", 252));
}

TEST_F(OrvSyncPriSend, reportsAFileThatCannotBeOpened) {
    EXPECT_EQ(sender_.sendFile("/tmp/none", 5), -1);

    EXPECT_EQ(sender_.error(), ENOENT);
    EXPECT_EQ(traced(), priTrace({{"sendFile", "open: No such file or directory"}}));
    EXPECT_EQ(sent(), "");
}

TEST_F(OrvSyncPriSend, sendsNothingForASizeBelowOne) {
    writeFile("/tmp/local", "text");
    for (const std::int32_t size : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(sender_.sendFile("/tmp/local", size), 0);
    }
    EXPECT_EQ(sent(), "");
}

TEST_F(OrvSyncPriSend, sendsNoMoreThanTheSizeOfAFileThatGrew) {
    writeFile("/tmp/local", "text and more");

    EXPECT_EQ(sender_.sendFile("/tmp/local", 4), 0);

    EXPECT_EQ(sent(), "text");
}

TEST_F(OrvSyncPriSend, stopsAtTheEndOfAFileThatShrank) {
    writeFile("/tmp/local", "text");

    EXPECT_EQ(sender_.sendFile("/tmp/local", 5), -1);

    EXPECT_EQ(sender_.error(), EPIPE);
    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(traced(), priTrace({{"sendFile", "Entry (/tmp/local, 5)"}, {"sendFile", "sendfile: Broken pipe"}}));
    EXPECT_EQ(sent(), "text");
}

TEST_F(OrvSyncPriSend, sendsAFileInAsManyPiecesAsTheKernelTakes) {
    writeFile("/tmp/local", "0123456789");
    int calls = 0;
    {
        CallHooks hooks;
        hooks.sendfile = [&calls](int to, int from, off_t* at, std::size_t count) -> ssize_t {
            if (++calls == 2) {
                return failWith(EINTR);
            }
            return ::sendfile(to, from, at, std::min<std::size_t>(count, 4));
        };
        EXPECT_EQ(sender_.sendFile("/tmp/local", 10), 0);
    }

    EXPECT_EQ(calls, 4);
    EXPECT_EQ(sent(), "0123456789");
    EXPECT_EQ(traced(), priTrace({{"sendFile", "Entry (/tmp/local, 10)"}}));
}

TEST_F(OrvSyncPriSend, reportsAStandbyThatHangsUpInTheFile) {
    writeFile("/tmp/local", std::string(8 << 20, 'x'));
    peer().reset();

    EXPECT_EQ(sender_.sendFile("/tmp/local", 8 << 20), -1);

    EXPECT_TRUE(sender_.error() == EPIPE || sender_.error() == ECONNRESET) << sender_.error();
    EXPECT_EQ(traced(), priTrace({{"sendFile", "Entry (/tmp/local, 8388608)"},
                                  {"sendFile", "sendfile: " + orvErrorText(sender_.error())}}));
}

TEST_F(OrvSyncPriSend, reportsAFileThatTheKernelCannotCopy) {
    EXPECT_EQ(sender_.sendFile("/tmp", 5), -1);

    EXPECT_NE(sender_.error(), 0);
    EXPECT_EQ(traced(),
              priTrace({{"sendFile", "Entry (/tmp, 5)"}, {"sendFile", "sendfile: " + orvErrorText(sender_.error())}}));
}

TEST_F(OrvSyncPriSend, doesNotWaitForSomebodyWhoWritesIntoAFifo) {
    ASSERT_EQ(mkfifo(onHost("/tmp/fifo").c_str(), 0600), 0);

    EXPECT_EQ(sender_.sendCpFile("/tmp/fifo", "/conf/fifo"), 0);

    EXPECT_EQ(sent(), "\0\0\0\1"s + field("/conf/fifo", 512));
}

// Else a file's last bytes would wait for the acknowledgement of those before them.
TEST_F(OrvSyncPriSend, delaysNothingAndSharesAPacketBetweenARecordAndItsFile) {
    writeFile("/tmp/local", "text");
    std::vector<int> flags;
    CallHooks hooks;
    hooks.send = [&flags](int to, const void* bytes, std::size_t count, int given) {
        int on = 0;
        socklen_t size = sizeof on;
        EXPECT_EQ(getsockopt(to, IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
        EXPECT_NE(on, 0);
        flags.push_back(given);
        return ::send(to, bytes, count, given);
    };

    EXPECT_EQ(sender_.sendMkDir("/conf"), 0);
    EXPECT_EQ(sender_.sendCpFile("/tmp/local", "/conf/local"), 0);

    EXPECT_EQ(flags, (std::vector<int>{MSG_NOSIGNAL, MSG_NOSIGNAL | MSG_MORE}));
}

// With MSG_MORE the kernel would keep such a record back for a while.
TEST_F(OrvSyncPriSend, delaysNoRecordWithoutAFileBehindIt) {
    writeFile("/tmp/empty", "");
    std::vector<int> flags;
    CallHooks hooks;
    hooks.send = [&flags](int to, const void* bytes, std::size_t count, int given) {
        flags.push_back(given);
        return ::send(to, bytes, count, given);
    };

    EXPECT_EQ(sender_.sendCpFile("/tmp/empty", "/conf/empty"), 0);
    EXPECT_EQ(sender_.sendRmFile("/conf/a"), 0);
    EXPECT_EQ(sender_.sendMkDir("/conf/b"), 0);
    EXPECT_EQ(sender_.sendMvDir("/conf/c", "/conf/d"), 0);
    EXPECT_EQ(sender_.sendRmDir("/conf/e"), 0);

    EXPECT_EQ(flags, std::vector<int>(5, MSG_NOSIGNAL));
}

TEST_F(OrvSyncPriSend, copiesWhatWasAnnouncedWhenTheFileChangesBehindItsRecord) {
    struct Row {
        const char* changed;
        int result;
        const char* sent;
    };
    std::string expected;
    for (const Row& row : {Row{"text and more", 0, "text"}, Row{"TEXT", 0, "TEXT"}, Row{"te", -1, "te"}}) {
        SCOPED_TRACE(row.changed);
        writeFile("/tmp/local", "text");
        CallHooks hooks;
        hooks.send = [&](int to, const void* bytes, std::size_t count, int flags) {
            writeFile("/tmp/local", row.changed);
            return ::send(to, bytes, count, flags);
        };

        EXPECT_EQ(sender_.sendCpFile("/tmp/local", "/conf/name"), row.result);

        EXPECT_EQ(sender_.error(), row.result < 0 ? EPIPE : 0);
        expected += "\0\0\0\1"s + field("/conf/name", 256) + "\0\0\0\4"s + field("", 252) + row.sent;
    }
    EXPECT_EQ(sent(), expected);
}

// One that reads nothing: the socket's buffers fill up.
TEST_F(OrvSyncPriSend, givesUpOnAStandbyThatTakesNothingAnyMore) {
    const PlainSocket standby;
    OrvSyncSettings settings = at(listenSomewhere(standby));
    settings.limit = std::chrono::milliseconds(100);
    OrvSyncPri sender(settings);
    ASSERT_EQ(sender.startConnection(), 0);
    writeFile("/tmp/local", std::string(32 << 20, 'x'));

    EXPECT_EQ(sender.sendFile("/tmp/local", 32 << 20), -1);

    EXPECT_EQ(sender.error(), ETIMEDOUT);
    EXPECT_EQ(traced(),
              priTrace({{"sendFile", "Entry (/tmp/local, 33554432)"}, {"sendFile", "sendfile: Connection timed out"}}));
}

}  // namespace
