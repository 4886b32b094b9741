// A dialogue in which memory runs out, at each place in turn.
#include "smtp/OrvMailComposer.h"
#include "smtp/OrvSendDialogue.h"
#include "testing/FailingCalls.h"
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/SendFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;

namespace {

constexpr char kA[] = "somebody.with.a.long.name@example.com";
constexpr char kB[] = "somebody.whose.box.is.full@example.com";
constexpr char kC[] = "somebody.who.is.tried.again@example.com";

// Counts the entries without asking for memory.
class CountingReporter final : public OrvSendReporter {
public:
    void makeRoomForEntries(std::size_t count) override {
        const std::vector<char> more(count);  // it takes memory
        room += count;
    }
    void logSend(const OrvLogKind& entry, const char* text) override {
        if (room > 0) {
            --room;
        } else {
            ++unprepared;
        }
        ++countOf(entry);
        characters += std::strlen(text);
    }
    bool isRetryPending() const override { return false; }
    const std::atomic<bool>& stopping() const override { return stopping_; }

    unsigned& countOf(const OrvLogKind& entry) { return counts_[entry.id & 0xFFu]; }

    std::size_t characters = 0;  // in all texts
    std::size_t room = 0;
    unsigned unprepared = 0;  // entries without room

private:
    unsigned counts_[256] = {};
    static inline const std::atomic<bool> stopping_{false};
};

class OrvSendDialogueMemory : public MailTest {
protected:
    OrvSendDialogueMemory() {
        identity_.DNSClientEnable = false;
        server_.answerRecipient(kB, ScriptedReply::line("452 this box is full, and will be for long"));
        server_.answerRecipient(kC, ScriptedReply::line("451 not now, and perhaps not tomorrow either"));
        server_.answer(MailStage::kEndOfData, ScriptedReply::line("250 2.0.0 Ok: queued as 4BXk2R1xYz"));
    }

    // Sends a mail; so many allocations succeed before one fails. The dialogue's result; failed tells whether one did.
    int run(OrvCHMesg& message, unsigned after, bool& failed) {
        const TestIdentity identity(identity_);
        OrvSMTPTimeouts timeouts;
        timeouts.quit = std::chrono::milliseconds(1);  // inside a text it is never answered
        OrvSMTPClient client(timeouts);
        OrvSendDialogue dialogue(client, identity.common(), reporter_, mailServerAt(server_), message);
        int result = 0;
        {
            const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
            result = dialogue.run();
            failed = noMemory.failed();
        }
        EXPECT_FALSE(client.connected());
        if (result < 0) {
            EXPECT_EQ(dialogue.failure().description, "std::bad_alloc");
        }
        failure_ = dialogue.takeFailure();
        return result;
    }

    // Sends a new mail for one recipient again and again; each time another allocation fails, until none is left to.
    // The check is given the message and the dialogue's result.
    void runWithEachFailure(const std::function<void(OrvCHMesg&, int)>& check) {
        unsigned failures = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            SCOPED_TRACE(after);
            const auto message = portEvent();
            addEnvelope(*message, "noc", {kA}, "ShortText");
            const int result = run(*message, after, failed);
            failures += result < 0 ? 1u : 0u;
            check(*message, result);
        }
        EXPECT_GE(failures, 10u);
    }

    OrvIdentity identity_ = fullIdentity();
    ScriptedMailServer server_;
    CountingReporter reporter_;
    OrvSendFailure failure_;
};

}  // namespace

TEST_F(OrvSendDialogueMemory, failsLikeARefusedOneOrReachesItsEndWhicheverAllocationFails) {
    unsigned failures = 0;
    std::size_t characters = 0;
    bool failed = true;
    for (unsigned after = 0; failed; ++after) {
        SCOPED_TRACE(after);
        const auto message = portEvent();
        const OrvCHEnvelope& noc = addEnvelope(*message, "noc", {kA, kB, std::string("$") + kC}, "ShortText");
        const std::size_t taken = server_.mailsTaken().size();
        reporter_ = {};

        const int result = run(*message, after, failed);

        if (result < 0) {
            ++failures;
            // A mark of this pass stays only when the next recipient could not be offered.
            EXPECT_THAT(noc.Recipients, AnyOf(ElementsAre(kA, kB, std::string("$") + kC),
                                              ElementsAre(kA, std::string("$") + kB, std::string("$") + kC)));
            EXPECT_EQ(reporter_.countOf(orv_log::kProtocolFailure), 1u);
            EXPECT_EQ(reporter_.unprepared, 0u);
            EXPECT_EQ(reporter_.countOf(orv_log::kRecipientRefused) + reporter_.countOf(orv_log::kRecipientRetry) +
                          reporter_.countOf(orv_log::kRecipientRetryFailed),
                      0u);
            EXPECT_EQ(server_.mailsTaken().size(), taken);
        } else {
            EXPECT_EQ(server_.mailsTaken().size(), taken + 1);
            EXPECT_THAT(noc.Recipients,
                        ElementsAre(std::string("!") + kA, std::string("$") + kB, std::string("#") + kC));
            EXPECT_EQ(reporter_.countOf(orv_log::kProtocolFailure), 0u);
            EXPECT_EQ(reporter_.countOf(orv_log::kRecipientRetry), 1u);
            EXPECT_EQ(reporter_.countOf(orv_log::kRecipientRetryFailed), 1u);
            EXPECT_EQ(reporter_.countOf(orv_log::kRecipientRefused), 2u);
            characters = characters == 0 ? reporter_.characters : characters;
            EXPECT_EQ(reporter_.characters, characters) << "every entry is whole";
            EXPECT_EQ(reporter_.unprepared, 0u);
        }
        EXPECT_FALSE(noc.Done);
    }
    EXPECT_GE(failures, 20u);
}

TEST_F(OrvSendDialogueMemory, neverSendsAgainWhatTheServerHasTaken) {
    std::size_t taken = 0;
    runWithEachFailure([&](OrvCHMesg& message, int result) {
        EXPECT_EQ(server_.mailsTaken().size(), taken + (result == 0 ? 1 : 0));
        bool failed = false;
        EXPECT_EQ(run(message, std::numeric_limits<int>::max(), failed), 0);
        EXPECT_FALSE(failed);
        ++taken;
        EXPECT_EQ(server_.mailsTaken().size(), taken);
        EXPECT_TRUE(message.Envelopes[0]->Done);
    });
}

TEST_F(OrvSendDialogueMemory, failsWithoutAReasonOrAReplyOfTheServer) {
    runWithEachFailure([this](OrvCHMesg& /*message*/, int result) {
        EXPECT_EQ(failure_.reason, result < 0 ? "Okay" : "");
        EXPECT_EQ(failure_.response, "");
    });
}

TEST_F(OrvSendDialogueMemory, tracesWhatEndedIt) {
    for (const unsigned after : {0u, 5u, 10u, 1000000u}) {
        SCOPED_TRACE(after);
        const auto message = portEvent();
        addEnvelope(*message, "noc", {kA}, "ShortText");
        takeTraces();
        bool failed = false;
        EXPECT_EQ(run(*message, after, failed), after <= 10 ? -1 : 0);
        EXPECT_EQ(failed, after <= 10);
        EXPECT_THAT(takeTraces(), Contains("traceException: std::bad_alloc").Times(after <= 10 ? 1 : 0));
    }
}

TEST_F(OrvSendDialogueMemory, composesTheWholeMailOrNoneWhicheverAllocationFails) {
    const auto message = portEvent();
    const OrvCHEnvelope& noc = addEnvelope(*message, "noc", {kA}, "ShortText");
    const TestIdentity identity(identity_);
    const OrvMailComposer composer(identity.common());
    const std::string clientIdentity = "10.1.2.3";
    unsigned thrown = 0;
    unsigned whole = 0;
    bool failed = true;
    for (unsigned after = 0; failed; ++after) {
        SCOPED_TRACE(after);
        std::string text;
        {
            const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
            try {
                EXPECT_EQ(composer.compose(*message, noc, clientIdentity, text), 0);
                ++whole;
            } catch (const std::bad_alloc&) {
                ++thrown;
            }
            failed = noMemory.failed();
        }
        EXPECT_THAT(text, AnyOf("", shortMail()));
    }
    EXPECT_GE(thrown, 2u);
    EXPECT_GE(whole, 2u) << "the room for all of it can be done without";
}
