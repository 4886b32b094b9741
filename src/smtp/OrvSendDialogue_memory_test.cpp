// A dialogue in which memory runs out, at each place in turn.
#include "profile/FailingMemory.h"
#include "smtp/MailFixture.h"
#include "smtp/OrvSendDialogue.h"
#include "testing/ScriptedMailServer.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string_view>

using testing::AnyOf;
using testing::ElementsAre;

namespace {

constexpr char kA[] = "somebody.with.a.long.name@example.com";
constexpr char kB[] = "somebody.whose.box.is.full@example.com";
constexpr char kC[] = "somebody.who.is.tried.again@example.com";

// Counts the entries without asking for memory.
class CountingReporter final : public OrvSendReporter {
public:
    void logSend(int /*level*/, std::uint32_t id, const char* /*text*/) override { ++counts[id & 0xFFu]; }
    bool isRetryPending() const override { return false; }

    unsigned counts[256] = {};
};

// A QUIT that the server would take as text, and never answer, does not get out.
class NoQuit final : public OrvSMTPSystem {
public:
    ssize_t send(int socket, const void* bytes, std::size_t length) override {
        if (std::string_view(static_cast<const char*>(bytes), length) == "QUIT\r\n") {
            errno = EPIPE;
            return -1;
        }
        return OrvSMTPSystem::send(socket, bytes, length);
    }
};

class OrvSendDialogueMemory : public MailTest {
protected:
    OrvSendDialogueMemory() {
        identity_.DNSClientEnable = false;
        server_.answerRecipient(kB, ScriptedReply::line("452 this box is full, and will be for long"));
        server_.answerRecipient(kC, ScriptedReply::line("451 not now, and perhaps not tomorrow either"));
    }

    // Sends a mail; so many allocations succeed before one fails. The dialogue's result; failed tells whether one did.
    int run(OrvCHMesg& message, int after, bool& failed) {
        const TestIdentity identity(identity_);
        NoQuit system;
        OrvSMTPClient client({}, system);
        OrvSendDialogue dialogue(client, identity.common(), reporter_,
                                 {SmtpAddrMode::kIPv4, server_.address(), server_.port()}, message);
        int result = 0;
        {
            const FailingMemory noMemory(FailingMemory::kThrowing, after, 1);
            result = dialogue.run();
            failed = noMemory.failed();
        }
        EXPECT_FALSE(client.connected());
        if (result < 0) {
            EXPECT_EQ(dialogue.failure().description, "std::bad_alloc");
        }
        return result;
    }

    OrvIdentity identity_ = fullIdentity();
    ScriptedMailServer server_;
    CountingReporter reporter_;
};

}  // namespace

TEST_F(OrvSendDialogueMemory, failsLikeARefusedOneOrReachesItsEndWhicheverAllocationFails) {
    unsigned failures = 0;
    unsigned silent = 0;
    bool failed = true;
    for (int after = 0; failed; ++after) {
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
            EXPECT_EQ(reporter_.counts[0x12], 1u);
        } else {
            silent += failed ? 1 : 0;
            EXPECT_EQ(server_.mailsTaken().size(), taken + 1);
            EXPECT_THAT(noc.Recipients,
                        ElementsAre(std::string("!") + kA, std::string("$") + kB, std::string("#") + kC));
            EXPECT_EQ(reporter_.counts[0x12], 0u);
        }
        EXPECT_FALSE(noc.Done);
    }
    EXPECT_GE(failures, 20u);
    EXPECT_GE(silent, 2u) << "an entry that could not be written does not undo what the server has taken";
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
    for (int after = 0; failed; ++after) {
        SCOPED_TRACE(after);
        std::string text;
        {
            const FailingMemory noMemory(FailingMemory::kThrowing, after, 1);
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
    EXPECT_GE(thrown, 3u);
    EXPECT_GE(whole, 2u) << "the room for all of it can be done without";
}
