// What the SMTP client reports when a step cannot be taken: names, sends, replies and lost connections.
#include "Descriptor.h"
#include "smtp/OrvSMTPClient.h"
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/StagedSystem.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

using testing::Contains;
using testing::ElementsAre;

namespace {

class OrvSMTPClientFailing : public MailTest {
protected:
    int connect(OrvSMTPClient& client) {
        return client.connectServer(server_.address(), server_.port(), SmtpAddrMode::kIPv4);
    }
    int connectByName(OrvSMTPClient& client) {
        return client.connectServer("mail.example.com", server_.port(), SmtpAddrMode::kHostName);
    }

    static void expectError(const OrvSMTPClient& client, std::int32_t code, const std::string& name,
                            const std::string& text) {
        EXPECT_EQ(client.errorCode(), code);
        EXPECT_EQ(client.errorName(), name);
        EXPECT_EQ(client.errorText(), text);
    }

    StagedSystem system_;
    ScriptedMailServer server_;
    OrvSMTPClient client_{{}, system_};
};

}  // namespace

TEST_F(OrvSMTPClientFailing, reportsARefusedConnect) {
    server_.refuseConnections();

    EXPECT_EQ(connect(client_), -1);

    EXPECT_FALSE(client_.connected());
    expectError(client_, 11, "Connect Error", "Connection refused");
}

TEST_F(OrvSMTPClientFailing, readsAgainAfterAnInterruption) {
    system_.receiveErrors = {EINTR, EINTR};

    EXPECT_EQ(connect(client_), 0);

    EXPECT_TRUE(system_.receiveErrors.empty());
    expectError(client_, 0, "Okay", "");
}

TEST_F(OrvSMTPClientFailing, asksForStreamAddressesOfAnyFamilyAndTheCanonicalName) {
    ASSERT_EQ(connectByName(client_), 0);
    ASSERT_EQ(client_.sendHello("sw01", SmtpAddrMode::kHostName), 0);

    EXPECT_THAT(system_.asked, ElementsAre(StagedSystem::Asked{"mail.example.com", AI_CANONNAME | AI_ADDRCONFIG,
                                                               AF_UNSPEC, SOCK_STREAM},
                                           StagedSystem::Asked{"sw01", AI_CANONNAME, AF_UNSPEC, SOCK_STREAM}));
    EXPECT_EQ(system_.lists, 0);
}

TEST_F(OrvSMTPClientFailing, presentsTheCanonicalNameOfAHost) {
    system_.canonical = "sw01.example.com";
    ASSERT_EQ(connect(client_), 0);

    EXPECT_EQ(client_.sendHello("sw01", SmtpAddrMode::kHostName), 0);

    EXPECT_EQ(server_.received(0), "EHLO sw01.example.com\r\n");
    EXPECT_EQ(system_.lists, 0);
}

TEST_F(OrvSMTPClientFailing, presentsTheNameItselfWithoutACanonicalOne) {
    ASSERT_EQ(connect(client_), 0);

    EXPECT_EQ(client_.sendHello("sw01", SmtpAddrMode::kHostName), 0);

    EXPECT_EQ(server_.received(0), "EHLO sw01\r\n");
}

TEST_F(OrvSMTPClientFailing, sendsNothingWhenItsOwnNameCannotBeResolved) {
    ASSERT_EQ(connect(client_), 0);
    system_.resolveError = EAI_AGAIN;

    EXPECT_EQ(client_.sendHello("sw01", SmtpAddrMode::kHostName), -1);

    EXPECT_TRUE(client_.connected());
    EXPECT_TRUE(system_.lengths.empty());
    expectError(client_, 8, "DNS Hostname Resolve Error", gai_strerror(EAI_AGAIN));
}

TEST_F(OrvSMTPClientFailing, leavesNoSocketBehindByConnectingAgain) {
    ASSERT_EQ(connect(client_), 0);
    ASSERT_EQ(connect(client_), 0);

    EXPECT_TRUE(server_.waitUntil([&] { return server_.connections() == 2 && server_.openConnections() == 1; }));
}

TEST_F(OrvSMTPClientFailing, reportsTheCommandWhoseLineCouldNotBeSent) {
    struct {
        std::function<int(OrvSMTPClient&)> step;
        std::int32_t code;
        const char* name;
    } const rows[] = {
        {[](OrvSMTPClient& client) { return client.sendHello("h", SmtpAddrMode::kIPv4); }, 1, "SMTP HELO Error"},
        {[](OrvSMTPClient& client) { return client.sendMailFrom("s@x"); }, 2, "SMTP MAIL FROM Error"},
        {[](OrvSMTPClient& client) { return client.sendRcptTo("r@x"); }, 3, "SMTP RCPT TO Error"},
        {[](OrvSMTPClient& client) { return client.sendDataCmd(); }, 4, "SMTP DATA Error"},
        {[](OrvSMTPClient& client) { return client.sendBody("text"); }, 4, "SMTP DATA Error"},
        {[](OrvSMTPClient& client) { return client.sendDataEnd(); }, 5, "SMTP DATA END Error"},
        {[](OrvSMTPClient& client) { return client.sendReset(); }, 7, "SMTP RESET error"},
        {[](OrvSMTPClient& client) { return client.sendQuit(); }, 12, "Socket Closed Error"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(connect(client_), 0);
        system_.sendErrors = {EPIPE};
        EXPECT_EQ(row.step(client_), -1);
        EXPECT_FALSE(client_.connected());
        expectError(client_, row.code, row.name, "Broken pipe");
    }
}

TEST_F(OrvSMTPClientFailing, reportsAHeloLineThatCouldNotBeSent) {
    server_.answer(MailStage::kEhlo, ScriptedReply::line("500 unknown command"));
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {0, ECONNRESET};

    EXPECT_EQ(client_.sendHello("h", SmtpAddrMode::kIPv4), -1);

    expectError(client_, 1, "SMTP HELO Error", "Connection reset by peer");
}

TEST_F(OrvSMTPClientFailing, sendsTheRemainderAfterPartialSends) {
    ASSERT_EQ(connect(client_), 0);
    system_.most = 7;
    takeTraces();

    ASSERT_EQ(client_.sendMailFrom("s@x"), 0);

    EXPECT_THAT(system_.lengths, ElementsAre(17u, 10u, 3u));
    EXPECT_EQ(server_.received(0), "MAIL FROM:<s@x>\r\n");
    EXPECT_THAT(takeTraces(), testing::IsSupersetOf({"sendRequest: SMTP bytes sent = 7 of 17",
                                                     "sendRequest: SMTP bytes sent = 7 of 10",
                                                     "sendRequest: SMTP bytes sent = 3 of 3"}));
}

TEST_F(OrvSMTPClientFailing, sendsEachRequestWithoutDelayAndWaitsForIt) {
    ASSERT_EQ(connect(client_), 0);
    ASSERT_EQ(client_.sendMailFrom("s@x"), 0);

    EXPECT_EQ(system_.lengths.size(), 1u) << "and its socket was looked at";
}

TEST_F(OrvSMTPClientFailing, sendsAgainAfterAnInterruption) {
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {EINTR, 0};

    EXPECT_EQ(client_.sendMailFrom("s@x"), 0);

    EXPECT_EQ(server_.received(0), "MAIL FROM:<s@x>\r\n");
}

TEST_F(OrvSMTPClientFailing, triesATextThatIsTooLongForOneMessageOnceMoreWhole) {
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {EMSGSIZE, EMSGSIZE};
    system_.lengths.clear();
    takeTraces();

    EXPECT_EQ(client_.sendBody(std::string(4998, 'x')), -1);

    EXPECT_THAT(system_.lengths, ElementsAre(5000u, 5000u));
    EXPECT_TRUE(client_.connected());
    expectError(client_, 4, "SMTP DATA Error", "Message too long");
    EXPECT_THAT(takeTraces(), Contains("sendRequest: SMTP bytes sent = -1 of 5000").Times(2));
}

TEST_F(OrvSMTPClientFailing, goesOnWhenTheSecondTryOfALongTextSucceeds) {
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {EMSGSIZE, 0};

    EXPECT_EQ(client_.sendBody(std::string(4998, 'x')), 0);

    EXPECT_TRUE(server_.waitUntil([&] { return server_.received(0) == std::string(4998, 'x') + "\r\n"; }));
}

TEST_F(OrvSMTPClientFailing, triesTheSameRemainderAgainThatIsTooLong) {
    ASSERT_EQ(connect(client_), 0);
    system_.most = 1000;
    system_.sendErrors = {0, EMSGSIZE, 0, EMSGSIZE};
    system_.lengths.clear();

    EXPECT_EQ(client_.sendBody(std::string(4998, 'x')), -1);

    EXPECT_THAT(system_.lengths, ElementsAre(5000u, 4000u, 4000u, 3000u));
    EXPECT_TRUE(client_.connected());
}

TEST_F(OrvSMTPClientFailing, doesNotTryAShortTextAgainThatIsTooLong) {
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {EMSGSIZE};
    system_.lengths.clear();

    EXPECT_EQ(client_.sendBody(std::string(1022, 'x')), -1);

    EXPECT_THAT(system_.lengths, ElementsAre(1024u));
    EXPECT_TRUE(client_.connected());
    expectError(client_, 4, "SMTP DATA Error", "Message too long");
}

TEST_F(OrvSMTPClientFailing, triesATextOf1025BytesAgain) {
    ASSERT_EQ(connect(client_), 0);
    system_.sendErrors = {EMSGSIZE, EMSGSIZE};
    system_.lengths.clear();

    EXPECT_EQ(client_.sendBody(std::string(1023, 'x')), -1);

    EXPECT_THAT(system_.lengths, ElementsAre(1025u, 1025u));
}

TEST_F(OrvSMTPClientFailing, reportsAClosedConnectionAfterEachCommand) {
    struct {
        MailStage stage;
        std::function<int(OrvSMTPClient&)> step;
    } const rows[] = {
        {MailStage::kEhlo, [](OrvSMTPClient& client) { return client.sendHello("h", SmtpAddrMode::kIPv4); }},
        {MailStage::kMail, [](OrvSMTPClient& client) { return client.sendMailFrom("s@x"); }},
        {MailStage::kRcpt, [](OrvSMTPClient& client) { return client.sendRcptTo("r@x"); }},
        {MailStage::kData, [](OrvSMTPClient& client) { return client.sendDataCmd(); }},
        {MailStage::kOther, [](OrvSMTPClient& client) { return client.sendDataEnd(); }},
        {MailStage::kRset, [](OrvSMTPClient& client) { return client.sendReset(); }},
        {MailStage::kQuit, [](OrvSMTPClient& client) { return client.sendQuit(); }},
    };
    for (const auto& row : rows) {
        server_.answerOnce(row.stage, ScriptedReply::hangUp());
        ASSERT_EQ(connect(client_), 0);
        EXPECT_EQ(row.step(client_), -1);
        EXPECT_FALSE(client_.connected());
        expectError(client_, 12, "Socket Closed Error", "Success");
        EXPECT_EQ(client_.lastReply(), "");
    }
}

TEST_F(OrvSMTPClientFailing, reportsAServerThatHangsUpInsteadOfGreeting) {
    server_.answer(MailStage::kGreeting, ScriptedReply::hangUp());

    EXPECT_EQ(connect(client_), -1);

    expectError(client_, 12, "Socket Closed Error", "Success");
}

TEST_F(OrvSMTPClientFailing, reportsAConnectionThatWasBrokenOff) {
    server_.answer(MailStage::kMail, ScriptedReply().thenReset());
    ASSERT_EQ(connect(client_), 0);

    EXPECT_EQ(client_.sendMailFrom("s@x"), -1);

    expectError(client_, 12, "Socket Closed Error", "Connection reset by peer");
}

TEST_F(OrvSMTPClientFailing, judgesTheBytesThatCameBeforeTheServerHungUp) {
    const std::string refusal = "554 no";
    for (std::size_t length = 1; length <= refusal.size(); ++length) {
        server_.answer(MailStage::kGreeting, ScriptedReply::bytes(refusal.substr(0, length)).thenHangUp());
        EXPECT_EQ(connect(client_), -2);
        EXPECT_EQ(client_.lastReply(), refusal.substr(0, length));
    }
}

TEST_F(OrvSMTPClientFailing, keepsItsErrorWhenALostConnectionIsUsedAgain) {
    server_.answer(MailStage::kMail, ScriptedReply::hangUp());
    ASSERT_EQ(connect(client_), 0);
    ASSERT_EQ(client_.sendMailFrom("s@x"), -1);

    EXPECT_EQ(client_.recvResponse(), -1);

    expectError(client_, 12, "Socket Closed Error", "Success");
}

TEST_F(OrvSMTPClientFailing, refusesToSendOrReceiveWithoutAConnection) {
    EXPECT_EQ(client_.sendMailFrom("s@x"), -1);
    expectError(client_, 2, "SMTP MAIL FROM Error", "Transport endpoint is not connected");

    EXPECT_EQ(client_.recvResponse(), -1);
    EXPECT_FALSE(client_.connected());
}

TEST_F(OrvSMTPClientFailing, canBeDisconnectedTwice) {
    ASSERT_EQ(connect(client_), 0);

    client_.disconnect();
    client_.disconnect();

    EXPECT_FALSE(client_.connected());
    EXPECT_TRUE(server_.waitUntil([&] { return server_.openConnections() == 0; }));
}
