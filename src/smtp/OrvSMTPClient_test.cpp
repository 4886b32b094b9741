// The dialogue's commands and replies, against a scripted server.
#include "smtp/OrvSMTPClient.h"

#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"

#include <gmock/gmock.h>

#include <functional>

using testing::Contains;
using testing::ElementsAre;

namespace {

// A reply of each stage has this long; no test lets it pass but those about time.
constexpr OrvSMTPTimeouts kPatient{std::chrono::seconds(60), std::chrono::seconds(60), std::chrono::seconds(60),
                                   std::chrono::seconds(60), std::chrono::seconds(60), std::chrono::seconds(60)};

class OrvSMTPClientTest : public MailTest {
protected:
    int connect() { return client_.connectServer(server_.address(), server_.port(), SmtpAddrMode::kIPv4); }
    int hello() { return client_.sendHello("10.1.2.3", SmtpAddrMode::kIPv4); }

    // The whole of a dialogue; the first failure ends it.
    int dialogue(const std::string& text) {
        const std::function<int()> steps[] = {
            [&] { return connect(); },
            [&] { return hello(); },
            [&] { return client_.sendMailFrom("switch@example.com"); },
            [&] { return client_.sendRcptTo("a@example.com"); },
            [&] { return client_.sendDataCmd(); },
            [&] { return client_.sendBody(text); },
            [&] { return client_.sendDataEnd(); },
            [&] { return client_.sendQuit(); },
        };
        for (const auto& step : steps) {
            if (const int result = step(); result != 0) {
                return result;
            }
        }
        client_.disconnect();
        return 0;
    }

    void expectError(std::int32_t code, const std::string& name, const std::string& text, const std::string& reply) {
        EXPECT_EQ(client_.errorCode(), code);
        EXPECT_EQ(client_.errorName(), name);
        EXPECT_EQ(client_.errorText(), text);
        EXPECT_EQ(client_.lastReply(), reply);
    }

    ScriptedMailServer server_;
    OrvSMTPClient client_{kPatient};
};

constexpr char kRefused[] = "SMTP server error Response";

}  // namespace

TEST_F(OrvSMTPClientTest, startsWithoutConnectionAndError) {
    EXPECT_FALSE(client_.connected());
    expectError(0, "Okay", "", "");
}

TEST_F(OrvSMTPClientTest, speaksAWholeDialogueByteForByte) {
    ASSERT_EQ(dialogue("Subject: hi\r\n\r\nBody"), 0);

    EXPECT_EQ(server_.received(0),
              "EHLO [10.1.2.3]\r\n"
              "MAIL FROM:<switch@example.com>\r\n"
              "RCPT TO:<a@example.com>\r\n"
              "DATA\r\n"
              "Subject: hi\r\n\r\nBody\r\n"
              ".\r\n"
              "QUIT\r\n");
    EXPECT_FALSE(client_.connected());
    expectError(0, "Okay", "", "");
}

TEST_F(OrvSMTPClientTest, tracesWhatItSendsAndReads) {
    ASSERT_EQ(connect(), 0);
    takeTraces();

    ASSERT_EQ(client_.sendMailFrom("100%s@x"), 0);

    EXPECT_THAT(takeTraces(), ElementsAre("sendRequest: SMTP Send (incl CRLF) {MAIL FROM:<100%s@x>", "}",
                                          "sendRequest: SMTP bytes sent = 21 of 21",
                                          "recvResponse: SMTP StatusSMTPResponse (incl CRLF) {250 sender ok", "}"));
}

TEST_F(OrvSMTPClientTest, doublesNoDotAndFoldsNoLine) {
    const std::string text = "..dots\r\n.line\r\n" + std::string(5000, 'x') + "\r\n";

    ASSERT_EQ(dialogue(text), 0);

    ASSERT_EQ(server_.mailsTaken().size(), 1u);
    EXPECT_EQ(server_.mailsTaken()[0].text, text + "\r\n");
}

TEST_F(OrvSMTPClientTest, sendsALargeTextWhole) {
    std::string text;
    while (text.size() < 1500000) {
        text += std::string(72, static_cast<char>('A' + text.size() % 26)) + "\r\n";
    }

    ASSERT_EQ(dialogue(text), 0);

    ASSERT_EQ(server_.mailsTaken().size(), 1u);
    EXPECT_EQ(server_.mailsTaken()[0].text, text + "\r\n");
}

TEST_F(OrvSMTPClientTest, sendsAnEmptyTextAsAnEmptyLine) {
    ASSERT_EQ(dialogue(""), 0);

    EXPECT_THAT(server_.received(0), testing::HasSubstr("DATA\r\n\r\n.\r\nQUIT\r\n"));
}

TEST_F(OrvSMTPClientTest, acceptsRepliesThatBeginWithTwoOrThree) {
    for (const char* reply : {"2", "3", "250", "354 x", "2no blank", "299 odd", "3xx"}) {
        SCOPED_TRACE(reply);
        server_.answer(MailStage::kGreeting, ScriptedReply::line(reply));
        EXPECT_EQ(connect(), 0);
    }
}

TEST_F(OrvSMTPClientTest, refusesAnyOtherReply) {
    for (const char* reply : {"554 no", "421", "1 wait", "4", "x250", " 250", "ok", "\xFF\xFE", "<html>"}) {
        SCOPED_TRACE(reply);
        server_.answer(MailStage::kGreeting, ScriptedReply::line(reply));
        EXPECT_EQ(connect(), -2);
        EXPECT_TRUE(client_.connected());
        expectError(6, "SMTP RESPONSE Error", kRefused, reply);
    }
}

TEST_F(OrvSMTPClientTest, failsTheConnectOnA554GreetingAndKeepsItsText) {
    server_.answer(MailStage::kGreeting, ScriptedReply::line("554 go away 100%n"));

    EXPECT_LT(connect(), 0);

    expectError(6, "SMTP RESPONSE Error", kRefused, "554 go away 100%n");
}

TEST_F(OrvSMTPClientTest, removesOneLineEndFromARefusal) {
    const std::pair<const char*, const char*> rows[] = {
        {"554 no\r\n", "554 no"},
        {"554 no", "554 no"},
        {"554 no\n", "554 no\n"},
        {"554 no\r", "554 no\r"},
        {"554 no\r\n\r\n", "554 no\r\n"},
        {"\r\n", ""},
        {"5", "5"},
        {"\n", "\n"},
    };
    for (const auto& [sent, kept] : rows) {
        SCOPED_TRACE(sent);
        server_.answer(MailStage::kGreeting, ScriptedReply::bytes(sent));
        EXPECT_EQ(connect(), -2);
        EXPECT_EQ(client_.lastReply(), kept);
    }
}

TEST_F(OrvSMTPClientTest, takesAReplyThatStartsWithAZeroByteAsEmpty) {
    server_.answer(MailStage::kGreeting, ScriptedReply::bytes(std::string(1, '\0') + "250 ok\r\n"));

    EXPECT_EQ(connect(), -2);

    expectError(6, "SMTP RESPONSE Error", kRefused, "");
}

TEST_F(OrvSMTPClientTest, readsAtMost1024BytesOfAReply) {
    server_.answer(MailStage::kGreeting, ScriptedReply::bytes("5" + std::string(99999, 'x')));

    EXPECT_EQ(connect(), -2);

    EXPECT_EQ(client_.lastReply(), "5" + std::string(1023, 'x'));
}

TEST_F(OrvSMTPClientTest, readsTheRestOfALongReplyAsTheNextOne) {
    server_.answer(MailStage::kGreeting, ScriptedReply::bytes(std::string(1024, '2') + "5 still the greeting"));
    ASSERT_EQ(connect(), 0);

    EXPECT_EQ(client_.sendMailFrom("switch@example.com"), -2);

    EXPECT_THAT(client_.lastReply(), testing::StartsWith("5 still the greeting"));
}

TEST_F(OrvSMTPClientTest, takesLaterLinesOfAReplyAsTheReplyToTheNextCommand) {
    server_.answer(MailStage::kEhlo, ScriptedReply::bytes("250-hello\r\n550 not a real last line\r\n").holdFrom(11));
    ASSERT_EQ(connect(), 0);
    EXPECT_EQ(hello(), 0);

    EXPECT_EQ(client_.sendMailFrom("switch@example.com"), -2);

    EXPECT_THAT(client_.lastReply(), testing::StartsWith("550 not a real last line"));
}

TEST_F(OrvSMTPClientTest, takesAMultiLineReplyThatComesAtOnceAsOne) {
    server_.answer(MailStage::kEhlo, ScriptedReply::bytes("250-hello\r\n250-SIZE\r\n250 HELP\r\n"));

    EXPECT_EQ(dialogue("text"), 0);
}

TEST_F(OrvSMTPClientTest, judgesTheFirstPieceOfASplitReply) {
    server_.answer(MailStage::kGreeting, ScriptedReply::bytes("554 never mind").holdFrom(1));

    EXPECT_EQ(connect(), -2);

    EXPECT_EQ(client_.lastReply(), "5");
}

TEST_F(OrvSMTPClientTest, survivesAServerThatSpeaksByteByByte) {
    server_.answer(MailStage::kGreeting, ScriptedReply::line("220 slow and steady").oneByteAtATime());

    EXPECT_EQ(connect(), 0);
    client_.sendQuit();
    client_.disconnect();

    EXPECT_TRUE(server_.waitUntil([&] { return server_.openConnections() == 0; }));
}

TEST_F(OrvSMTPClientTest, reportsEachStepThatTheServerRefuses) {
    struct {
        MailStage stage;
        std::function<int()> step;
    } const rows[] = {
        {MailStage::kMail, [&] { return client_.sendMailFrom("s@x"); }},
        {MailStage::kRcpt, [&] { return client_.sendRcptTo("r@x"); }},
        {MailStage::kData, [&] { return client_.sendDataCmd(); }},
        {MailStage::kRset, [&] { return client_.sendReset(); }},
        {MailStage::kQuit, [&] { return client_.sendQuit(); }},
        {MailStage::kOther, [&] { return client_.sendDataEnd(); }},
    };
    for (const auto& row : rows) {
        server_.answerOnce(row.stage, ScriptedReply::line("451 not now"));
        ASSERT_EQ(connect(), 0);
        ASSERT_EQ(hello(), 0);
        EXPECT_EQ(row.step(), -2);
        EXPECT_TRUE(client_.connected());
        expectError(6, "SMTP RESPONSE Error", kRefused, "451 not now");
    }
}

TEST_F(OrvSMTPClientTest, keepsTheLastRefusalThroughLaterCommandsThatSucceed) {
    server_.answerOnce(MailStage::kRcpt, ScriptedReply::line("550 unknown"));
    ASSERT_EQ(connect(), 0);
    ASSERT_EQ(hello(), 0);
    ASSERT_EQ(client_.sendRcptTo("r@x"), -2);

    ASSERT_EQ(client_.sendRcptTo("s@x"), 0);

    expectError(6, "SMTP RESPONSE Error", kRefused, "550 unknown");
}

TEST_F(OrvSMTPClientTest, forgetsEarlierErrorsAtConnectAndHello) {
    server_.answerOnce(MailStage::kGreeting, ScriptedReply::line("554 no"));
    ASSERT_EQ(connect(), -2);

    ASSERT_EQ(connect(), 0);
    expectError(0, "Okay", "", "");

    server_.answerOnce(MailStage::kRcpt, ScriptedReply::line("550 unknown"));
    ASSERT_EQ(client_.sendRcptTo("r@x"), -2);
    ASSERT_EQ(hello(), 0);
    expectError(0, "Okay", "", "");
}

TEST_F(OrvSMTPClientTest, presentsItselfByEachKindOfIdentity) {
    const std::pair<SmtpAddrMode, const char*> rows[] = {
        {SmtpAddrMode::kIPv4, "EHLO [fe80::1]\r\n"},
        {SmtpAddrMode::kIPv6, "EHLO [IPv6:fe80::1]\r\n"},
        {static_cast<SmtpAddrMode>(0), "EHLO \r\n"},
        {static_cast<SmtpAddrMode>(4), "EHLO \r\n"},
    };
    for (const auto& [kind, line] : rows) {
        ASSERT_EQ(connect(), 0);
        EXPECT_EQ(client_.sendHello("fe80::1", kind), 0);
        EXPECT_EQ(server_.received(server_.connections() - 1), line);
    }
}

TEST_F(OrvSMTPClientTest, fallsBackToHeloWhenEhloIsRefused) {
    server_.answer(MailStage::kEhlo, ScriptedReply::line("500 unknown command"));
    ASSERT_EQ(connect(), 0);

    EXPECT_EQ(hello(), 0);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\nHELO [10.1.2.3]\r\n");
}

TEST_F(OrvSMTPClientTest, failsWhenBothGreetingsAreRefused) {
    server_.answer(MailStage::kEhlo, ScriptedReply::line("500 unknown command"));
    server_.answer(MailStage::kHelo, ScriptedReply::line("501 who are you"));
    ASSERT_EQ(connect(), 0);

    EXPECT_EQ(hello(), -1);

    EXPECT_TRUE(client_.connected());
    expectError(6, "SMTP RESPONSE Error", kRefused, "501 who are you");
}

TEST_F(OrvSMTPClientTest, doesNotAskHeloOfAServerThatHungUpAfterEhlo) {
    server_.answer(MailStage::kEhlo, ScriptedReply::hangUp());
    ASSERT_EQ(connect(), 0);

    EXPECT_EQ(hello(), -1);

    EXPECT_FALSE(client_.connected());
    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\n");
    expectError(12, "Socket Closed Error", "Success", "");
}
