// What the send thread tells the main thread of each message that it is given.
#include "smtp/OrvSendWorker.h"

#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/SendFixture.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

using testing::ElementsAre;
using testing::SizeIs;

namespace {

OrvIdentity identityByAddress() {
    OrvIdentity identity = fullIdentity();
    identity.DNSClientEnable = false;
    return identity;
}

class OrvSendWorkerTest : public MailTest, protected OrvMainThreadDoor {
protected:
    OrvSendWorkerTest() { use(server_); }

    void use(const ScriptedMailServer& server) {
        const Mt::Lock lock(state_.lock);
        state_.servers.primary = mailServerAt(server);
    }

    // Sends a message; what the main thread is told of it, entries as "level number text".
    std::vector<std::string> send() {
        told_.clear();
        const OrvCHClientSend mesg(message_.get());
        EXPECT_EQ(worker_.handleSendMesg(mesg), 0);
        return told_;
    }

    void tellMain(std::unique_ptr<OrvToMainMesg> mesg) override {
        if (const auto* outcome = dynamic_cast<const OrvCHClientOutcome*>(mesg.get()); outcome != nullptr) {
            EXPECT_EQ(outcome->message(), message_.get());
        }
        if (const auto* fail = dynamic_cast<const OrvCHClientFail*>(mesg.get()); fail != nullptr) {
            const OrvSendFailure& failure = fail->failure();
            told_.push_back("failed: " + failure.reason + ", " + failure.description + ", " + failure.response);
        } else if (const auto* log = dynamic_cast<const OrvThreadSwLogApp*>(mesg.get()); log != nullptr) {
            const OrvThreadSwLogApp::Entry& entry = log->entry();
            EXPECT_EQ(entry.flags, kOrvOwnEntryFlags);
            told_.push_back(entryLine({static_cast<int>(entry.level), entry.id, ""}, entry.text.c_str()));
        } else {
            EXPECT_EQ(mesg->code(), OrvCHClientSucceed::kCode);
            told_.push_back("succeeded");
        }
    }
    void logToMain(const OrvLogKind& entry, const char* text) override {
        ADD_FAILURE() << "no entry was in hand for: " << entryLine(entry, text);
    }

    ScriptedMailServer server_;
    OrvSendState state_;
    const TestIdentity identity_{identityByAddress()};
    const std::unique_ptr<OrvCHMesg> message_ = portEvent();
    OrvCHEnvelope& envelope_ = addEnvelope(*message_, "noc", {"a@x"}, "ShortText");
    std::vector<std::string> told_;
    OrvSendWorker worker_{identity_.common(), state_, *this, {}, OrvSMTPSystem::real(), orvRequiredDialogue()};
};

}  // namespace

TEST_F(OrvSendWorkerTest, tellsOfASuccess) {
    EXPECT_THAT(send(), ElementsAre("succeeded"));

    EXPECT_THAT(server_.mailsTaken(), SizeIs(1));
    EXPECT_TRUE(envelope_.Done);
}

TEST_F(OrvSendWorkerTest, tellsTheEntriesOfADialogueBeforeItsOutcome) {
    server_.answer(MailStage::kRcpt, ScriptedReply::line("550 nobody"));
    const LogTexts log{server_};

    EXPECT_THAT(send(), ElementsAre(log.noRecipient("noc"), log.noRetry("noc", "a@x"),
                                    log.refusal("noc", "a@x", "550 nobody"), "succeeded"));
}

TEST_F(OrvSendWorkerTest, tellsOfAFailureAndItsReasonAndThatItIsCriticalOnlyTheFirstTime) {
    server_.answer(MailStage::kMail, ScriptedReply::line("451 busy"));
    const std::string failed = "failed: SMTP RESPONSE Error, SMTP server error Response, 451 busy";

    EXPECT_THAT(send(), ElementsAre(kCriticalLine, failed));

    state_.retryPending = true;
    EXPECT_THAT(send(), ElementsAre(failed));

    server_.answer(MailStage::kMail, ScriptedReply::line("250 ok"));
    EXPECT_THAT(send(), ElementsAre(kRecoveryLine, "succeeded"));
}

TEST_F(OrvSendWorkerTest, takesTheActiveServerForEachMessageAndSaysWhichItWas) {
    ScriptedMailServer other;
    send();
    use(other);
    {
        const Mt::Lock lock(state_.lock);
        EXPECT_EQ(state_.current.Port, server_.port()) << "until the next one";
    }
    envelope_.Done = false;
    envelope_.Recipients = {"b@x"};

    EXPECT_THAT(send(), ElementsAre("succeeded"));

    EXPECT_THAT(other.mailsTaken(), SizeIs(1));
    const Mt::Lock lock(state_.lock);
    EXPECT_EQ(state_.current.Port, other.port());
}
