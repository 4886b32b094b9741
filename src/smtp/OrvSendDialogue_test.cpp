// What a dialogue says on the wire, whom it presents the switch as, and how it fails.
#include "smtp/OrvSendDialogue.h"

#include "smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kMail[] =
    "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
    "From: switch@example.com\r\n"
    "Bcc:  \r\n"
    "Reply-To: ops@example.com\r\n"
    "Subject: [CallHome: noc] Switch event\r\n"
    "\r\n\r\n"
    "SwitchName:     sw-core-1\r\n"
    "SwitchIP:       10.1.2.3\r\n"
    "SwitchWWN:      10:00:00:05:1e:00:00:01\r\n"
    "Text:           Port 5 went down\r\n"
    "ID:             0123.4567\r\n"
    "Time:           Tue Nov 14 22:13:19.123 UTC 2023\r\n"
    "Level:          Critical\r\n"
    "Blade:          Blade: 1\r\n"
    "ASIC:           2.5\r\n"
    "Port:           5\r\n"
    "vFabric:        128\r\n"
    "Application:    Eport\r\n"
    "Component:      chassis:1.2.3\r\n";

const std::string kWholeDialogue = std::string(
                                       "EHLO [10.1.2.3]\r\n"
                                       "MAIL FROM:<switch@example.com>\r\n"
                                       "RCPT TO:<a@example.com>\r\n"
                                       "RCPT TO:<b@example.com>\r\n"
                                       "DATA\r\n") +
                                   kMail +
                                   "\r\n"
                                   ".\r\n"
                                   "QUIT\r\n";

using OrvSendDialogueTest = DialogueTest;

}  // namespace

TEST_F(OrvSendDialogueTest, deliversAnEnvelopeByteForByte) {
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com", "b@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.received(0), kWholeDialogue);
    EXPECT_THAT(noc.Recipients, ElementsAre("!a@example.com", "!b@example.com"));
    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(reporter_.lines, IsEmpty());
}

TEST_F(OrvSendDialogueTest, deliversEveryEnvelopeOnOneConnection) {
    envelope("noc", {"a@example.com"});
    envelope("vendor", {"v@example.com"});

    EXPECT_EQ(run(), 0);

    ASSERT_EQ(server_.mailsTaken().size(), 2u);
    EXPECT_EQ(server_.connections(), 1u);
    EXPECT_THAT(server_.mailsTaken()[0].recipients, ElementsAre("a@example.com"));
    EXPECT_THAT(server_.mailsTaken()[1].recipients, ElementsAre("v@example.com"));
    EXPECT_THAT(server_.mailsTaken()[1].text, testing::HasSubstr("Subject: [CallHome: vendor] Switch event\r\n"));
}

TEST_F(OrvSendDialogueTest, passesOverAnEnvelopeThatIsDone) {
    envelope("noc", {"a@example.com"}).Done = true;
    envelope("vendor", {"v@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.mailsTaken().size(), 1u);
    EXPECT_EQ(message_->Envelopes[0]->Recipients[0], "a@example.com");
}

TEST_F(OrvSendDialogueTest, passesOverRecipientsThatAreDeliveredOrGivenUp) {
    envelope("noc", {"!a@example.com", "b@example.com", "#c@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(server_.mailsTaken().at(0).recipients, ElementsAre("b@example.com"));
}

TEST_F(OrvSendDialogueTest, onlyGreetsWhenThereIsNothingToDo) {
    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\nQUIT\r\n");
}

TEST_F(OrvSendDialogueTest, presentsTheSwitchByHostNameThenIPv4ThenIPv6) {
    const std::string host = "EHLO localhost\r\nHELO localhost\r\n";
    const std::string ipv4 = "EHLO [10.1.2.3]\r\nHELO [10.1.2.3]\r\n";
    const std::string ipv6 = "EHLO [IPv6:2001:db8::3]\r\nHELO [IPv6:2001:db8::3]\r\n";
    const std::string noIpv6 = "EHLO [IPv6:]\r\nHELO [IPv6:]\r\n";
    struct {
        bool enabled;
        const char* host;
        const char* ipv4;
        const char* ipv6;
        std::string expected;
    } const rows[] = {
        {true, "localhost", "10.1.2.3", "2001:db8::3", host + ipv4 + ipv6},
        {false, "localhost", "10.1.2.3", "2001:db8::3", ipv4 + ipv4 + ipv6},
        {true, "", "10.1.2.3", "2001:db8::3", ipv4 + ipv4 + ipv6},
        {true, "localhost", "", "2001:db8::3", host + ipv6},
        {false, "", "", "2001:db8::3", ipv6},
        {false, "", "10.1.2.3", "", ipv4 + ipv4 + noIpv6},
        {false, "", "", "", noIpv6},
    };
    server_.answer(MailStage::kEhlo, line("500 no"));
    server_.answer(MailStage::kHelo, line("501 no"));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        identity_.DNSClientEnable = row.enabled;
        identity_.Hostname = row.host;
        identity_.IPv4Address = row.ipv4;
        identity_.IPv6Address = row.ipv6;
        EXPECT_EQ(run(), -1);
        const std::string all = server_.received(server_.connections() - 1);
        const auto canonical = [](std::string text) {  // the host's own canonical name stands for "localhost"
            for (std::size_t at = 0; (at = text.find("LO ", at)) != std::string::npos; at += 3) {
                const std::size_t end = text.find("\r\n", at);
                if (text[at + 3] != '[') {
                    text.replace(at + 3, end - at - 3, "localhost");
                }
            }
            return text;
        };
        EXPECT_EQ(canonical(all), row.expected) << "and no QUIT";
        EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error");
        EXPECT_EQ(failure_.response, "501 no");
    }
}

TEST_F(OrvSendDialogueTest, showsInTheMailTheIdentityThatWasAccepted) {
    server_.answerOnce(MailStage::kEhlo, line("500 no"));
    server_.answerOnce(MailStage::kHelo, line("501 no"));
    server_.answerOnce(MailStage::kEhlo, line("500 no"));
    server_.answerOnce(MailStage::kHelo, line("501 no"));
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(server_.mailsTaken().at(0).text, testing::HasSubstr("SwitchIP:       2001:db8::3\r\n"));
}

TEST_F(OrvSendDialogueTest, tracesItsIdentities) {
    server_.answer(MailStage::kEhlo, line("500 no"));
    server_.answer(MailStage::kHelo, line("501 no"));
    EXPECT_EQ(run(), -1);

    EXPECT_THAT(takeTraces(),
                testing::IsSupersetOf({"presentClient: Send SMTP client identity as IPv4 addr: 10.1.2.3",
                                       "presentClient: Failed to send SMTP client identity: SMTP server error Response",
                                       "presentClient: Send SMTP client identity as IPv6 addr: 2001:db8::3",
                                       "presentClient: No other connect retries possible!"}));
}

TEST_F(OrvSendDialogueTest, triesNoOtherIdentityOnceTheConnectionIsLost) {
    server_.answer(MailStage::kEhlo, ScriptedReply::hangUp());

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\n");
    EXPECT_EQ(failure_.reason, "Socket Closed Error");
    EXPECT_EQ(failure_.description, "Success");
}

TEST_F(OrvSendDialogueTest, failsWithTheReasonOfEachRefusedStep) {
    const std::string begin = "EHLO [10.1.2.3]\r\n";
    const std::string sender = "MAIL FROM:<switch@example.com>\r\n";
    const std::string recipient = "RCPT TO:<a@example.com>\r\n";
    struct {
        MailStage stage;
        std::string received;
    } const rows[] = {
        {MailStage::kGreeting, ""},
        {MailStage::kMail, begin + sender + "QUIT\r\n"},
        {MailStage::kData, begin + sender + recipient + "DATA\r\nQUIT\r\n"},
        {MailStage::kEndOfData, begin + sender + recipient + "DATA\r\n" + kMail + "\r\n.\r\nQUIT\r\n"},
    };
    for (const auto& row : rows) {
        message_ = portEvent();
        reporter_.lines.clear();
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});
        server_.answerOnce(row.stage, line("554 no way"));

        EXPECT_EQ(run(), -1);

        EXPECT_EQ(server_.received(server_.connections() - 1), row.received);
        EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error");
        EXPECT_EQ(failure_.description, "SMTP server error Response");
        EXPECT_EQ(failure_.response, "554 no way");
        EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
        EXPECT_FALSE(noc.Done);
        EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
    }
    EXPECT_TRUE(server_.waitUntil([&] { return server_.openConnections() == 0; }));
}

TEST_F(OrvSendDialogueTest, failsWithALostConnectionAtEachStep) {
    const MailStage stages[] = {MailStage::kGreeting, MailStage::kEhlo, MailStage::kMail,
                                MailStage::kRcpt,     MailStage::kData, MailStage::kEndOfData};
    for (const MailStage stage : stages) {
        message_ = portEvent();
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});
        server_.answerOnce(stage, ScriptedReply::hangUp());

        EXPECT_EQ(run(), -1);

        EXPECT_EQ(failure_.reason, "Socket Closed Error");
        EXPECT_EQ(failure_.description, "Success");
        EXPECT_EQ(failure_.response, "");
        EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
        EXPECT_FALSE(noc.Done);
    }
}

TEST_F(OrvSendDialogueTest, failsWhenNobodyListens) {
    server_.refuseConnections();

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(failure_.reason, "Connect Error");
    EXPECT_EQ(failure_.description, "Connection refused");
    EXPECT_EQ(failure_.response, "");
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
}

TEST_F(OrvSendDialogueTest, failsWhenTheConnectionBreaksAfterAnyByte) {
    const std::size_t lastByteOfText = kWholeDialogue.find("\r\n.\r\n") + 5;
    for (std::size_t bytes = 1; bytes <= kWholeDialogue.size(); bytes += bytes < 100 ? 1 : 13) {
        ScriptedMailServer server;
        server.hangUpAfterReceiving(bytes);
        message_ = portEvent();
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com", "b@example.com"});
        const TestIdentity identity(identity_);
        OrvSMTPClient client;
        OrvSendDialogue dialogue(client, identity.common(), reporter_,
                                 {SmtpAddrMode::kIPv4, server.address(), server.port()}, *message_);

        const bool taken = bytes > lastByteOfText;

        ASSERT_EQ(dialogue.run(), taken ? 0 : -1) << bytes;
        ASSERT_EQ(noc.Done, taken);
        ASSERT_EQ(noc.Recipients[0], taken ? "!a@example.com" : "a@example.com");
        ASSERT_FALSE(client.connected());
    }
}

TEST_F(OrvSendDialogueTest, reportsACriticalFailureOnlyForTheFirstOfARun) {
    server_.refuseConnections();
    reporter_.retryPending = true;

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(reporter_.lines, IsEmpty());
}

TEST_F(OrvSendDialogueTest, reportsARecoveryAfterFailures) {
    reporter_.retryPending = true;
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(reporter_.lines, ElementsAre(kRecoveryLine));
    EXPECT_THAT(takeTraces(), testing::Contains("run: Successful recovery of SMTP communications"));
}

TEST_F(OrvSendDialogueTest, keepsItsReasonWhateverQuitMeets) {
    server_.answer(MailStage::kMail, line("451 busy"));
    server_.answer(MailStage::kQuit, ScriptedReply::hangUp());
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error");
    EXPECT_EQ(failure_.response, "451 busy");
}

TEST_F(OrvSendDialogueTest, succeedsWhateverQuitMeets) {
    for (const ScriptedReply& reply : {ScriptedReply::hangUp(), line("554 no"), ScriptedReply().thenReset()}) {
        message_ = portEvent();
        server_.answer(MailStage::kQuit, reply);
        envelope("noc", {"a@example.com"});
        EXPECT_EQ(run(), 0);
        EXPECT_THAT(reporter_.lines, IsEmpty());
    }
}

TEST_F(OrvSendDialogueTest, failsForAMessageOfAnUnknownKindAfterDataIsAccepted) {
    message_ = std::make_unique<OrvCHMesg>();
    const std::string expected =
        "EHLO [10.1.2.3]\r\nMAIL FROM:<switch@example.com>\r\nRCPT TO:<a@example.com>\r\nDATA\r\nQUIT\r\n";
    server_.hangUpAfterReceiving(expected.size());  // QUIT is taken as text and would never be answered
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(server_.received(0), expected);
    EXPECT_EQ(failure_.reason, "Okay");
    EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
}

TEST_F(OrvSendDialogueTest, showsAnOlderRefusalWithALaterFailure) {
    server_.answerRecipient("a@example.com", line("550 unknown"));
    server_.answer(MailStage::kData, ScriptedReply::hangUp());
    envelope("noc", {"a@example.com", "b@example.com"});

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(failure_.reason, "Socket Closed Error");
    EXPECT_EQ(failure_.response, "550 unknown");
}

TEST_F(OrvSendDialogueTest, leavesTheMessageFreeWhileItWaitsForTheServer) {
    auto server = std::make_unique<ScriptedMailServer>();
    server->answer(MailStage::kRcpt, ScriptedReply::silence());
    envelope("noc", {"a@example.com"});
    const TestIdentity identity(identity_);
    OrvSMTPClient client;
    OrvSendDialogue dialogue(client, identity.common(), reporter_,
                             {SmtpAddrMode::kIPv4, server->address(), server->port()}, *message_);
    int result = 0;
    std::thread sender([&] { result = dialogue.run(); });
    ASSERT_TRUE(server->waitUntil([&] { return server->received(0).ends_with("RCPT TO:<a@example.com>\r\n"); }));

    {
        const Mt::Lock lock(message_->lock());
        message_->DuplicateCount = 1;
    }

    server.reset();
    sender.join();
    EXPECT_EQ(result, -1);
}
