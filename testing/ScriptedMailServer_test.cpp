#include "testing/ScriptedMailServer.h"

#include "Descriptor.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

using testing::ElementsAre;
using testing::SizeIs;

namespace {

// A client without manners: sends and reads bytes.
class RawClient {
public:
    explicit RawClient(const ScriptedMailServer& server) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(server.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        error_ = ::connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    }

    int error() const { return error_; }
    void send(const std::string& text) {
        EXPECT_EQ(::send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    // Exactly so many bytes, or fewer when the server hangs up.
    std::string read(std::size_t length) {
        std::string text(length, '\0');
        const ssize_t got = recv(fd_.get(), text.data(), length, MSG_WAITALL);
        text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return text;
    }
    std::string ask(const std::string& line, std::size_t length) {
        send(line + "\r\n");
        return read(length);
    }
    // 0: closed in order, else the error number.
    int end() {
        char byte = 0;
        const ssize_t got = recv(fd_.get(), &byte, 1, 0);
        return got < 0 ? errno : static_cast<int>(got);
    }

private:
    Descriptor fd_;
    int error_ = 0;
};

constexpr char kGreeting[] = "220 scripted mail server\r\n";
constexpr std::size_t kGreetingSize = sizeof kGreeting - 1;

}  // namespace

TEST(ScriptedMailServer, takesAMailAndRecordsEveryByte) {
    ScriptedMailServer server;
    RawClient client(server);

    EXPECT_EQ(client.read(kGreetingSize), kGreeting);
    EXPECT_EQ(client.ask("EHLO x", 11), "250 hello\r\n");
    EXPECT_EQ(client.ask("MAIL FROM:<s@x>", 15), "250 sender ok\r\n");
    EXPECT_EQ(client.ask("RCPT TO:<a@x>", 18), "250 recipient ok\r\n");
    EXPECT_EQ(client.ask("DATA", 14), "354 go ahead\r\n");
    EXPECT_EQ(client.ask("text\r\n.", 11), "250 taken\r\n");
    EXPECT_EQ(client.ask("QUIT", 9), "221 bye\r\n");
    EXPECT_EQ(client.end(), 0);

    EXPECT_EQ(server.received(0), "EHLO x\r\nMAIL FROM:<s@x>\r\nRCPT TO:<a@x>\r\nDATA\r\ntext\r\n.\r\nQUIT\r\n");
    ASSERT_THAT(server.mailsTaken(), SizeIs(1));
    EXPECT_EQ(server.mailsTaken()[0].sender, "s@x");
    EXPECT_THAT(server.mailsTaken()[0].recipients, ElementsAre("a@x"));
    EXPECT_EQ(server.mailsTaken()[0].text, "text\r\n");
    EXPECT_EQ(server.connections(), 1u);
}

TEST(ScriptedMailServer, listensOnTheIPv6LoopbackAddressToo) {
    ScriptedMailServer server(ScriptedMailServer::Family::kIPv6);
    const Descriptor fd(socket(AF_INET6, SOCK_STREAM, 0));
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(server.port());
    address.sin6_addr = in6addr_loopback;

    EXPECT_EQ(connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    EXPECT_TRUE(server.waitUntil([&] { return server.connections() == 1; }));
    EXPECT_EQ(server.address(), "::1");
}

TEST(ScriptedMailServer, usesOneTimeRepliesBeforeTheStandingOne) {
    ScriptedMailServer server;
    server.answer(MailStage::kRcpt, ScriptedReply::line("250"));
    server.answerOnce(MailStage::kRcpt, ScriptedReply::line("451"));
    server.answerOnce(MailStage::kRcpt, ScriptedReply::line("550"));
    server.answerRecipientOnce("b@x", ScriptedReply::line("452"));
    RawClient client(server);
    client.read(kGreetingSize);

    EXPECT_EQ(client.ask("RCPT TO:<b@x>", 5), "452\r\n");
    EXPECT_EQ(client.ask("RCPT TO:<b@x>", 5), "451\r\n");
    EXPECT_EQ(client.ask("RCPT TO:<b@x>", 5), "550\r\n");
    EXPECT_EQ(client.ask("RCPT TO:<b@x>", 5), "250\r\n");
}

TEST(ScriptedMailServer, answersOneRecipientInItsOwnWay) {
    ScriptedMailServer server;
    server.answerRecipient("bad@x", ScriptedReply::line("550 no"));
    RawClient client(server);
    client.read(kGreetingSize);
    client.ask("MAIL FROM:<s@x>", 15);

    EXPECT_EQ(client.ask("RCPT TO:<bad@x>", 8), "550 no\r\n");
    EXPECT_EQ(client.ask("RCPT TO:<a@x>", 18), "250 recipient ok\r\n");
    client.ask("DATA", 14);
    client.ask("text\r\n.", 11);

    EXPECT_THAT(server.mailsTaken().at(0).recipients, ElementsAre("a@x"));
}

TEST(ScriptedMailServer, countsNoMailWhoseEndItRefuses) {
    ScriptedMailServer server;
    server.answer(MailStage::kEndOfData, ScriptedReply::line("554 full"));
    RawClient client(server);
    client.read(kGreetingSize);
    client.ask("DATA", 14);

    EXPECT_EQ(client.ask(".", 10), "554 full\r\n");

    EXPECT_THAT(server.mailsTaken(), SizeIs(0));
}

TEST(ScriptedMailServer, hangsUpAfterAnyByteOfAReply) {
    const std::string reply = "250 hello";
    for (std::size_t length = 0; length <= reply.size(); ++length) {
        ScriptedMailServer server;
        server.answer(MailStage::kEhlo, ScriptedReply::bytes(reply.substr(0, length)).thenHangUp());
        RawClient client(server);
        client.read(kGreetingSize);

        EXPECT_EQ(client.ask("EHLO x", 100), reply.substr(0, length));
        EXPECT_EQ(client.end(), 0);
    }
}

TEST(ScriptedMailServer, breaksOffOnceItHasReceivedSoManyBytes) {
    ScriptedMailServer server;
    server.hangUpAfterReceiving(3);
    RawClient client(server);
    client.read(kGreetingSize);

    client.send("EHLO x\r\n");

    EXPECT_EQ(client.end(), ECONNRESET);
    EXPECT_EQ(server.received(0), "EHL");
}

TEST(ScriptedMailServer, holdsThePiecesOfAReplyUntilTheNextLine) {
    ScriptedMailServer server;
    server.answer(MailStage::kEhlo, ScriptedReply::bytes("250-a\r\n250 b\r\n").holdFrom(7));
    RawClient client(server);
    client.read(kGreetingSize);

    EXPECT_EQ(client.ask("EHLO x", 7), "250-a\r\n");
    EXPECT_EQ(client.ask("RSET", 18), "250 b\r\n250 reset\r\n");
}

TEST(ScriptedMailServer, sendsAReplyInPiecesAndLate) {
    ScriptedMailServer server;
    server.answer(MailStage::kGreeting,
                  ScriptedReply::line("220 x").oneByteAtATime().delayed(std::chrono::milliseconds(20)));
    const auto begin = std::chrono::steady_clock::now();
    RawClient client(server);

    EXPECT_EQ(client.read(7), "220 x\r\n");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST(ScriptedMailServer, refusesConnectionsAndKeepsItsPort) {
    ScriptedMailServer server;
    server.refuseConnections();
    EXPECT_EQ(RawClient(server).error(), ECONNREFUSED);

    server.acceptConnections();

    RawClient client(server);
    EXPECT_EQ(client.error(), 0);
    EXPECT_EQ(client.read(kGreetingSize), kGreeting);
    EXPECT_EQ(server.connections(), 1u);
}

TEST(ScriptedMailServer, servesSeveralConnectionsAtOnce) {
    ScriptedMailServer server;
    RawClient first(server);
    first.read(kGreetingSize);
    RawClient second(server);
    second.read(kGreetingSize);

    EXPECT_EQ(second.ask("EHLO second", 11), "250 hello\r\n");
    EXPECT_EQ(first.ask("EHLO first", 11), "250 hello\r\n");

    EXPECT_THAT(server.received(), ElementsAre("EHLO first\r\n", "EHLO second\r\n"));
}

TEST(ScriptedMailServer, breaksOffItsConnectionsWhenItDies) {
    auto server = std::make_unique<ScriptedMailServer>();
    server->answer(MailStage::kGreeting, ScriptedReply::silence());
    RawClient client(*server);
    ASSERT_TRUE(server->waitUntil([&] { return server->openConnections() == 1; }));

    server.reset();

    EXPECT_EQ(client.end(), ECONNRESET);
}

TEST(ScriptedMailServer, breaksOffItsConnectionsWhenToldAndTakesNewOnes) {
    ScriptedMailServer server;
    RawClient client(server);
    client.read(kGreetingSize);

    server.breakConnections();

    EXPECT_EQ(client.end(), ECONNRESET);
    EXPECT_EQ(server.openConnections(), 0u);
    EXPECT_EQ(RawClient(server).read(kGreetingSize), kGreeting);
}

TEST(ScriptedMailServer, saysWhenAConditionNeverComesTrue) {
    const ScriptedMailServer server;

    EXPECT_FALSE(server.waitUntil([] { return false; }, std::chrono::milliseconds(30)));
}
