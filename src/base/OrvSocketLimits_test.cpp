// Both ends of a connection are this program's: what lies unread at an end that is closed resets the other one.
#include "base/OrvSocketLimits.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

using std::chrono::milliseconds;

namespace {

class OrvAwaitConnection : public testing::Test {
protected:
    OrvAwaitConnection() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        near_.reset(ends[0]);
        far_.reset(ends[1]);
    }

    void reset() {
        EXPECT_EQ(send(near_.get(), "x", 1, MSG_NOSIGNAL), 1);
        far_.reset();
    }

    void fill() {
        const std::array<char, 4096> bytes{};
        while (send(near_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
        }
        EXPECT_EQ(errno, EAGAIN);
    }

    // What the socket still has to tell.
    int error() const {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(near_.get(), SOL_SOCKET, SO_ERROR, &value, &size), 0);
        return value;
    }

    Descriptor near_;
    Descriptor far_;
};

}  // namespace

TEST_F(OrvAwaitConnection, isDoneWhenTheSocketIsConnected) {
    EXPECT_EQ(orvAwaitConnection(near_.get(), milliseconds(0)), 0);
    EXPECT_EQ(orvAwaitConnectionEnd(near_.get(), milliseconds(0)), 0);
}

TEST_F(OrvAwaitConnection, takesWhatBecameOfItFromTheSocket) {
    reset();

    errno = 0;
    EXPECT_EQ(orvAwaitConnection(near_.get(), milliseconds(0)), -1);
    EXPECT_EQ(errno, ECONNRESET);
    EXPECT_EQ(error(), 0);
}

TEST_F(OrvAwaitConnection, leavesItWithTheSocketWhenOnlyTheEndIsAwaited) {
    reset();

    EXPECT_EQ(orvAwaitConnectionEnd(near_.get(), milliseconds(0)), 0);
    EXPECT_EQ(error(), ECONNRESET);
}

TEST_F(OrvAwaitConnection, endsWithTheLimit) {
    fill();

    for (auto* const await : {orvAwaitConnection, orvAwaitConnectionEnd}) {
        errno = 0;
        EXPECT_EQ(await(near_.get(), milliseconds(1)), -1);
        EXPECT_EQ(errno, ETIMEDOUT);
    }
}

TEST_F(OrvAwaitConnection, failsWhereThereIsNoSocketToAsk) {
    const Descriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));

    errno = 0;
    EXPECT_EQ(orvAwaitConnection(file.get(), milliseconds(0)), -1);
    EXPECT_EQ(errno, ENOTSOCK);
}
