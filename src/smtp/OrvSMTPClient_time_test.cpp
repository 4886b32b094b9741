// How long the SMTP client waits, step by step.
#include "smtp/OrvSMTPClient.h"
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class OrvSMTPClientTime : public MailTest {
protected:
    int connect(OrvSMTPClient& client) {
        return client.connectServer(server_.address(), server_.port(), SmtpAddrMode::kIPv4);
    }

    static void expectTimedOut(const OrvSMTPClient& client, std::int32_t code, const std::string& name) {
        EXPECT_FALSE(client.connected());
        EXPECT_EQ(client.errorCode(), code);
        EXPECT_EQ(client.errorName(), name);
        EXPECT_EQ(client.errorText(), "Connection timed out");
    }

    ScriptedMailServer server_;
};

}  // namespace

TEST_F(OrvSMTPClientTime, waitsForEachStepAsLongAsThatStepMay) {
    const OrvSMTPTimeouts timeouts;

    EXPECT_EQ(timeouts.connect, seconds(300));
    EXPECT_EQ(timeouts.greeting, seconds(300));
    EXPECT_EQ(timeouts.command, seconds(300));
    EXPECT_EQ(timeouts.data, seconds(120));
    EXPECT_EQ(timeouts.text, seconds(180));
    EXPECT_EQ(timeouts.dataEnd, seconds(600));
    EXPECT_EQ(timeouts.quit, seconds(5));
    EXPECT_EQ(timeouts.quitInHaste, milliseconds(200));
}

TEST_F(OrvSMTPClientTime, givesUpOnEachStepThatIsNeverAnswered) {
    const std::atomic<bool> inHaste{true};
    struct {
        milliseconds OrvSMTPTimeouts::*limit;
        MailStage stage;
        std::function<int(OrvSMTPClient&)> step;
    } const rows[] = {
        {&OrvSMTPTimeouts::greeting, MailStage::kGreeting, nullptr},
        {&OrvSMTPTimeouts::command, MailStage::kEhlo,
         [](OrvSMTPClient& client) { return client.sendHello("h", SmtpAddrMode::kIPv4); }},
        {&OrvSMTPTimeouts::command, MailStage::kMail, [](OrvSMTPClient& client) { return client.sendMailFrom("s"); }},
        {&OrvSMTPTimeouts::command, MailStage::kRcpt, [](OrvSMTPClient& client) { return client.sendRcptTo("r"); }},
        {&OrvSMTPTimeouts::data, MailStage::kData, [](OrvSMTPClient& client) { return client.sendDataCmd(); }},
        {&OrvSMTPTimeouts::dataEnd, MailStage::kOther, [](OrvSMTPClient& client) { return client.sendDataEnd(); }},
        {&OrvSMTPTimeouts::command, MailStage::kRset, [](OrvSMTPClient& client) { return client.sendReset(); }},
        {&OrvSMTPTimeouts::quit, MailStage::kQuit, [](OrvSMTPClient& client) { return client.sendQuit(); }},
        {&OrvSMTPTimeouts::quitInHaste, MailStage::kQuit,
         [&](OrvSMTPClient& client) { return client.sendQuit(&inHaste); }},
    };
    for (const auto& row : rows) {
        OrvSMTPTimeouts timeouts;
        timeouts.*row.limit = milliseconds(50);
        OrvSMTPClient client(timeouts);
        server_.answerOnce(row.stage, ScriptedReply::silence());
        const int connected = connect(client);
        if (row.step) {
            ASSERT_EQ(connected, 0);
            EXPECT_EQ(row.step(client), -1);
        } else {
            EXPECT_EQ(connected, -1);
        }
        expectTimedOut(client, 12, "Socket Closed Error");
    }
}

TEST_F(OrvSMTPClientTime, sendsNoTextToAServerThatHasLetALimitPass) {
    OrvSMTPTimeouts timeouts;
    timeouts.data = milliseconds(50);
    server_.answerOnce(MailStage::kData, ScriptedReply::silence());
    OrvSMTPClient client(timeouts);
    ASSERT_EQ(connect(client), 0);
    ASSERT_EQ(client.sendDataCmd(), -1);
    takeTraces();

    EXPECT_EQ(client.sendBody("Subject: too late\r\n"), -1);

    expectTimedOut(client, 12, "Socket Closed Error");
    EXPECT_EQ(takeTraces(), std::vector<std::string>());
}

TEST_F(OrvSMTPClientTime, waitsForALateReplyWithinItsLimit) {
    server_.answer(MailStage::kMail, ScriptedReply::line("250 at last").delayed(milliseconds(200)));
    OrvSMTPClient client;
    ASSERT_EQ(connect(client), 0);

    EXPECT_EQ(client.sendMailFrom("s@x"), 0);
}

TEST_F(OrvSMTPClientTime, givesUpOnATextThatNobodyReads) {
    OrvSMTPTimeouts timeouts;
    timeouts.text = milliseconds(100);
    OrvSMTPClient client(timeouts);
    server_.answer(MailStage::kData, ScriptedReply::line("354 go ahead").thenStopReading());
    ASSERT_EQ(connect(client), 0);
    ASSERT_EQ(client.sendDataCmd(), 0);
    // More than both sides' buffers ever hold.
    ASSERT_EQ(client.sendBody(std::string(32u << 20, 'x')), -1);

    expectTimedOut(client, 4, "SMTP DATA Error");
}
