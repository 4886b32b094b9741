// How long a server that has fallen silent holds up a dialogue, and what it is still told. No limit is waited for.
#include "smtp/OrvSendDialogue.h"

#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <chrono>

using std::chrono::milliseconds;
using Seconds = std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

struct Row {
    const char* stage;     // how the line begins that finds nobody; empty: the greeting
    Seconds held;          // what the dialogue waits for in all
    int result;            // of a dialogue for two profiles
    const char* reason;    // why it failed
    bool refuses = false;  // no recipient is accepted
};

class OrvSendDialogueMute : public DialogueTest {
protected:
    // A mail for two profiles to a server that behaves well up to that line.
    void deliver(const Row& row) {
        SCOPED_TRACE(row.stage);
        message_ = portEvent();
        envelope("noc", {"a@example.com"});
        envelope("vendor", {"v@example.com"});
        server_.answer(MailStage::kEhlo, line(std::string_view(row.stage) == "HELO" ? "500 what" : "250 ok"));
        server_.answer(MailStage::kRcpt, line(row.refuses ? "550 nobody" : "250 ok"));
        system_.held = milliseconds(0);
        system_.lines.clear();
        failure_ = {};

        EXPECT_EQ(run(), row.result);

        EXPECT_EQ(system_.held, row.held);
        EXPECT_EQ(failure_.reason, row.reason);
        EXPECT_EQ(failure_.description, row.result < 0 ? "Connection timed out" : "");
        if (*row.stage == '\0') {
            EXPECT_THAT(system_.lines, IsEmpty());
        } else {
            EXPECT_THAT(system_.lines.back(), StartsWith(row.stage)) << "nothing more is said";
        }
    }
};

}  // namespace

TEST_F(OrvSendDialogueMute, isWaitedForOnceAndThenToldNothingMore) {
    constexpr char kClosed[] = "Socket Closed Error";
    const Row rows[] = {
        {"", Seconds(300), -1, kClosed},     {"EHLO", Seconds(300), -1, kClosed},
        {"HELO", Seconds(300), -1, kClosed}, {"MAIL", Seconds(300), -1, kClosed},
        {"RCPT", Seconds(300), -1, kClosed}, {"DATA", Seconds(120), -1, kClosed},
        {".", Seconds(600), -1, kClosed},    {"RSET", Seconds(300), -1, kClosed, true},
        {"QUIT", Seconds(5), 0, ""},         {"QUIT", Seconds(5), 0, "", true},
    };
    for (const Row& row : rows) {
        system_.muteSince = row.stage;
        deliver(row);
    }
}

TEST_F(OrvSendDialogueMute, isWaitedForOnceWhenItTakesNothingMore) {
    const Row rows[] = {
        {"EHLO", Seconds(300), -1, "SMTP HELO Error"},
        {"HELO", Seconds(300), -1, "SMTP HELO Error"},
        {"MAIL", Seconds(300), -1, "SMTP MAIL FROM Error"},
        {"RCPT", Seconds(300), -1, "SMTP RCPT TO Error"},
        {"DATA", Seconds(120), -1, "SMTP DATA Error"},
        {"Date", Seconds(180), -1, "SMTP DATA Error"},
        {".", Seconds(600), -1, "SMTP DATA END Error"},
        {"RSET", Seconds(300), -1, "Socket Closed Error", true},
        {"QUIT", Seconds(5), 0, ""},
    };
    for (const Row& row : rows) {
        system_.stuckSince = row.stage;
        deliver(row);
    }
}

TEST_F(OrvSendDialogueMute, toResetLeavesTheMailAsFarAsItCame) {
    server_.answer(MailStage::kRcpt, line("550 nobody"));
    system_.muteSince = "RSET";
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(system_.held, Seconds(300));
    EXPECT_EQ(system_.lines.back(), "RSET");
    EXPECT_THAT(noc.Recipients, ElementsAre("#a@example.com"));
    EXPECT_TRUE(noc.Done);
}

// A server that waits for the end of a text takes QUIT for a line of it.
TEST_F(OrvSendDialogueMute, toAQuitInsideATextHoldsUpNobodyForLong) {
    message_ = std::make_unique<OrvCHMesg>();
    system_.muteSince = "QUIT";
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(system_.held, Seconds(5));
    EXPECT_THAT(system_.lines, ElementsAre(StartsWith("EHLO"), StartsWith("MAIL"), StartsWith("RCPT"), "DATA", "QUIT"));
    EXPECT_THAT(noc.Recipients, ElementsAre("a@example.com"));
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
}

// What it has taken is soon to be put down.
TEST_F(OrvSendDialogueMute, toQuitHoldsUpADaemonThatEndsForTheFifthOfASecond) {
    system_.muteSince = "QUIT";
    reporter_.stop = true;
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(system_.held, milliseconds(200));
    EXPECT_TRUE(noc.Done);

    message_ = std::make_unique<OrvCHMesg>();
    system_.muteSince = "QUIT";
    system_.held = {};
    envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), -1) << "inside a text";

    EXPECT_EQ(system_.held, milliseconds(200));
}

// The limit itself may be as long as the whole stop.
TEST_F(OrvSendDialogueMute, toQuitHoldsUpADaemonThatIsToldToEndMeanwhileForHalfItsPatience) {
    system_.muteSince = "QUIT";
    system_.onSend = [this](std::string_view text) { reporter_.stop = text.starts_with("QUIT"); };
    const OrvCHEnvelope& noc = envelope("noc", {"a@example.com"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(system_.held, milliseconds(2500));
    EXPECT_TRUE(noc.Done);
}

// The next dialogue is a new connection's.
TEST_F(OrvSendDialogueMute, isGreetedAgainTheNextTime) {
    system_.muteSince = "MAIL";
    envelope("noc", {"a@example.com"});
    const TestIdentity identity(identity_);
    OrvSMTPClient client({}, system_);
    const auto deliver = [&] {
        return OrvSendDialogue(client, identity.common(), reporter_, mailServerAt(server_), *message_).run();
    };
    EXPECT_EQ(deliver(), -1);

    system_.muteSince.reset();

    EXPECT_EQ(deliver(), 0);
    EXPECT_EQ(server_.mailsTaken().size(), 1u);
}
