// How a connection is made: addresses, names and sockets.
#include "smtp/OrvSMTPConnection.h"

#include "Descriptor.h"
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/StagedSystem.h"

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

using testing::ElementsAre;

namespace {

class OrvSMTPConnectionTest : public testing::Test {
protected:
    int connect(const std::string& address, std::uint32_t port, SmtpAddrMode kind) {
        return connection_.connect(address, port, kind, limit_, error_);
    }
    int connectByName() { return connect("mail.example.com", server_.port(), SmtpAddrMode::kHostName); }

    void expectError(std::int32_t code, const std::string& name, const std::string& text) const {
        EXPECT_EQ(error_.code, code);
        EXPECT_EQ(error_.name(), name);
        EXPECT_EQ(error_.text, text);
    }

    std::chrono::milliseconds limit_ = std::chrono::seconds(60);
    StagedSystem system_;
    ScriptedMailServer server_;
    OrvSMTPConnection connection_{system_};
    OrvSMTPError error_;
};

}  // namespace

TEST_F(OrvSMTPConnectionTest, refusesAnAddressThatIsNone) {
    const std::pair<SmtpAddrMode, const char*> rows[] = {
        {SmtpAddrMode::kIPv4, ""},           {SmtpAddrMode::kIPv4, "mail"},       {SmtpAddrMode::kIPv4, "10.1.2.256"},
        {SmtpAddrMode::kIPv4, "127.0.0.1 "}, {SmtpAddrMode::kIPv4, "::1"},        {SmtpAddrMode::kIPv6, "127.0.0.1"},
        {SmtpAddrMode::kIPv6, ""},           {SmtpAddrMode::kIPv6, "fe80::1%lo"},
    };
    for (const auto& [kind, address] : rows) {
        SCOPED_TRACE(address);
        EXPECT_EQ(connect(address, server_.port(), kind), -1);
        expectError(9, "Set Network Address Error", "Not a valid network address string");
    }
    EXPECT_TRUE(system_.connected.empty());
}

TEST_F(OrvSMTPConnectionTest, makesNoSocketForAnUnknownKindOfAddress) {
    for (const std::uint32_t kind : {0u, 4u, 4294967295u}) {
        EXPECT_EQ(connect("127.0.0.1", server_.port(), static_cast<SmtpAddrMode>(kind)), -1);
        expectError(10, "Socket Create Error", "Address family not supported by protocol");
    }
}

TEST_F(OrvSMTPConnectionTest, connectsOverIPv6) {
    ScriptedMailServer server(ScriptedMailServer::Family::kIPv6);

    EXPECT_EQ(connect("::1", server.port(), SmtpAddrMode::kIPv6), 0);

    EXPECT_TRUE(connection_.connected());
}

TEST_F(OrvSMTPConnectionTest, connectsToAnIPv6AddressOfAName) {
    ScriptedMailServer server(ScriptedMailServer::Family::kIPv6);
    system_.addresses = {"::1"};

    EXPECT_EQ(connect("mail.example.com", server.port(), SmtpAddrMode::kHostName), 0);

    EXPECT_TRUE(connection_.connected());
    EXPECT_TRUE(server.waitUntil([&] { return server.connections() == 1; }));
    EXPECT_THAT(system_.connected, ElementsAre("::1 port " + std::to_string(server.port()) + " flow 0 scope 0"));
}

TEST_F(OrvSMTPConnectionTest, triesEachAddressOfANameAtTheServersPort) {
    server_.refuseConnections();
    system_.addresses = {"127.0.0.1", "::1", "not an internet address", "127.0.0.1"};

    EXPECT_EQ(connectByName(), -1);

    const std::string port = " port " + std::to_string(server_.port());
    EXPECT_THAT(system_.connected,
                ElementsAre("127.0.0.1" + port, "::1" + port + " flow 0 scope 0", "127.0.0.1" + port));
}

TEST_F(OrvSMTPConnectionTest, connectsToTheLowHalfOfAPort) {
    EXPECT_EQ(connect(server_.address(), server_.port() + 0x50000u, SmtpAddrMode::kIPv4), 0);

    EXPECT_THAT(system_.connected, ElementsAre("127.0.0.1 port " + std::to_string(server_.port())));
    EXPECT_TRUE(server_.waitUntil([&] { return server_.connections() == 1; }));
}

TEST_F(OrvSMTPConnectionTest, reportsANameThatCannotBeResolved) {
    system_.resolveError = EAI_NONAME;

    EXPECT_EQ(connectByName(), -1);

    expectError(8, "DNS Hostname Resolve Error", gai_strerror(EAI_NONAME));
    EXPECT_EQ(system_.lists, 0);
}

TEST_F(OrvSMTPConnectionTest, triesTheAddressesOfANameInOrderUntilOneConnects) {
    // The first loopback address is nobody's at this port, the second one is the server's.
    system_.addresses = {"127.0.0.2", "127.0.0.1", "127.0.0.3"};

    EXPECT_EQ(connectByName(), 0);

    EXPECT_TRUE(connection_.connected());
    EXPECT_TRUE(server_.waitUntil([&] { return server_.connections() == 1; }));
    EXPECT_EQ(system_.lists, 0);
}

TEST_F(OrvSMTPConnectionTest, reportsTheLastAddressOfANameWhenNoneConnects) {
    server_.refuseConnections();
    system_.addresses = {"::1", "127.0.0.1"};

    EXPECT_EQ(connectByName(), -1);

    expectError(11, "Connect Error", "Connection refused");
    EXPECT_EQ(system_.lists, 0);
}

TEST_F(OrvSMTPConnectionTest, passesOverAnAddressOfAnotherFamily) {
    system_.addresses = {"not an internet address", "127.0.0.1"};
    EXPECT_EQ(connectByName(), 0);

    system_.addresses = {"not an internet address"};
    EXPECT_EQ(connectByName(), -1);
    expectError(10, "Socket Create Error", "Address family not supported by protocol");
}

TEST_F(OrvSMTPConnectionTest, leavesNoSocketBehindByFailedConnects) {
    server_.refuseConnections();
    const int before = Descriptor(dup(0)).get();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(connectByName(), -1);
    }

    const int after = Descriptor(dup(0)).get();

    EXPECT_EQ(after, before);
}

TEST_F(OrvSMTPConnectionTest, givesUpOnAConnectThatIsNeverAnswered) {
    // A listener whose queue is full lets further connects wait.
    const Descriptor listener(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 0), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    const Descriptor waiting(socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_EQ(::connect(waiting.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    limit_ = std::chrono::milliseconds(50);

    EXPECT_EQ(connect("127.0.0.1", ntohs(address.sin_port), SmtpAddrMode::kIPv4), -1);

    EXPECT_FALSE(connection_.connected());
    expectError(11, "Connect Error", "Connection timed out");
}

TEST_F(OrvSMTPConnectionTest, setsALimitWhenAStepHasToWaitAndOnlyIfItIsAnotherThanBefore) {
    ASSERT_EQ(connect(server_.address(), server_.port(), SmtpAddrMode::kIPv4), 0);
    connection_.limitSteps(std::chrono::seconds(300));

    EXPECT_EQ(connection_.receive(), 0);  // the greeting: before it a reply might come with it
    EXPECT_EQ(system_.limitsSet, 1u);
    connection_.limitSteps(std::chrono::seconds(7));
    EXPECT_EQ(connection_.send("NOOP\r\n"), 6);
    EXPECT_EQ(connection_.receive(), 0);
    EXPECT_EQ(system_.limitsSet, 1u);
    EXPECT_EQ(connection_.send(std::string(2000, 'x')), 2000);
    EXPECT_EQ(connection_.send(std::string(2000, 'x')), 2000);
    EXPECT_EQ(system_.limitsSet, 2u);
}

TEST_F(OrvSMTPConnectionTest, receivesNothingOnceItsMomentHasCome) {
    ASSERT_EQ(connect(server_.address(), server_.port(), SmtpAddrMode::kIPv4), 0);

    EXPECT_EQ(connection_.receiveBy(system_.now()), -1);

    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_TRUE(connection_.limitPassed());
    EXPECT_FALSE(connection_.connected());
    EXPECT_EQ(system_.limitsSet, 0u);
}

TEST_F(OrvSMTPConnectionTest, waitsForALateReplyTheRestOfItsLimitAndForTheNextAsUsual) {
    ASSERT_EQ(connect(server_.address(), server_.port(), SmtpAddrMode::kIPv4), 0);
    connection_.limitSteps(std::chrono::seconds(300));
    system_.receiveErrors = {EINTR, EAGAIN, EINTR};

    EXPECT_EQ(connection_.receive(), 0);
    EXPECT_EQ(system_.limitsSet, 2u);
    EXPECT_FALSE(connection_.limitPassed());
    EXPECT_EQ(connection_.send("NOOP\r\n"), 6);
    system_.muteSince = "";

    EXPECT_EQ(connection_.receive(), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(system_.held, std::chrono::seconds(300));
    EXPECT_EQ(system_.limitsSet, 4u);
    EXPECT_TRUE(connection_.limitPassed());
}

TEST_F(OrvSMTPConnectionTest, isLostWithTheLimitThatPasses) {
    for (const bool sends : {true, false}) {
        ASSERT_EQ(connect(server_.address(), server_.port(), SmtpAddrMode::kIPv4), 0);
        ASSERT_FALSE(connection_.limitPassed());
        (sends ? system_.stuckSince : system_.muteSince) = "";
        connection_.limitSteps(std::chrono::seconds(7));
        system_.held = std::chrono::seconds(0);

        EXPECT_EQ(sends ? connection_.send("NOOP\r\n") : connection_.receive(), -1);

        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_EQ(system_.held, std::chrono::seconds(7));
        EXPECT_FALSE(connection_.connected());
        EXPECT_TRUE(connection_.limitPassed());
        system_.stuckSince.reset();
    }
}

TEST(OrvSMTPSystem, seesBytesThatHaveComeAndLeavesThemThere) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const Descriptor mine(ends[0]);
    Descriptor other(ends[1]);
    OrvSMTPSystem& system = OrvSMTPSystem::real();
    EXPECT_FALSE(system.hasBytes(mine.get()));

    ASSERT_EQ(send(other.get(), "x", 1, 0), 1);

    EXPECT_TRUE(system.hasBytes(mine.get()));
    EXPECT_TRUE(system.hasBytes(mine.get()));
    char byte = 0;
    EXPECT_EQ(system.receive(mine.get(), &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    other.reset();
    EXPECT_FALSE(system.hasBytes(mine.get())) << "the end is no byte";
}
