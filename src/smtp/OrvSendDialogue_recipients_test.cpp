// What becomes of each recipient of a dialogue, and the order in which it is reported.
#include "smtp/OrvSendDialogue.h"
#include "testing/smtp/DialogueFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <set>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

using OrvSendDialogueRecipients = DialogueTest;

TEST_F(OrvSendDialogueRecipients, waitsForASecondTryAfterATemporaryRefusal) {
    server_.answerRecipient("b@x", line("452 mailbox full"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(noc.Recipients, ElementsAre("!a@x", "$b@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_THAT(server_.mailsTaken().at(0).recipients, ElementsAre("a@x"));
    EXPECT_THAT(reporter_.lines, ElementsAre(log_.retry("noc", "b@x"), log_.refusal("noc", "b@x", "452 mailbox full")));
}

TEST_F(OrvSendDialogueRecipients, areDeliveredInTheSecondPass) {
    const OrvCHEnvelope& noc = envelope("noc", {"!a@x", "$b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(noc.Recipients, ElementsAre("!a@x", "!b@x"));
    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(server_.mailsTaken().at(0).recipients, ElementsAre("b@x"));
    EXPECT_THAT(reporter_.lines, IsEmpty());
}

TEST_F(OrvSendDialogueRecipients, areGivenUpAfterASecondRefusalOfAnyKind) {
    for (const char* reply : {"452 still full", "550 gone meanwhile"}) {
        message_ = portEvent();
        reporter_.lines.clear();
        server_.answerRecipient("b@x", line(reply));
        const OrvCHEnvelope& noc = envelope("noc", {"a@x", "$b@x"});

        EXPECT_EQ(run(), 0);

        EXPECT_THAT(noc.Recipients, ElementsAre("!a@x", "#b@x"));
        EXPECT_TRUE(noc.Done);
        EXPECT_THAT(reporter_.lines, ElementsAre(log_.retryFailed("noc", "b@x"), log_.refusal("noc", "b@x", reply)));
    }
}

TEST_F(OrvSendDialogueRecipients, areGivenUpAtOnceAfterAPermanentRefusal) {
    server_.answerRecipient("a@x", line("550 no such user"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(noc.Recipients, ElementsAre("#a@x", "!b@x"));
    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(server_.mailsTaken().at(0).recipients, ElementsAre("b@x"));
    EXPECT_THAT(reporter_.lines,
                ElementsAre(log_.noRetry("noc", "a@x"), log_.refusal("noc", "a@x", "550 no such user")));
}

TEST_F(OrvSendDialogueRecipients, areJudgedByTheFirstCharacterOfTheRefusal) {
    const std::pair<const char*, const char*> rows[] = {
        {"4", "$a@x"}, {"421 x", "$a@x"}, {"40", "$a@x"}, {"5", "#a@x"}, {"1 x", "#a@x"}, {"-4", "#a@x"}, {"", "#a@x"}};
    for (const auto& [reply, expected] : rows) {
        message_ = portEvent();
        server_.answerRecipient("a@x", line(reply));
        const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x"});
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(noc.Recipients[0], expected);
    }
}

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

TEST_F(OrvSendDialogueRecipients, areAllGivenUpThenTheEnvelopeIsDone) {
    server_.answer(MailStage::kRcpt, line("550 unknown"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(noc.Recipients, ElementsAre("#a@x"));
    EXPECT_TRUE(noc.Done);
}

TEST_F(OrvSendDialogueRecipients, areNoneThenTheEnvelopeIsResetAndDone) {
    const OrvCHEnvelope& noc = envelope("noc", {});

    EXPECT_EQ(run(), 0);

    EXPECT_EQ(server_.received(0), "EHLO [10.1.2.3]\r\nMAIL FROM:<switch@example.com>\r\nRSET\r\nQUIT\r\n");
    EXPECT_TRUE(noc.Done);
    EXPECT_THAT(reporter_.lines, ElementsAre(log_.noRecipient("noc")));
}

TEST_F(OrvSendDialogueRecipients, areSettledWhateverResetMeets) {
    server_.answer(MailStage::kRcpt, line("452 full"));
    server_.answer(MailStage::kRset, line("500 what"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(noc.Recipients, ElementsAre("$a@x"));
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

TEST_F(OrvSendDialogueRecipients, keepTheirStateWhenTheConnectionDiesWhileTheyAreOffered) {
    server_.answerRecipient("b@x", line("452 full"));
    server_.answerRecipient("c@x", line("451 later"));
    server_.answerRecipient("d@x", line("550 unknown"));
    server_.answerRecipient("e@x", ScriptedReply::hangUp());
    OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "$c@x", "d@x", "$e@x", "f@x", "!g@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(noc.Recipients, ElementsAre("a@x", "$b@x", "$c@x", "#d@x", "$e@x", "f@x", "!g@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_EQ(failure_.reason, "Socket Closed Error");
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
}

TEST_F(OrvSendDialogueRecipients, goBackToTheirFirstTryWhenDataIsRefused) {
    server_.answerRecipient("b@x", line("452 full"));
    server_.answerRecipient("c@x", line("451 later"));
    server_.answerRecipient("d@x", line("550 unknown"));
    server_.answer(MailStage::kData, line("554 no"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x", "$c@x", "d@x", "!e@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(noc.Recipients, ElementsAre("a@x", "b@x", "$c@x", "#d@x", "!e@x"));
    EXPECT_FALSE(noc.Done);
    EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
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

TEST_F(OrvSendDialogueRecipients, goBackToTheirFirstTryWhenTheTextIsRefused) {
    server_.answerRecipient("b@x", line("452 full"));
    server_.answer(MailStage::kEndOfData, line("552 too much"));
    const OrvCHEnvelope& noc = envelope("noc", {"a@x", "b@x"});

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(noc.Recipients, ElementsAre("a@x", "b@x"));
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

TEST_F(OrvSendDialogueRecipients, givenUpEarlierAreReportedAgainWithoutAReply) {
    server_.answerRecipient("b@x", line("550 unknown"));
    envelope("noc", {"#a@x", "b@x", "!c@x", "d@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(reporter_.lines, ElementsAre(log_.noRetry("noc", "a@x"), log_.refusal("noc", "a@x", ""),
                                             log_.noRetry("noc", "b@x"), log_.refusal("noc", "b@x", "550 unknown")));
}

TEST_F(OrvSendDialogueRecipients, refusedTwiceInAFileAreTriedLikeNewOnes) {
    const std::pair<const char*, const char*> rows[] = {
        {"250 ok", "!a@x"}, {"452 full", "$a@x"}, {"550 unknown", "#a@x"}};
    for (const auto& [reply, expected] : rows) {
        message_ = portEvent();
        server_.answerRecipient("a@x", line(reply));
        const OrvCHEnvelope& noc = envelope("noc", {"%a@x", "b@x"});
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(noc.Recipients[0], expected);
    }
}

TEST_F(OrvSendDialogueRecipients, withAMarkForAnAddressAreNeverTried) {
    const OrvCHEnvelope& noc = envelope("noc", {"#ops@x", "a@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(server_.mailsTaken().at(0).recipients, ElementsAre("a@x"));
    EXPECT_THAT(noc.Recipients, ElementsAre("#ops@x", "!a@x"));
}

TEST_F(OrvSendDialogueRecipients, withPercentSignsInNamesAndRepliesAreShownAsTheyAre) {
    server_.answerRecipient("a%s%n@x", line("550 100%d"));
    envelope("n%soc", {"a%s%n@x", "b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(reporter_.lines,
                ElementsAre(log_.noRetry("n%soc", "a%s%n@x"), log_.refusal("n%soc", "a%s%n@x", "550 100%d")));
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
