// What becomes of each recipient of a dialogue, and the order in which it is reported.
#include "smtp/DialogueFixture.h"
#include "smtp/OrvSendDialogue.h"

#include <gmock/gmock.h>

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
    system_.onSend = [this](std::string_view bytes) {
        if (bytes == "QUIT\r\n") {
            server_.breakConnections();  // taken as text, it would never be answered
        }
    };
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
