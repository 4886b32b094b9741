// What a dialogue says on the wire, and how it fails.
#include "smtp/OrvSendDialogue.h"

#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kWholeDialogue = std::string(
                                       "EHLO [10.1.2.3]\r\n"
                                       "MAIL FROM:<switch@example.com>\r\n"
                                       "RCPT TO:<a@example.com>\r\n"
                                       "RCPT TO:<b@example.com>\r\n"
                                       "DATA\r\n") +
                                   shortMail() +
                                   "\r\n"
                                   ".\r\n"
                                   "QUIT\r\n";

using OrvSendDialogueTest = DialogueTest;

// Whether a line of the short mail ends there. The empty lines behind the headers are one.
bool lineEndsAt(std::size_t length) {
    const std::string mail = shortMail();
    const std::size_t body = mail.find("\r\n\r\n") + 6;
    return mail.substr(0, length).ends_with("\r\n") && length != body - 2;
}

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

// Each is a call of the system; with the one that has it send without delay they are two for a mail, three for a large
// one.
TEST_F(OrvSendDialogueTest, setsALimitOfItsSocketOnceForAllReplies) {
    envelope("noc", {"a@example.com", "b@example.com"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(system_.limitsSet, 1u) << "to be greeted and answered";

    message_->Envelopes.clear();
    message_->Text = std::string(20000, 'x');
    system_.limitsSet = 0;
    envelope("noc", {"a@example.com"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(system_.limitsSet, 2u) << "and to have the text taken";
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
        {MailStage::kEndOfData, begin + sender + recipient + "DATA\r\n" + shortMail() + "\r\n.\r\nQUIT\r\n"},
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
    for (std::size_t bytes = 1; bytes <= kWholeDialogue.size(); ++bytes) {
        server_.hangUpAfterReceiving(bytes);
        message_ = portEvent();
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com", "b@example.com"});
        const bool taken = bytes > lastByteOfText;

        ASSERT_EQ(run(), taken ? 0 : -1) << bytes;
        ASSERT_EQ(noc.Done, taken);
        ASSERT_EQ(noc.Recipients[0], taken ? "!a@example.com" : "a@example.com");
    }
}

// What arrives is the composed text, cut at whatever limit, and the one line end behind it.
TEST_F(OrvSendDialogueTest, deliversAMailThatIsCutAtItsLimit) {
    const std::string whole = shortMail();
    for (std::uint32_t limit = 0; limit <= whole.size() + 1; limit += limit < whole.size() - 20 ? 11u : 1u) {
        message_ = portEvent();
        addEnvelope(*message_, "noc", {"a@example.com"}, "ShortText", limit);
        std::size_t kept = limit == 0 ? 0 : std::min<std::size_t>(limit - 1, whole.size());
        while (kept > 0 && !lineEndsAt(kept)) {
            --kept;
        }
        const std::string cut = kept == whole.size() ? whole : whole.substr(0, kept) + std::string(limit - kept, ' ');

        ASSERT_EQ(run(), 0);

        const std::string received = server_.received(server_.connections() - 1);
        const std::size_t begin = received.find("DATA\r\n") + 6;
        ASSERT_EQ(received.substr(begin), cut + "\r\n.\r\nQUIT\r\n") << "limit " << limit;
        ASSERT_EQ(message_->Envelopes[0]->Recipients[0], "!a@example.com");
    }
}

TEST_F(OrvSendDialogueTest, reportsACriticalFailureOnlyForTheFirstOfARun) {
    server_.refuseConnections();
    reporter_.retryPending = true;

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(reporter_.lines, IsEmpty());
}

TEST_F(OrvSendDialogueTest, tracesACriticalFailureOnce) {
    const std::string line = "reportCriticalFailure: Critical protocol failure with SMTP server";
    server_.refuseConnections();

    EXPECT_EQ(run(), -1);
    EXPECT_THAT(takeTraces(), testing::Contains(line).Times(1));

    reporter_.retryPending = true;
    EXPECT_EQ(run(), -1);
    EXPECT_THAT(takeTraces(), testing::Not(testing::Contains(line)));
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

TEST_F(OrvSendDialogueTest, saysQuitAfterAnExceptionWhileItIsConnected) {
    const std::pair<std::string, std::string> rows[] = {
        {"EHLO [10.1.2.3]\r\n", ""},  // not before it has presented itself
        {"MAIL FROM:<switch@example.com>\r\n", "EHLO [10.1.2.3]\r\nQUIT\r\n"},
        {"RCPT TO:<a@example.com>\r\n", "EHLO [10.1.2.3]\r\nMAIL FROM:<switch@example.com>\r\nQUIT\r\n"},
    };
    for (const auto& [command, received] : rows) {
        message_ = portEvent();
        reporter_.lines.clear();
        system_.onSend = [&fatal = command](std::string_view bytes) {
            if (bytes == fatal) {
                throw std::runtime_error("out of order");
            }
        };
        const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

        EXPECT_EQ(run(), -1);

        EXPECT_EQ(server_.received(server_.connections() - 1), received);
        EXPECT_EQ(failure_.reason, "Okay");
        EXPECT_EQ(failure_.description, "out of order");
        EXPECT_EQ(failure_.response, "");
        EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
        EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
    }
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
    timeouts_.quit = std::chrono::milliseconds(50);  // QUIT is taken as text and never answered
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
    OrvSendDialogue dialogue(client, identity.common(), reporter_, mailServerAt(*server), *message_);
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
