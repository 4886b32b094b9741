// What becomes of each recipient of a dialogue, and the order in which it is reported.
#include "smtp/OrvSendDialogue.h"
#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

using OrvSendDialogueRecipients = DialogueTest;

namespace {

using Texts = std::vector<std::string>;

// The pieces between the bars; none of an empty text.
Texts split(std::string_view text) {
    Texts pieces;
    while (!text.empty()) {
        pieces.emplace_back(text.substr(0, text.find('|')));
        text.remove_prefix(std::min(text.size(), pieces.back().size() + 1));
    }
    return pieces;
}

// What becomes of the recipients of one envelope; lists with bars between.
struct Fate {
    const char* name;
    const char* before;
    const char* refusals;  // recipient and reply; for the reply "-" the server hangs up
    const char* after;
    bool done;
    const char* mailed;  // to whom
    // Recipient and reply: '$' is tried again, '%' has failed again, '#' is given up; '!': nobody is left.
    const char* told;
    const char* reason = "";  // why the dialogue failed
    MailStage stage = MailStage::kOther;
    const char* answer = "";  // at that stage
};

const Fate kFates[] = {
    {"isASecondTryAfterATemporaryRefusal", "a@x|b@x", "b@x 452 full", "!a@x|$b@x", false, "a@x", "$b@x 452 full"},
    {"isDeliveryInTheSecondPass", "!a@x|$b@x", "", "!a@x|!b@x", true, "b@x", ""},
    {"isToBeGivenUpAfterASecondRefusal", "a@x|$b@x", "b@x 452 full", "!a@x|#b@x", true, "a@x", "%b@x 452 full"},
    {"isToBeGivenUpAfterASecondOneForGood", "a@x|$b@x", "b@x 550 gone", "!a@x|#b@x", true, "a@x", "%b@x 550 gone"},
    {"isToBeGivenUpAfterOneForGood", "a@x|b@x", "a@x 550 none", "#a@x|!b@x", true, "b@x", "#a@x 550 none"},
    {"isJudgedByTheFirstCharacterOfTheRefusal", "a@x|b@x|c@x|d@x|e@x|f@x|g@x",
     "a@x 4|b@x 421 x|c@x 40|d@x 5|e@x 1 x|f@x -4", "$a@x|$b@x|$c@x|#d@x|#e@x|#f@x|!g@x", false, "g@x",
     "$a@x 4|$b@x 421 x|$c@x 40|#d@x 5|#e@x 1 x|#f@x -4"},
    {"isToBeGivenUpAfterAReplyOfNothing", "a@x|b@x", "a@x ", "#a@x|!b@x", true, "b@x", "#a@x "},
    {"isToBeGivenUpByAllThenTheEnvelopeIsDone", "a@x", "a@x 550 none", "#a@x", true, "", "!|#a@x 550 none"},
    {"isSettledWhateverResetMeets", "a@x", "a@x 452 full", "$a@x", false, "", "!|$a@x 452 full", "", MailStage::kRset,
     "500 what"},
    {"isAsBeforeWhenTheConnectionDiesWhileTheyAreOffered", "a@x|b@x|$c@x|d@x|$e@x|f@x|!g@x",
     "b@x 452 full|c@x 451 later|d@x 550 none|e@x -", "a@x|$b@x|$c@x|#d@x|$e@x|f@x|!g@x", false, "", "",
     "Socket Closed Error"},
    {"isTheFirstTryAgainWhenDataIsRefused", "a@x|b@x|$c@x|d@x|!e@x", "b@x 452 full|c@x 451 later|d@x 550 none",
     "a@x|b@x|$c@x|#d@x|!e@x", false, "", "", "SMTP RESPONSE Error", MailStage::kData, "554 no"},
    {"isTheFirstTryAgainWhenTheTextIsRefused", "a@x|b@x", "b@x 452 full", "a@x|b@x", false, "", "",
     "SMTP RESPONSE Error", MailStage::kEndOfData, "552 much"},
    {"isToldAgainWithoutAReplyOnceTheyAreGivenUp", "#a@x|b@x|!c@x|d@x", "b@x 550 none", "#a@x|#b@x|!c@x|!d@x", true,
     "d@x", "#a@x |#b@x 550 none"},
    {"isThatOfNewOnesWhenAFileHasThemRefusedTwice", "%a@x|%b@x|%c@x", "b@x 452 full|c@x 550 none", "!a@x|$b@x|#c@x",
     false, "a@x", "$b@x 452 full|#c@x 550 none"},
    {"isNoTryWithAMarkForAnAddress", "#ops@x|a@x", "", "#ops@x|!a@x", true, "a@x", "#ops@x "},
    {"isToldWithPercentSignsAsTheyAre", "a%s%n@x|b@x", "a%s%n@x 550 100%d", "#a%s%n@x|!b@x", true, "b@x",
     "#a%s%n@x 550 100%d"},
};

constexpr char kProfile[] = "n%soc";

class TheirFate : public DialogueTest, public testing::WithParamInterface<Fate> {
protected:
    Texts expectedLines() const {
        Texts lines;
        for (const std::string& told : split(GetParam().told)) {
            if (told == "!") {
                lines.push_back(log_.noRecipient(kProfile));
                continue;
            }
            const std::size_t blank = told.find(' ');
            const std::string address = told.substr(1, blank - 1);
            lines.push_back(told[0] == '$'   ? log_.retry(kProfile, address)
                            : told[0] == '%' ? log_.retryFailed(kProfile, address)
                                             : log_.noRetry(kProfile, address));
            lines.push_back(log_.refusal(kProfile, address, told.substr(blank + 1)));
        }
        if (*GetParam().reason != '\0') {
            lines.push_back(kCriticalLine);
        }
        return lines;
    }
};

}  // namespace

TEST_P(TheirFate, isWhatTheServerAndTheirMarksMakeIt) {
    const Fate& fate = GetParam();
    for (const std::string& refusal : split(fate.refusals)) {
        const std::size_t blank = refusal.find(' ');
        const std::string reply = refusal.substr(blank + 1);
        server_.answerRecipient(refusal.substr(0, blank), reply == "-" ? ScriptedReply::hangUp() : line(reply.c_str()));
    }
    if (fate.stage != MailStage::kOther) {
        server_.answer(fate.stage, line(fate.answer));
    }
    const OrvCHEnvelope& noc = envelope(kProfile, split(fate.before));

    EXPECT_EQ(run(), *fate.reason == '\0' ? 0 : -1);

    EXPECT_EQ(failure_.reason, fate.reason);
    EXPECT_EQ(noc.Recipients, split(fate.after));
    EXPECT_EQ(noc.Done, fate.done);
    EXPECT_EQ(reporter_.lines, expectedLines());
    Texts mailed;
    for (const ScriptedMail& mail : server_.mailsTaken()) {
        mailed.insert(mailed.end(), mail.recipients.begin(), mail.recipients.end());
    }
    EXPECT_EQ(mailed, split(fate.mailed));
}

INSTANTIATE_TEST_SUITE_P(OrvSendDialogueRecipients, TheirFate, testing::ValuesIn(kFates),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(OrvSendDialogueRecipients, areAllRefusedThenTheEnvelopeIsReset) {
    server_.answerRecipient("a@x", line("452 full"));
    server_.answerRecipient("b@x", line("550 unknown"));
    server_.answerRecipient("c@x", line("451 later"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "$c@x", "#d@x", "!e@x"});
    envelope("vendor", {"v@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(
        server_.received(0).substr(0, server_.received(0).find("MAIL FROM:<switch@example.com>\r\nRCPT TO:<v@x>")),
        "EHLO [10.1.2.3]\r\n"
        "MAIL FROM:<switch@example.com>\r\n"
        "RCPT TO:<a@x>\r\n"
        "RCPT TO:<b@x>\r\n"
        "RCPT TO:<c@x>\r\n"
        "RSET\r\n");
    EXPECT_THAT(noc.Recipients, ElementsAre("$a@x", "#b@x", "#c@x", "#d@x", "!e@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_TRUE(message_->Envelopes[1]->Done);
    EXPECT_THAT(reporter_.lines,
                ElementsAre(log_.noRecipient("noc"), log_.retry("noc", "a@x"), log_.refusal("noc", "a@x", "452 full"),
                            log_.noRetry("noc", "b@x"), log_.refusal("noc", "b@x", "550 unknown"),
                            log_.retryFailed("noc", "c@x"), log_.refusal("noc", "c@x", "451 later"),
                            log_.noRetry("noc", "d@x"), log_.refusal("noc", "d@x", "")));
}

TEST_F(OrvSendDialogueRecipients, areNoneThenTheEnvelopeIsResetAndDone) {
    const OrvCHEnvelope& noc = envelope("noc", {});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\nMAIL FROM:<switch@example.com>\r\nRSET\r\nQUIT\r\n");
    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(reporter_.lines, ElementsAre(log_.noRecipient("noc")));
}

TEST_F(OrvSendDialogueRecipients, areSettledAlthoughTheConnectionDiesInResetAndTheNextEnvelopeFails) {
    server_.answerRecipient("a@x", line("452 full"));
    server_.answer(MailStage::kRset, ScriptedReply::hangUp());
    const OrvCHEnvelope& noc = envelope("noc", {"a@x"});
    const OrvCHEnvelope& vendor = envelope("vendor", {"v@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(noc.Recipients, ElementsAre("$a@x"));
    EXPECT_THAT(vendor.Recipients, ElementsAre("v@x"));
    EXPECT_THAT(reporter_.lines, ElementsAre(log_.noRecipient("noc"), log_.retry("noc", "a@x"),
                                             log_.refusal("noc", "a@x", "452 full"), kCriticalLine));
}

// A message of an unknown kind cannot be composed.
TEST_F(OrvSendDialogueRecipients, goBackToTheirFirstTryWhenTheMailCannotBeComposed) {
    message_ = std::make_unique<OrvCHMesg>();
    server_.answerRecipient("b@x", line("452 full"));
    server_.answerRecipient("c@x", line("451 later"));
    server_.answerRecipient("d@x", line("550 unknown"));
    timeouts_.quit = std::chrono::milliseconds(50);  // QUIT is taken as text and never answered
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "$c@x", "d@x", "!e@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(noc.Recipients, ElementsAre("a@x", "b@x", "$c@x", "#d@x", "!e@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
    EXPECT_EQ(failure_.response, "550 unknown");
}

TEST_F(OrvSendDialogueRecipients, keepWhatEarlierEnvelopesReachedWhenALaterOneFails) {
    const OrvCHEnvelope& noc = envelope("noc", {"a@x"});
    const OrvCHEnvelope& vendor = envelope("vendor", {"v@x"});
    server_.answerRecipient("v@x", ScriptedReply::hangUp());

    EXPECT_EQ(run(), -1);

    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(noc.Recipients, ElementsAre("!a@x"));
    EXPECT_FALSE(vendor.Done);
    EXPECT_THAT(vendor.Recipients, ElementsAre("v@x"));
}

TEST_F(OrvSendDialogueRecipients, keepTheirStateWhenTheirLineCannotBeSent) {
    server_.answerRecipient("c@x", line("451 later"));
    system_.sendErrors = {0, 0, 0, 0, EPIPE};
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "$c@x", "$e@x", "f@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_EQ(server_.received(0),
              "EHLO [10.1.2.3]\r\nMAIL FROM:<switch@example.com>\r\nRCPT TO:<a@x>\r\nRCPT TO:<c@x>\r\n");
    EXPECT_THAT(noc.Recipients, ElementsAre("a@x", "$c@x", "$e@x", "f@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_EQ(failure_.reason, "SMTP RCPT TO Error");
    EXPECT_EQ(failure_.description, "Broken pipe");
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
}

// Kept: a line that is too long to be sent has no reply of its own.
TEST_F(OrvSendDialogueRecipients, areJudgedByTheLastReplyWhenTheirLineIsTooLong) {
    const std::pair<const char*, const char*> rows[] = {
        {"250 ok", "#b@x"}, {"452 full", "$b@x"}, {"550 unknown", "#b@x"}};
    for (const auto& [reply, expected] : rows) {
        message_ = portEvent();
        reporter_.lines.clear();
        server_.answerRecipient("a@x", line(reply));
        system_.sendErrors = {0, 0, 0, EMSGSIZE};
        const std::string last = reply[0] == '2' ? "" : reply;
        const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "c@x"});

        EXPECT_EQ(run(), 0);

        EXPECT_EQ(noc.Recipients[1], expected);
        EXPECT_EQ(noc.Recipients[2], "!c@x") << "the dialogue goes on";
        EXPECT_THAT(reporter_.lines,
                    testing::IsSupersetOf({expected[0] == '$' ? log_.retry("noc", "b@x") : log_.noRetry("noc", "b@x"),
                                           log_.refusal("noc", "b@x", last)}));
    }
}

TEST_F(OrvSendDialogueRecipients, areReportedAfterTheReset) {
    server_.answer(MailStage::kRcpt, line("452 full"));
    std::vector<std::string> before{"no reset"};
    system_.onSend = [&](std::string_view bytes) {
        if (bytes == "RSET\r\n") {
            before = reporter_.lines;
        }
    };
    envelope("noc", {"a@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(before, IsEmpty());
    EXPECT_THAT(reporter_.lines,
                ElementsAre(log_.noRecipient("noc"), log_.retry("noc", "a@x"), log_.refusal("noc", "a@x", "452 full")));
}

// Another thread looks at them all the time, and at least twice before each line that is sent. What tells it how often
// must not order the two threads: only the lock may.
TEST_F(OrvSendDialogueRecipients, areMarkedUnderTheMessagesLock) {
    using Marks = std::vector<std::string>;
    server_.answerRecipient("b@x", line("452 full"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "$c@x", "d@x"});
    const OrvCHEnvelope& vendor = envelope("vendor", {"v@x"});
    std::atomic<bool> stop = false;
    std::atomic<unsigned> looks = 0;
    std::set<Marks> seen;
    bool doneUnmarked = false;
    std::thread looker([&] {
        do {
            {
                const Mt::Lock lock(message_->lock());
                seen.insert(noc.Recipients);
                doneUnmarked = doneUnmarked || (vendor.Done && vendor.Recipients != Marks{"!v@x"});
            }
            looks.fetch_add(1, std::memory_order_relaxed);
            std::this_thread::yield();
        } while (!stop.load(std::memory_order_relaxed));
    });
    system_.onSend = [&](std::string_view /*bytes*/) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        const unsigned enough = looks.load(std::memory_order_relaxed) + 2;
        while (looks.load(std::memory_order_relaxed) < enough && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    };

    const int result = run();
    stop.store(true, std::memory_order_relaxed);
    looker.join();

    EXPECT_EQ(result, 0);
    const Marks settled{"!a@x", "$b@x", "!c@x", "!d@x"};
    EXPECT_THAT(seen, testing::Contains(settled));
    EXPECT_THAT(seen, testing::IsSubsetOf({Marks{"a@x", "b@x", "$c@x", "d@x"}, Marks{"a@x", "$b@x", "$c@x", "d@x"},
                                           Marks{"a@x", "$b@x", "c@x", "d@x"}, settled}))
        << "whom one mail has reached is marked at once";
    EXPECT_FALSE(doneUnmarked);
    EXPECT_TRUE(vendor.Done);
}
