// What the conforming dialogue says to a server, what it takes for a reply, and what becomes of the recipients.
#include "base/OrvMutex.h"
#include "testing/smtp/PlayedDialogueFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

class OrvConformingDialogueTest : public PlayedDialogueTest {
protected:
    OrvCHEnvelope& envelope(const std::vector<std::string>& recipients) {
        return addEnvelope(*message_, "noc", recipients, "ShortText");
    }
    std::string about(const OrvLogEntry<const char*, const char*, const char*, int>& entry, const char* recipient) {
        return logLine(entry, "noc", recipient, kAddress, 25);
    }
    std::string because(const char* recipient, const char* reply) {
        return logLine(orv_log::kRecipientRefused, "noc", recipient, kAddress, 25, reply);
    }
};

const char* const kGivenUpReply = "550 no";

}  // namespace

TEST_F(OrvConformingDialogueTest, saysWhatIsNeededAndNothingElse) {
    envelope({"a@x", "b@x"});

    EXPECT_EQ(run(), 0);

    const std::vector<std::string> lines = said();
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 5),
              (std::vector<std::string>{"EHLO [10.1.2.3]", "MAIL FROM:<switch@example.com>", "RCPT TO:<a@x>",
                                        "RCPT TO:<b@x>", "DATA"}));
    EXPECT_EQ(lines[lines.size() - 2], ".");
    EXPECT_EQ(lines.back(), "QUIT");
    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("!a@x", "!b@x"));
    EXPECT_TRUE(message_->Envelopes[0]->Done);
    EXPECT_THAT(reporter_.lines, IsEmpty());
}

TEST_F(OrvConformingDialogueTest, usesWhatTheServerOffers) {
    envelope({"a@x"});
    message_->Text = "L\u00FCfter";
    answer(MailStage::kEhlo, "250-mx\r\n250-size 100000\r\n250-PIPELINING\r\n250 8bitmime");

    EXPECT_EQ(run(), 0);

    ASSERT_THAT(server_.mails, SizeIs(1));
    EXPECT_THAT(said(), Contains("MAIL FROM:<switch@example.com> SIZE=" + std::to_string(server_.mails[0].text.size()) +
                                 " BODY=8BITMIME"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("L\u00FCfter"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("Content-Transfer-Encoding: 8bit\r\n"));
}

TEST_F(OrvConformingDialogueTest, encodesWhatTheServerDoesNotTakeAsItIs) {
    envelope({"a@x"});
    message_->Text = "L\u00FCfter";

    EXPECT_EQ(run(), 0);

    ASSERT_THAT(server_.mails, SizeIs(1));
    EXPECT_THAT(said(), Contains("MAIL FROM:<switch@example.com>"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("L=C3=BCfter"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("Content-Transfer-Encoding: quoted-printable\r\n"));
}

TEST_F(OrvConformingDialogueTest, knowsThatAMailIsTooLargeBeforeItSaysAnythingOfIt) {
    envelope({"a@x"});
    answer(MailStage::kEhlo, "250-mx\r\n250 SIZE 100");

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(said(), ElementsAre("EHLO [10.1.2.3]", "QUIT"));
    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("#a@x"));
    EXPECT_THAT(reporter_.lines, Contains(HasSubstr("the server takes 100")));
}

TEST_F(OrvConformingDialogueTest, givesUpAMessageThatIsNeitherAnEventNorACapture) {
    message_ = std::make_unique<OrvCHMesg>();
    envelope({"a@x", "b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(said(), ElementsAre("EHLO [10.1.2.3]", "QUIT"));
    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("#a@x", "#b@x"));
    EXPECT_THAT(reporter_.lines, Contains(HasSubstr("no mail can be made of it")));
}

TEST_F(OrvConformingDialogueTest, takesALimitOfNothingForNone) {
    envelope({"a@x"});
    for (const char* size : {"SIZE", "SIZE 0", "SIZE -", "SIZE 999999999999999999999999"}) {
        message_->resetRecipients();
        answer(MailStage::kEhlo, std::string("250-mx\r\n250 ") + size);
        EXPECT_EQ(run(), 0);
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("!a@x")) << size;
    }
}

TEST_F(OrvConformingDialogueTest, forgetsWhatAnEarlierServerOffered) {
    envelope({"a@x"});
    server_.script.once(MailStage::kEhlo, ScriptedReply::line("250-mx\r\n250-SIZE\r\n250 8BITMIME"));
    server_.script.once(MailStage::kEhlo, ScriptedReply::line("502 unknown"));
    EXPECT_EQ(run(), 0);
    message_->resetRecipients();

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(said(), Contains("HELO [10.1.2.3]"));
    EXPECT_THAT(said(), Contains("MAIL FROM:<switch@example.com>"));
}

TEST_F(OrvConformingDialogueTest, sendsNoLineOfOneDotAndNoCommandFromWithinAText) {
    identity_.Location = "rack 7\r\n.\r\nMAIL FROM:<evil@x>\r\nRCPT TO:<b@x>\r\nDATA\r\nforged\r\n.\r\n";
    message_->Text = "\r\n.\r\nQUIT\n.\n";
    addEnvelope(*message_, "noc\r\n.\r\nRSET", {"a@x\r\nRCPT TO:<c@x>", "b@x"}, "FullText");

    EXPECT_EQ(run(), 0);

    ASSERT_THAT(server_.mails, SizeIs(1));
    EXPECT_THAT(server_.mails[0].recipients, ElementsAre("a@x??RCPT TO:<c@x>", "b@x"));
    EXPECT_THAT(server_.mails[0].text,
                HasSubstr("\r\n..\r\nMAIL FROM:<evil@x>\r\nRCPT TO:<b@x>\r\nDATA\r\nforged\r\n..\r\n"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("\r\n..\r\nQUIT\r\n..\r\n"));
    EXPECT_THAT(server_.mails[0].text, HasSubstr("Subject: [CallHome: noc??.??RSET] Switch event\r\n"));
}

TEST_F(OrvConformingDialogueTest, saysNothingOfAnEnvelopeThatNobodyWaitsFor) {
    envelope({"!a@x", "#b@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(said(), ElementsAre("EHLO [10.1.2.3]", "QUIT"));
    EXPECT_TRUE(message_->Envelopes[0]->Done);
    EXPECT_THAT(reporter_.lines, IsEmpty());
}

// A mail that is refused.
struct Refusal {
    const char* name;
    MailStage stage;
    const char* reply;
    const char* after;  // the marks of both recipients
    bool failed;        // the dialogue
    bool reset;
};

const Refusal kRefusals[] = {
    {"senderForGood", MailStage::kMail, "550 no", "##", false, false},
    {"senderForNow", MailStage::kMail, "451 later", "$$", false, false},
    {"senderUntilItKnowsUs", MailStage::kMail, "530 authenticate", "  ", true, false},
    {"senderBecauseItCloses", MailStage::kMail, "421 closing", "  ", true, false},
    {"bothRecipientsForGood", MailStage::kRcpt, "550 no", "##", false, true},
    {"bothRecipientsForNow", MailStage::kRcpt, "451 later", "$$", false, true},
    {"recipientsUntilItKnowsUs", MailStage::kRcpt, "530 authenticate", "  ", true, false},
    {"recipientsBecauseItCloses", MailStage::kRcpt, "421 closing", "  ", true, false},
    {"dataForGood", MailStage::kData, "554 no", "##", false, true},
    {"dataForNow", MailStage::kData, "451 later", "$$", false, true},
    {"dataBecauseItCloses", MailStage::kData, "421 closing", "  ", true, false},
    {"textForGood", MailStage::kEndOfData, "554 no", "##", false, false},
    {"textForNow", MailStage::kEndOfData, "452 full", "$$", false, false},
    {"textBecauseItCloses", MailStage::kEndOfData, "421 closing", "  ", true, false},
    {"textInTheWrongClass", MailStage::kEndOfData, "354 go on", "  ", true, false},
    {"dataInTheWrongClass", MailStage::kData, "250 ok", "  ", true, false},
};

class RefusedMail : public OrvConformingDialogueTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedMail, isItsRecipientsFateOrTheServers) {
    const Refusal& refusal = GetParam();
    envelope({"a@x", "b@x"});
    addEnvelope(*message_, "next", {"c@x"}, "ShortText");
    answerOnce(refusal.stage, refusal.reply);
    if (refusal.stage == MailStage::kRcpt) {
        answerOnce(refusal.stage, refusal.reply);
    }

    EXPECT_EQ(run(), refusal.failed ? -1 : 0);

    const auto& first = message_->Envelopes[0]->Recipients;
    const auto marked = [](char mark, const char* address) {
        return mark == ' ' ? std::string(address) : mark + std::string(address);
    };
    EXPECT_THAT(first, ElementsAre(marked(refusal.after[0], "a@x"), marked(refusal.after[1], "b@x")));
    EXPECT_EQ(message_->Envelopes[0]->Done, refusal.after[0] == '#');
    EXPECT_EQ(message_->Envelopes[1]->Done, !refusal.failed) << "the next envelope goes on";
    EXPECT_EQ(server_.mails.size(), refusal.failed ? 0u : 1u);
    if (refusal.failed) {
        EXPECT_EQ(failure_.reason, "SMTP RESPONSE Error");
        EXPECT_EQ(failure_.response, refusal.reply);
        EXPECT_THAT(reporter_.lines, ElementsAre(kCriticalLine));
        return;
    }
    const std::vector<std::string> lines = said();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "RSET"), refusal.reset ? 1 : 0);
    EXPECT_THAT(reporter_.lines, Contains(because("a@x", refusal.reply)));
    EXPECT_THAT(
        reporter_.lines,
        Contains(about(refusal.after[0] == '#' ? orv_log::kRecipientGivenUp : orv_log::kRecipientRetry, "b@x")));
}

INSTANTIATE_TEST_SUITE_P(OrvConformingDialogue, RefusedMail, testing::ValuesIn(kRefusals),
                         [](const auto& refusal) { return std::string(refusal.param.name); });

TEST_F(OrvConformingDialogueTest, tellsOfEachRecipientWhatBecomesOfItAndWhy) {
    envelope({"a@x", "b@x", "c@x"});
    server_.script.setRecipient("a@x", ScriptedReply::line(kGivenUpReply));
    server_.script.setRecipient("b@x", ScriptedReply::line("450 later"));

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("#a@x", "$b@x", "!c@x"));
    EXPECT_FALSE(message_->Envelopes[0]->Done);
    EXPECT_THAT(reporter_.lines, ElementsAre(about(orv_log::kRecipientGivenUp, "a@x"), because("a@x", kGivenUpReply),
                                             about(orv_log::kRecipientRetry, "b@x"), because("b@x", "450 later")));
}

TEST_F(OrvConformingDialogueTest, neverGivesUpWhomItIsAskedToTryLater) {
    envelope({"a@x", "$b@x", "%c@x"});
    answer(MailStage::kRcpt, "451 later");
    for (int pass = 0; pass < 30; ++pass) {
        EXPECT_EQ(run(), 0);
        EXPECT_FALSE(message_->Envelopes[0]->Done);
        EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("$a@x", "$b@x", "$c@x"));
    }

    answer(MailStage::kRcpt, "250 now");
    EXPECT_EQ(run(), 0);

    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("!a@x", "!b@x", "!c@x"));
    EXPECT_THAT(reporter_.lines, Not(Contains(about(orv_log::kRecipientRetryFailed, "a@x"))));
}

TEST_F(OrvConformingDialogueTest, tellsThatNobodyWasAcceptedOnceNobodyWaits) {
    envelope({"a@x"});
    answerOnce(MailStage::kRcpt, "451 later");
    EXPECT_EQ(run(), 0);
    const std::string nobody = logLine(orv_log::kNoRecipientAccepted, kAddress, 25, "noc");
    EXPECT_THAT(reporter_.lines, Not(Contains(nobody)));

    answer(MailStage::kRcpt, kGivenUpReply);
    EXPECT_EQ(run(), 0);

    EXPECT_THAT(reporter_.lines, Contains(nobody));
}

TEST_F(OrvConformingDialogueTest, failsWhenTheServerCannotForgetAnEnvelope) {
    envelope({"a@x"});
    addEnvelope(*message_, "next", {"b@x"}, "ShortText");
    answerOnce(MailStage::kRcpt, kGivenUpReply);
    answer(MailStage::kRset, "502 what");

    EXPECT_EQ(run(), -1);

    EXPECT_THAT(message_->Envelopes[0]->Recipients, ElementsAre("#a@x"));
    EXPECT_THAT(message_->Envelopes[1]->Recipients, ElementsAre("b@x"));
    EXPECT_EQ(failure_.response, "502 what");
}

TEST_F(OrvConformingDialogueTest, keepsTheMarksOnFlashAsSoonAsTheyHaveChanged) {
    message_->FileName = "/tmp/m1";
    envelope({"a@x", "b@x", "c@x"});
    addEnvelope(*message_, "next", {"d@x"}, "ShortText");
    server_.script.setRecipient("b@x", ScriptedReply::line("550 no"));
    server_.script.setRecipient("c@x", ScriptedReply::line("450 later"));
    server_.script.setRecipient("d@x", ScriptedReply::hangUp());

    EXPECT_EQ(run(), -1);

    OrvCHMesg restored;
    restored.FileName = "/tmp/m1";
    ASSERT_EQ(restored.restore(), 0);
    EXPECT_THAT(restored.Envelopes[0]->Recipients, ElementsAre("!a@x", "#b@x", "$c@x"));
    EXPECT_THAT(restored.Envelopes[1]->Recipients, ElementsAre("d@x"));
}

TEST_F(OrvConformingDialogueTest, writesNoFileOfAMessageThatHasNone) {
    envelope({"a@x"});

    EXPECT_EQ(run(), 0);

    EXPECT_THAT(takeTraces(), Not(Contains(HasSubstr("save"))));
}
