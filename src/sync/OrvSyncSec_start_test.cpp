// The receiver's construction, its thread, its listener and its sessions.
#include "sync/OrvSyncSec.h"

#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SecFixture.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace {

constexpr char kSyncDirectory[] = "/ostrel/conf/orv/callHome/sync";

class OrvSyncSecStart : public SecFixture {
protected:
    OrvSyncSecStart() { traced(); }
};

TEST_F(OrvSyncSecStart, emptiesTheDirectoryOfTheSynchronisation) {
    write(std::string(kSyncDirectory) + "/file", "x");
    write(std::string(kSyncDirectory) + "/a/b/c", "x");
    write("/ostrel/conf/orv/callHome/other", "x");

    const OrvSyncSec receiver(at(0));

    EXPECT_TRUE(isEmptyDirectory(kSyncDirectory));
    EXPECT_TRUE(isThere("/ostrel/conf/orv/callHome/other"));
    EXPECT_EQ(receiver.error(), 0);
    EXPECT_FALSE(receiver.listening());
    EXPECT_FALSE(receiver.running());
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncSecStart, namesTheMisspelledDirectoryWhenThereIsNoneToClean) {
    std::filesystem::remove(onHost(kSyncDirectory));

    const OrvSyncSec receiver(at(0));

    EXPECT_FALSE(isThere(kSyncDirectory));
    EXPECT_EQ(
        traced(),
        secTrace({
            {"cleandir", "opendir: No such file or directory"},
            {"OrvSyncSec", "cleandir(/ostreel/conf/orv/callHome/sync): directory not cleaned, probably didn't exist"},
        }));
}

TEST_F(OrvSyncSecStart, remembersThatTheDirectoryCouldNotBeCleanedUntilItListens) {
    std::filesystem::remove(onHost(kSyncDirectory));
    OrvSyncSec receiver(at(0));
    EXPECT_EQ(receiver.error(), ENOENT);

    EXPECT_EQ(receiver.startConnection(), 0);

    EXPECT_EQ(receiver.error(), 0);
}

TEST_F(OrvSyncSecStart, runsAThreadThatEndsAtOnce) {
    OrvSyncSec receiver(at(0));
    int result = -1;

    std::thread([&] { result = receiver.run(); }).join();

    EXPECT_EQ(result, 0);
    EXPECT_TRUE(receiver.running());
    EXPECT_FALSE(receiver.listening());
    EXPECT_EQ(file("orv.out.MesgQSyncSec"), prefix("OrvThread", "run") + "Thread is running\n" +
                                                prefix("OrvSyncSec", "runThread") + "Terminating\n" +
                                                prefix("OrvThread", "run") + "Thread is terminating, retval=(nil)\n");
}

TEST_F(OrvSyncSecStart, listensOnEveryAddressAtPort5444UnlessToldOtherwise) {
    sockaddr_in asked{};
    int backlog = 0;
    CallHooks hooks;
    hooks.bind = [&asked](int, const sockaddr* address, socklen_t size) {
        EXPECT_EQ(size, sizeof asked);
        std::memcpy(&asked, address, sizeof asked);
        return 0;
    };
    hooks.listen = [&backlog](int, int given) {
        backlog = given;
        return 0;
    };
    OrvSyncSec receiver;

    EXPECT_EQ(receiver.startConnection(), 0);
    EXPECT_EQ(receiver.listenConnection(), 0);

    EXPECT_EQ(asked.sin_family, AF_INET);
    EXPECT_EQ(ntohs(asked.sin_port), 5444);
    EXPECT_EQ(asked.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(receiver.port(), 5444);
    EXPECT_EQ(backlog, 5);
    EXPECT_TRUE(receiver.listening());
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncSecStart, reportsWhatTheListenerCannotDo) {
    struct Row {
        const char* call;
        int (OrvSyncSec::*operation)();
        Line line;
        int error;
    };
    const Row rows[] = {
        {"socket", &OrvSyncSec::startConnection, {"startConnection", "socket: Too many open files"}, EMFILE},
        {"bind", &OrvSyncSec::startConnection, {"startConnection", "bind: Address already in use"}, EADDRINUSE},
        {"listen", &OrvSyncSec::listenConnection, {"listenConnection", "listen: Address already in use"}, EADDRINUSE},
        {"accept4", &OrvSyncSec::startSession, {"startSession", "accept: Too many open files"}, EMFILE},
    };
    for (const Row& row : rows) {
        OrvSyncSec sec(at(0));
        const FailingCall failing(row.call, "", row.error);

        EXPECT_EQ((sec.*row.operation)(), -1);

        EXPECT_EQ(sec.error(), row.error);
        EXPECT_FALSE(sec.listening());
        EXPECT_EQ(traced(), secTrace({row.line}));
    }
}

TEST_F(OrvSyncSecStart, cannotListenWhereSomebodyElseDoes) {
    OrvSyncSec second(at(receiver_->port()));

    EXPECT_EQ(second.startConnection(), -1);

    EXPECT_EQ(second.error(), EADDRINUSE);
    EXPECT_EQ(traced(), secTrace({{"startConnection", "bind: Address already in use"}}));
}

// The connection of a session that this end has closed first stays with the kernel for a while.
TEST_F(OrvSyncSecStart, listensAgainRightAfterASession) {
    const std::uint16_t port = receiver_->port();
    receiver_->endSession();
    EXPECT_EQ(peer_->readAll(), "");
    peer_->end();
    receiver_->endConnection();
    OrvSyncSec again(at(port));

    EXPECT_EQ(again.startConnection(), 0);
    EXPECT_EQ(again.listenConnection(), 0);
}

TEST_F(OrvSyncSecStart, opensTheListenerAndClosesItAgain) {
    std::string order;
    CallHooks hooks;
    hooks.bind = [&order](int socket, const sockaddr* address, socklen_t size) {
        order += "bind ";
        return ::bind(socket, address, size);
    };
    hooks.listen = [&order](int socket, int backlog) {
        order += "listen ";
        return ::listen(socket, backlog);
    };
    OrvSyncSec sec(at(0));
    const int made = Descriptor(dup(0)).get();

    EXPECT_EQ(sec.handleSyncOps(), 0);

    EXPECT_EQ(order, "bind listen ");
    EXPECT_TRUE(sec.listening());
    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, made);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncSecStart, doesNotListenWhenItCouldNotStartAndClosesWhatItOpened) {
    OrvSyncSec sec(at(0));
    const int before = Descriptor(dup(0)).get();
    bool listened = false;
    CallHooks hooks;
    hooks.bind = [](int, const sockaddr*, socklen_t) { return failWith(EACCES); };
    hooks.listen = [&listened](int, int) {
        listened = true;
        return 0;
    };

    EXPECT_EQ(sec.handleSyncOps(), -1);

    EXPECT_FALSE(listened);
    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, before);
    EXPECT_EQ(traced(), secTrace({{"startConnection", "bind: Permission denied"}}));
}

TEST_F(OrvSyncSecStart, failsAndClosesWhenItCannotListen) {
    OrvSyncSec sec(at(0));
    const int before = Descriptor(dup(0)).get();
    const FailingCall failing("listen", "", EADDRINUSE);

    EXPECT_EQ(sec.handleSyncOps(), -1);

    EXPECT_EQ(sec.error(), EADDRINUSE);
    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, before);
    EXPECT_EQ(traced(), secTrace({{"listenConnection", "listen: Address already in use"}}));
}

TEST_F(OrvSyncSecStart, acceptsAfterASignal) {
    PlainSocket peer;
    peer.connect(receiver_->port());
    const FailingCall signal("accept4", "", EINTR, 0, 1);

    EXPECT_EQ(receiver_->startSession(), 0);

    EXPECT_EQ(signal.calls(), 2u);
    EXPECT_EQ(peer_->readAll(), "");  // the former session has ended
}

TEST_F(OrvSyncSecStart, endsTheSessionAndThenTheListener) {
    receiver_->endSession();
    receiver_->endSession();
    EXPECT_EQ(peer_->readAll(), "");
    newSession();
    EXPECT_EQ(answer(makeDirectory("/new")), reply(0));

    receiver_->endConnection();
    receiver_->endConnection();

    EXPECT_EQ(answer(removeDirectory("/new")), reply(0));  // a session does not need the listener
    traced();
    EXPECT_EQ(receiver_->startSession(), -1);
    EXPECT_EQ(receiver_->error(), EBADF);
    EXPECT_EQ(traced(), secTrace({{"startSession", "accept: Bad file descriptor"}}));
}

}  // namespace
