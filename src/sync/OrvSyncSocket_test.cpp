#include "sync/OrvSyncSocket.h"

#include "sync/SyncFaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace {

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

struct Pair {
    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0); }
    ~Pair() { close(ends[1]); }
    int ends[2];
};

TEST(OrvSyncSocket, shutsDownAndClosesWithItsOwner) {
    const Pair pair;
    {
        OrvSyncSocket socket;
        socket.take(pair.ends[0]);
        EXPECT_TRUE(isOpen(pair.ends[0]));
    }

    EXPECT_FALSE(isOpen(pair.ends[0]));
    char byte = 0;
    EXPECT_EQ(recv(pair.ends[1], &byte, 1, 0), 0);
}

// A second descriptor keeps the connection open, but for the shutdown of both directions.
TEST(OrvSyncSocket, shutsDownBothDirectionsBeforeItCloses) {
    const Pair pair;
    const int copy = dup(pair.ends[0]);
    OrvSyncSocket socket;
    socket.take(pair.ends[0]);

    socket.end();

    char byte = 0;
    EXPECT_EQ(recv(pair.ends[1], &byte, 1, 0), 0);
    EXPECT_EQ(send(pair.ends[1], &byte, 1, MSG_NOSIGNAL), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(socket.descriptor(), -1);
    close(copy);
}

TEST(OrvSyncSocket, endsTheOneItHadWhenItTakesAnother) {
    const Pair first;
    const Pair second;
    OrvSyncSocket socket;
    socket.take(first.ends[0]);

    socket.take(second.ends[0]);

    EXPECT_FALSE(isOpen(first.ends[0]));
    EXPECT_TRUE(isOpen(second.ends[0]));
}

TEST(OrvSyncSocket, neverClosesDescriptorZero) {
    const int saved = dup(0);
    const Pair pair;
    ASSERT_EQ(dup2(pair.ends[0], 0), 0);
    close(pair.ends[0]);
    OrvSyncSocket socket;
    socket.take(0);

    socket.end();

    EXPECT_TRUE(isOpen(0));
    char byte = 0;
    EXPECT_EQ(recv(pair.ends[1], &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
    if (saved >= 0) {
        dup2(saved, 0);
        close(saved);
    } else {
        close(0);
    }
}

TEST(OrvSyncSocket, goesOnAfterASignal) {
    const Pair pair;
    OrvSyncSocket socket;
    socket.take(pair.ends[0]);
    int interrupted = 0;
    SyncFaults faults;
    faults.send = [&](int to, const void* bytes, std::size_t count, int flags) -> ssize_t {
        return interrupted++ == 0 ? failWith(EINTR) : ::send(to, bytes, count, flags);
    };
    faults.recv = [&](int from, void* bytes, std::size_t count, int flags) -> ssize_t {
        return interrupted++ == 1 ? failWith(EINTR) : ::recv(from, bytes, count, flags);
    };
    const std::vector<std::uint8_t> word{1, 2, 3, 4};
    std::vector<std::uint8_t> got(4);

    EXPECT_EQ(socket.send(word), 4);
    interrupted = 1;
    ASSERT_EQ(send(pair.ends[1], "abcd", 4, 0), 4);
    EXPECT_EQ(socket.receive(got), 4);
    EXPECT_EQ(got, (std::vector<std::uint8_t>{'a', 'b', 'c', 'd'}));
}

// By the kernel's keep-alive, also while we only listen.
TEST(OrvSyncSocket, noticesAPeerThatHasVanished) {
    OrvSyncSocket socket;
    socket.take(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    int on = 0;
    socklen_t size = sizeof on;
    ASSERT_EQ(getsockopt(socket.descriptor(), SOL_SOCKET, SO_KEEPALIVE, &on, &size), 0);
    ASSERT_EQ(on, 0);

    socket.prepare(std::chrono::seconds(1));

    ASSERT_EQ(getsockopt(socket.descriptor(), SOL_SOCKET, SO_KEEPALIVE, &on, &size), 0);
    EXPECT_NE(on, 0);
}

TEST(OrvSyncSocket, callsAPassedLimitAPeerThatTimedOut) {
    const Pair pair;
    OrvSyncSocket socket;
    socket.take(pair.ends[0]);
    socket.prepare(std::chrono::milliseconds(10));
    std::vector<std::uint8_t> got(4);

    EXPECT_EQ(socket.receive(got), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

}  // namespace
