// Whom a dialogue presents the switch as, and in whose name it sends.
#include "smtp/OrvSendDialogue.h"
#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

class OrvSendDialogueIdentity : public DialogueTest {
protected:
    // What the tries trace.
    std::vector<std::string> triesTraced() {
        std::vector<std::string> lines = takeTraces();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("presentClient: "); });
        return lines;
    }

    void refuseEveryIdentity() {
        server_.answer(MailStage::kEhlo, line("500 no"));
        server_.answer(MailStage::kHelo, line("501 no"));
    }
};

}  // namespace

TEST_F(OrvSendDialogueIdentity, presentsTheSwitchByHostNameThenIPv4ThenIPv6) {
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
    refuseEveryIdentity();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        identity_.DNSClientEnable = row.enabled;
        identity_.Hostname = row.host;
        identity_.IPv4Address = row.ipv4;
        identity_.IPv6Address = row.ipv6;
        EXPECT_EQ(run(), -1);
        EXPECT_EQ(server_.received(server_.connections() - 1), row.expected) << "and no QUIT";
        EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error");
        EXPECT_EQ(failure_.response, "501 no");
    }
}

TEST_F(OrvSendDialogueIdentity, showsInTheMailTheIdentityThatWasAccepted) {
    server_.answerOnce(MailStage::kEhlo, line("500 no"));
    server_.answerOnce(MailStage::kHelo, line("501 no"));
    server_.answerOnce(MailStage::kEhlo, line("500 no"));
    server_.answerOnce(MailStage::kHelo, line("501 no"));
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(server_.mailsTaken().at(0).text, testing::HasSubstr("SwitchIP:       2001:db8::3\r\n"));
}

TEST_F(OrvSendDialogueIdentity, tracesItsHostNameFirstAndEachTryInOrder) {
    identity_.DNSClientEnable = true;
    refuseEveryIdentity();

    EXPECT_EQ(run(), -1);

    const std::string failed = "presentClient: Failed to send SMTP client identity: SMTP server error Response";
    EXPECT_THAT(triesTraced(), ElementsAre("presentClient: Send SMTP client identity as hostname: sw01.example.com",
                                           failed, "presentClient: Send SMTP client identity as IPv4 addr: 10.1.2.3",
                                           failed, "presentClient: Send SMTP client identity as IPv6 addr: 2001:db8::3",
                                           failed, "presentClient: No other connect retries possible!"));
}

TEST_F(OrvSendDialogueIdentity, tracesNothingButTheTryThatIsAccepted) {
    EXPECT_EQ(run(), 0);

    EXPECT_THAT(triesTraced(), ElementsAre("presentClient: Send SMTP client identity as IPv4 addr: 10.1.2.3"));
}

TEST_F(OrvSendDialogueIdentity, presentsTheIPv4AddressWhenItsHostNameCannotBeResolved) {
    identity_.DNSClientEnable = true;
    system_.resolveError = EAI_NONAME;
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.connections(), 1u);
    EXPECT_THAT(server_.received(0), testing::StartsWith("EHLO [10.1.2.3]\r\nMAIL FROM:"));
    EXPECT_THAT(server_.mailsTaken().at(0).text, testing::HasSubstr("SwitchIP:       10.1.2.3\r\n"));
    EXPECT_THAT(triesTraced(), ElementsAre("presentClient: Send SMTP client identity as hostname: sw01.example.com",
                                           std::string("presentClient: Failed to send SMTP client identity: ") +
                                               gai_strerror(EAI_NONAME),
                                           "presentClient: Send SMTP client identity as IPv4 addr: 10.1.2.3"));
}

TEST_F(OrvSendDialogueIdentity, showsTheHostNameAsItIsConfiguredAndPresentsItsCanonicalForm) {
    identity_.DNSClientEnable = true;
    system_.canonical = "sw01.lab.example.com";
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(server_.received(0), testing::StartsWith("EHLO sw01.lab.example.com\r\n"));
    EXPECT_THAT(server_.mailsTaken().at(0).text, testing::HasSubstr("SwitchIP:       sw01.example.com\r\n"));
}

TEST_F(OrvSendDialogueIdentity, triesNoOtherIdentityOnceTheConnectionIsLost) {
    server_.answer(MailStage::kEhlo, ScriptedReply::hangUp());

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\n");
    EXPECT_EQ(failure_.reason, "Socket Closed Error");
    EXPECT_EQ(failure_.description, "Success");
}

TEST_F(OrvSendDialogueIdentity, tracesWhatEndedATryAlsoWhenThatWasNoErrorOfTheSystem) {
    const std::pair<ScriptedReply, const char*> rows[] = {{ScriptedReply::hangUp(), "Socket Closed Error"},
                                                          {ScriptedReply().thenReset(), "Connection reset by peer"}};
    for (const auto& [reply, error] : rows) {
        server_.answer(MailStage::kEhlo, reply);
        takeTraces();

        EXPECT_EQ(run(), -1);

        EXPECT_THAT(triesTraced(),
                    ElementsAre("presentClient: Send SMTP client identity as IPv4 addr: 10.1.2.3",
                                std::string("presentClient: Failed to send SMTP client identity: ") + error,
                                "presentClient: No other connect retries possible!"));
    }
}

TEST_F(OrvSendDialogueIdentity, isReadAnewForEachTry) {
    server_.answerOnce(MailStage::kEhlo, line("500 no"));
    server_.answerOnce(MailStage::kHelo, line("501 no"));
    system_.onSend = [this](std::string_view bytes) {
        if (bytes.starts_with("HELO ")) {
            identity_.IPv4Address = "10.9.9.9";
            inUse_->set(identity_);
        }
    };

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\nHELO [10.1.2.3]\r\nEHLO [10.9.9.9]\r\nQUIT\r\n");
}

// The identity is free during each send: else setting it here would stop the process.
TEST_F(OrvSendDialogueIdentity, asksForTheSenderBeforeEachEnvelope) {
    envelope("noc", {"a@example.com"});
    envelope("vendor", {"v@example.com"});
    std::size_t sends = 0;
    system_.onSend = [&](std::string_view bytes) {
        ++sends;
        if (bytes == ".\r\n") {
            identity_.From = "sender-" + std::to_string(sends) + "@example.com";
        }
        inUse_->set(identity_);
    };

    EXPECT_EQ(run(), 0);

    ASSERT_EQ(server_.mailsTaken().size(), 2u);
    EXPECT_EQ(server_.mailsTaken()[0].sender, "switch@example.com");
    EXPECT_EQ(server_.mailsTaken()[1].sender, "sender-6@example.com");
    EXPECT_THAT(server_.mailsTaken()[1].text, testing::HasSubstr("From: sender-6@example.com\r\n"));
}
