// What composing holds on to, and what it lets go.
#include "smtp/OrvMailComposer.h"

#include "testing/FailingCalls.h"
#include "testing/smtp/MailFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace {

class OrvMailComposerTest : public MailTest {
protected:
    static std::string compose(const OrvCHMesgCommon& identity, const OrvCHMesg& message,
                               const OrvCHEnvelope& envelope) {
        std::string text;
        EXPECT_EQ(OrvMailComposer(identity).compose(message, envelope, "10.1.2.3", text), 0);
        return text;
    }

    // Mails that are neither the first text nor the second, while another thread composes and this one changes what
    // they are made from.
    static unsigned mixedWhileChanging(const OrvCHMesgCommon& identity, const OrvCHMesg& message,
                                       const OrvCHEnvelope& envelope, const std::function<void(bool)>& change) {
        change(true);
        const std::string first = compose(identity, message, envelope);
        change(false);
        const std::string second = compose(identity, message, envelope);
        EXPECT_NE(first, second);
        std::atomic<bool> stop = false;
        std::atomic<unsigned> composed = 0;
        std::atomic<unsigned> mixed = 0;
        std::thread sender([&] {
            while (!stop) {
                const std::string text = compose(identity, message, envelope);
                mixed += text == first || text == second ? 0 : 1;
                ++composed;
            }
        });
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (unsigned changes = 0; changes < 200 || composed < 20; ++changes) {
            change(changes % 2 == 0);
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "only " << composed << " mails were composed";
                break;
            }
        }
        stop = true;
        sender.join();
        return mixed;
    }
};

}  // namespace

TEST_F(OrvMailComposerTest, failsForAMessageOfAnUnknownKindAndLeavesTheTextAlone) {
    OrvCHMesg message;
    const OrvCHEnvelope& envelope = addEnvelope(message, "noc", {"a@example.com"});
    const TestIdentity identity(fullIdentity());
    std::string text = "before";

    EXPECT_EQ(OrvMailComposer(identity.common()).compose(message, envelope, "10.1.2.3", text), -1);

    EXPECT_EQ(text, "before");
}

TEST_F(OrvMailComposerTest, datesEachMailAnew) {
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"});
    const TestIdentity identity(fullIdentity());
    const OrvMailComposer composer(identity.common());
    std::string text;
    ASSERT_EQ(composer.compose(*message, envelope, "10.1.2.3", text), 0);
    EXPECT_EQ(text.substr(0, 41), "Date: Tue, 14  Nov  2023  22:13:20  +0000");

    clock_.advance(86400000);

    ASSERT_EQ(composer.compose(*message, envelope, "10.1.2.3", text), 0);
    EXPECT_EQ(text.substr(0, 41), "Date: Wed, 15  Nov  2023  22:13:20  +0000");
}

// Setting either while it is still held would stop the process.
TEST_F(OrvMailComposerTest, letsMessageAndIdentityGo) {
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"});
    TestIdentity identity(fullIdentity());

    compose(identity.common(), *message, envelope);

    { const Mt::Lock lock(message->lock()); }
    identity.set(OrvIdentity());
    EXPECT_EQ(identity.common().current().From, "");
}

TEST_F(OrvMailComposerTest, readsAttachmentsWithoutHoldingIdentityOrMessage) {
    const auto message = captureOf({"first.gz", "second.gz"});
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"});
    for (const char* name : {"first.gz.17", "second.gz.17"}) {
        root_.write(std::string("/ostrel/conf/orv/callHome/attachments/") + name, "H4sI");
    }
    TestIdentity identity(fullIdentity());
    const std::string expected = compose(identity.common(), *message, envelope);
    unsigned attachments = 0;
    const OnCall opening("openUnlinked", ".gz.17", [&](const CallFaults::Made&) {
        { const Mt::Lock lock(message->lock()); }
        identity.set(OrvIdentity());
        ++attachments;
        return 0;
    });

    const std::string text = compose(identity.common(), *message, envelope);

    EXPECT_EQ(attachments, 2u);
    EXPECT_EQ(text, expected) << "composed from the identity as it was before";
}

// Both change as a whole while another thread composes.
TEST_F(OrvMailComposerTest, composesFromOneIdentityOnly) {
    OrvIdentity other = fullIdentity();
    for (std::string* text : {&other.From, &other.ReplyTo, &other.ContactName, &other.ContactEmail, &other.PhoneNumber,
                              &other.StreetAddress, &other.Location, &other.SymName, &other.WWN, &other.SerialNum}) {
        *text += " of another switch, with a longer text";
    }
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"}, "FullText");
    TestIdentity identity(fullIdentity());

    const auto change = [&](bool one) { identity.set(one ? fullIdentity() : other); };
    EXPECT_EQ(mixedWhileChanging(identity.common(), *message, envelope, change), 0u);
}

TEST_F(OrvMailComposerTest, composesFromOneDuplicateTimeOnly) {
    const auto message = portEvent();
    const OrvCHEnvelope& envelope = addEnvelope(*message, "noc", {"a@example.com"}, "FullText");
    const TestIdentity identity(fullIdentity());
    const auto setDuplicate = [&](std::int32_t count, const char* time) {
        const Mt::Lock lock(message->lock());
        message->DuplicateCount = count;
        message->DuplicateTime = time;
    };
    const auto change = [&](bool later) {
        later ? setDuplicate(1002, "Wed Nov 15 01:02:03.456 UTC 2023, an hour and more after the first")
              : setDuplicate(1001, "then");
    };

    EXPECT_EQ(mixedWhileChanging(identity.common(), *message, envelope, change), 0u);
}
