#include "sync/OrvSyncSocket.h"

#include "testing/FailingCalls.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace {

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

struct Pair {
    Pair() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        number = ends[0];
        ours.reset(ends[0]);
        theirs.reset(ends[1]);
    }
    int number = -1;  // of our end, whoever has it
    Descriptor ours;
    Descriptor theirs;
};

TEST(OrvSyncSocket, shutsDownAndClosesWithItsOwner) {
    Pair pair;
    {
        OrvSyncSocket socket;
        socket.take(std::move(pair.ours));
        EXPECT_TRUE(isOpen(pair.number));
    }

    EXPECT_FALSE(isOpen(pair.number));
    char byte = 0;
    EXPECT_EQ(recv(pair.theirs.get(), &byte, 1, 0), 0);
}

// A second descriptor keeps the connection open, but for the shutdown of both directions.
TEST(OrvSyncSocket, shutsDownBothDirectionsBeforeItCloses) {
    Pair pair;
    const Descriptor copy(dup(pair.number));
    OrvSyncSocket socket;
    socket.take(std::move(pair.ours));

    socket.end();

    char byte = 0;
    EXPECT_EQ(recv(pair.theirs.get(), &byte, 1, 0), 0);
    EXPECT_EQ(send(pair.theirs.get(), &byte, 1, MSG_NOSIGNAL), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(socket.descriptor(), -1);
}

TEST(OrvSyncSocket, endsTheOneItHadWhenItTakesAnother) {
    Pair first;
    Pair second;
    OrvSyncSocket socket;
    socket.take(std::move(first.ours));

    socket.take(std::move(second.ours));

    EXPECT_FALSE(isOpen(first.number));
    EXPECT_TRUE(isOpen(second.number));
}

TEST(OrvSyncSocket, neverClosesDescriptorZero) {
    const Descriptor saved(dup(0));
    Pair pair;
    ASSERT_EQ(dup2(pair.number, 0), 0);
    pair.ours.reset();
    OrvSyncSocket socket;
    socket.take(Descriptor(0));

    socket.end();

    EXPECT_TRUE(isOpen(0));
    char byte = 0;
    EXPECT_EQ(recv(pair.theirs.get(), &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
    if (saved) {
        dup2(saved.get(), 0);
    } else {
        const Descriptor closed(0);
    }
}

TEST(OrvSyncSocket, goesOnAfterASignal) {
    Pair pair;
    OrvSyncSocket socket;
    socket.take(std::move(pair.ours));
    const std::vector<std::uint8_t> word{1, 2, 3, 4};
    std::vector<std::uint8_t> got(4);

    {
        const FailingCall signal("send", "", EINTR, 0, 1);
        EXPECT_EQ(socket.send(word), 4);
        EXPECT_EQ(signal.calls(), 2u);
    }
    ASSERT_EQ(send(pair.theirs.get(), "abcd", 4, 0), 4);
    const FailingCall signal("recv", "", EINTR, 0, 1);
    EXPECT_EQ(socket.receive(got), 4);
    EXPECT_EQ(signal.calls(), 2u);
    EXPECT_EQ(got, (std::vector<std::uint8_t>{'a', 'b', 'c', 'd'}));
}

// By the kernel's keep-alive, also while we only listen.
TEST(OrvSyncSocket, noticesAPeerThatHasVanished) {
    OrvSyncSocket socket;
    socket.take(Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    int on = 0;
    socklen_t size = sizeof on;
    ASSERT_EQ(getsockopt(socket.descriptor(), SOL_SOCKET, SO_KEEPALIVE, &on, &size), 0);
    ASSERT_EQ(on, 0);

    socket.prepare(std::chrono::seconds(1));

    ASSERT_EQ(getsockopt(socket.descriptor(), SOL_SOCKET, SO_KEEPALIVE, &on, &size), 0);
    EXPECT_NE(on, 0);
}

TEST(OrvSyncSocket, callsAPassedLimitAPeerThatTimedOut) {
    Pair pair;
    OrvSyncSocket socket;
    socket.take(std::move(pair.ours));
    socket.prepare(std::chrono::milliseconds(10));
    std::vector<std::uint8_t> got(4);

    EXPECT_EQ(socket.receive(got), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

}  // namespace
