// How the sender gets its connection, and what it says when it gets none.
#include "sync/OrvSyncPri.h"

#include "testing/CallHooks.h"
#include "testing/FailingCalls.h"
#include "testing/sync/SyncFixture.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

class OrvSyncPriConnect : public SyncFixture {
protected:
    // Sleeps are counted, not slept.
    OrvSyncPriConnect() {
        hooks_.sleep = [this](unsigned seconds) {
            order_ += "sleep " + std::to_string(seconds) + "\n";
            return 0u;
        };
    }
    void countConnects() {
        hooks_.connect = [this](int socket, const sockaddr* address, socklen_t size) {
            order_ += "connect\n";
            return ::connect(socket, address, size);
        };
    }
    void failConnects(int error) {
        hooks_.connect = [this, error](int, const sockaddr*, socklen_t) {
            order_ += "connect\n";
            return failWith(error);
        };
    }
    // The first one goes on by itself, as after a signal.
    void interruptFirstConnect() {
        hooks_.connect = [this](int socket, const sockaddr* address, socklen_t size) {
            const bool first = order_.empty();
            order_ += "connect\n";
            if (!first) {
                return ::connect(socket, address, size);
            }
            const int flags = fcntl(socket, F_GETFL);
            EXPECT_EQ(fcntl(socket, F_SETFL, flags | O_NONBLOCK), 0);
            EXPECT_EQ(::connect(socket, address, size), -1);
            EXPECT_EQ(errno, EINPROGRESS);
            EXPECT_EQ(fcntl(socket, F_SETFL, flags), 0);
            return failWith(EINTR);
        };
    }
    std::string refused() const {
        char text[64];
        std::snprintf(text, sizeof text, "port = 0x%x, addr = 0x7f000001", port_);
        return std::string("connect failed: ") + text;
    }
    std::string priTrace(const std::vector<Line>& messages) const { return lines("OrvSyncPri", messages); }

    PlainSocket standby_;
    const std::uint16_t port_ = standby_.bindAnywhere();
    OrvSyncPri sender_{at(port_)};
    CallHooks hooks_;
    std::string order_;
};

TEST_F(OrvSyncPriConnect, connectsAtOnceToAStandbyThatListens) {
    standby_.listen();
    countConnects();

    EXPECT_EQ(sender_.startConnection(), 0);

    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(sender_.reply(), 0u);
    EXPECT_EQ(order_, "connect\n");
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriConnect, triesThreeTimesOneSecondApartWhenItIsRefused) {
    countConnects();

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_FALSE(sender_.connected());
    EXPECT_EQ(sender_.error(), ECONNREFUSED);
    EXPECT_EQ(order_, "connect\nsleep 1\nconnect\nsleep 1\nconnect\n");
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection refused"},
                            {"startConnection", "Retry connect attempt 1"},
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection refused"},
                            {"startConnection", "Retry connect attempt 2"},
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection refused"},
                        }));
}

TEST_F(OrvSyncPriConnect, connectsToAStandbyThatComesInTime) {
    for (const int late : {1, 2}) {
        SCOPED_TRACE(late);
        PlainSocket standby;
        OrvSyncPri sender(at(standby.bindAnywhere()));
        int slept = 0;
        hooks_.sleep = [&](unsigned) {
            if (++slept == late) {
                standby.listen();
            }
            return 0u;
        };

        EXPECT_EQ(sender.startConnection(), 0);

        EXPECT_EQ(slept, late);
        EXPECT_TRUE(sender.connected());
        EXPECT_EQ(sender.error(), ECONNREFUSED);
    }
}

TEST_F(OrvSyncPriConnect, sleepsTheRestOfASecondThatASignalCutShort) {
    hooks_.sleep = [this](unsigned seconds) {
        order_ += std::to_string(seconds);
        return order_.size() == 1 ? 1u : 0u;
    };

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_EQ(order_, "111");
}

TEST_F(OrvSyncPriConnect, reallyWaitsASecond) {
    hooks_.sleep = nullptr;
    int connects = 0;
    hooks_.connect = [&connects](int, const sockaddr*, socklen_t) {
        return failWith(++connects == 1 ? ECONNREFUSED : ENETUNREACH);
    };
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
}

TEST_F(OrvSyncPriConnect, triesNothingButARefusalAgain) {
    failConnects(ENETUNREACH);

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_FALSE(sender_.connected());
    EXPECT_EQ(sender_.error(), ENETUNREACH);
    EXPECT_EQ(order_, "connect\n");
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Network is unreachable"},
                            {"startConnection", "Will not retry connect attempt 0"},
                        }));
}

TEST_F(OrvSyncPriConnect, saysAfterWhichRetryItGaveUp) {
    int connects = 0;
    hooks_.connect = [&connects](int, const sockaddr*, socklen_t) {
        return failWith(++connects == 1 ? ECONNREFUSED : EHOSTUNREACH);
    };

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_EQ(connects, 2);
    EXPECT_EQ(sender_.error(), EHOSTUNREACH);
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection refused"},
                            {"startConnection", "Retry connect attempt 1"},
                            {"startConnection", refused()},
                            {"startConnection", "connect: No route to host"},
                            {"startConnection", "Will not retry connect attempt 1"},
                        }));
}

TEST_F(OrvSyncPriConnect, connectsToItsOwnHostAtPort5444UnlessToldOtherwise) {
    OrvSyncPri sender;
    sockaddr_in asked{};
    hooks_.connect = [&asked](int, const sockaddr* address, socklen_t size) {
        EXPECT_EQ(size, sizeof asked);
        std::memcpy(&asked, address, sizeof asked);
        return failWith(ENETUNREACH);
    };

    EXPECT_EQ(sender.startConnection(), -1);

    EXPECT_EQ(asked.sin_family, AF_INET);
    EXPECT_EQ(ntohs(asked.sin_port), 5444);
    EXPECT_EQ(asked.sin_addr.s_addr, 0u);
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", "connect failed: port = 0x1544, addr = 0"},
                            {"startConnection", "connect: Network is unreachable"},
                            {"startConnection", "Will not retry connect attempt 0"},
                        }));
}

TEST_F(OrvSyncPriConnect, reportsASocketThatCannotBeMade) {
    const FailingCall failing("socket", "", EMFILE);

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_EQ(sender_.error(), EMFILE);
    EXPECT_FALSE(sender_.connected());
    EXPECT_EQ(order_, "");
    EXPECT_EQ(traced(), priTrace({{"startConnection", "socket: Too many open files"}}));
}

TEST_F(OrvSyncPriConnect, waitsForAConnectThatASignalInterrupted) {
    standby_.listen();
    interruptFirstConnect();

    EXPECT_EQ(sender_.startConnection(), 0);

    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(order_, "connect\nconnect\n");
    EXPECT_EQ(traced(), "");
    EXPECT_EQ(sender_.sendRmFile("/x"), 0);
    EXPECT_EQ(standby_.accept().read(516), field("", 4) + field("/x", 512));
}

TEST_F(OrvSyncPriConnect, isConnectedWhenTheSignalCameTooLateToInterruptIt) {
    standby_.listen();
    int connects = 0;
    hooks_.connect = [&connects](int socket, const sockaddr* address, socklen_t size) {
        const int result = ::connect(socket, address, size);
        EXPECT_EQ(result, connects == 0 ? 0 : -1);
        return ++connects == 1 ? failWith(EINTR) : result;
    };

    EXPECT_EQ(sender_.startConnection(), 0);

    EXPECT_EQ(connects, 2);
    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_EQ(traced(), "");
}

TEST_F(OrvSyncPriConnect, triesAgainAfterARefusalThatASignalInterrupted) {
    interruptFirstConnect();
    hooks_.sleep = [this](unsigned seconds) {
        order_ += "sleep " + std::to_string(seconds) + "\n";
        standby_.listen();
        return 0u;
    };

    EXPECT_EQ(sender_.startConnection(), 0);

    EXPECT_TRUE(sender_.connected());
    EXPECT_EQ(sender_.error(), ECONNREFUSED);
    EXPECT_EQ(order_, "connect\nconnect\nsleep 1\nconnect\n");
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection refused"},
                            {"startConnection", "Retry connect attempt 1"},
                        }));
}

// A standby with no room for another peer: the kernel goes on asking.
TEST_F(OrvSyncPriConnect, givesUpAnInterruptedConnectAtItsLimit) {
    ASSERT_EQ(listen(standby_.descriptor(), 0), 0);
    const PlainSocket other;
    other.connect(port_);
    OrvSyncSettings settings = at(port_);
    settings.limit = std::chrono::milliseconds(50);
    OrvSyncPri sender(settings);
    interruptFirstConnect();

    EXPECT_EQ(sender.startConnection(), -1);

    EXPECT_FALSE(sender.connected());
    EXPECT_EQ(sender.error(), ETIMEDOUT);
    EXPECT_EQ(order_, "connect\n");
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection timed out"},
                            {"startConnection", "Will not retry connect attempt 0"},
                        }));
}

TEST_F(OrvSyncPriConnect, noticesAStandbyThatHasVanished) {
    standby_.listen();
    int keepsAlive = 0;
    hooks_.connect = [&keepsAlive](int socket, const sockaddr* address, socklen_t addressSize) {
        socklen_t size = sizeof keepsAlive;
        EXPECT_EQ(getsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &keepsAlive, &size), 0);
        return ::connect(socket, address, addressSize);
    };

    EXPECT_EQ(sender_.startConnection(), 0);

    EXPECT_NE(keepsAlive, 0);
}

TEST_F(OrvSyncPriConnect, callsAConnectBeyondItsLimitTimedOut) {
    failConnects(EINPROGRESS);

    EXPECT_EQ(sender_.startConnection(), -1);

    EXPECT_EQ(sender_.error(), ETIMEDOUT);
    EXPECT_EQ(traced(), priTrace({
                            {"startConnection", refused()},
                            {"startConnection", "connect: Connection timed out"},
                            {"startConnection", "Will not retry connect attempt 0"},
                        }));
}

TEST_F(OrvSyncPriConnect, startsAfreshWithAllItKnew) {
    EXPECT_EQ(sender_.startConnection(), -1);
    EXPECT_EQ(sender_.error(), ECONNREFUSED);
    standby_.listen();
    ASSERT_EQ(sender_.startConnection(), 0);
    const PlainSocket first = standby_.accept();
    first.write({"\0\0\0\7", 4});
    ASSERT_EQ(sender_.recvResponse(), 0);
    EXPECT_EQ(sender_.reply(), 7u);

    ASSERT_EQ(sender_.startConnection(), 0);

    EXPECT_EQ(first.readAll(), "");  // the former connection has ended
    EXPECT_EQ(sender_.reply(), 0u);
    EXPECT_EQ(sender_.error(), 0);
    EXPECT_TRUE(sender_.connected());
}

TEST_F(OrvSyncPriConnect, endsItsConnection) {
    standby_.listen();
    ASSERT_EQ(sender_.startConnection(), 0);
    const PlainSocket peer = standby_.accept();

    sender_.endConnection();
    sender_.endConnection();

    EXPECT_EQ(peer.readAll(), "");
    EXPECT_EQ(sender_.sendRmFile("/x"), -EBADF);
    EXPECT_EQ(traced(), priTrace({{"sendOp", "length = 516"}, {"sendOp", "send: Bad file descriptor"}}));
}

TEST_F(OrvSyncPriConnect, leavesNoDescriptorBehindHoweverOftenItFails) {
    const int before = Descriptor(dup(0)).get();
    for (int i = 0; i < 20; ++i) {
        OrvSyncPri sender(at(port_));
        EXPECT_EQ(sender.startConnection(), -1);
        EXPECT_EQ(sender.startConnection(), -1);
    }

    const int after = Descriptor(dup(0)).get();
    EXPECT_EQ(after, before);
}

}  // namespace
