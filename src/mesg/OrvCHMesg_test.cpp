#include "mesg/OrvCHMesg.h"

#include "mesg/OrvSequenceSource.h"
#include "testing/mesg/MesgTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

using OrvCHMesgTest = MesgTest;

static std::unique_ptr<OrvCHEnvelope> cursoredEnvelope() {
    auto envelope = sampleEnvelope();
    envelope->Done = true;
    envelope->RecipientCursor = 1;
    return envelope;
}

static void expectSameEnvelope(const OrvCHEnvelope& copy, const OrvCHEnvelope& source) {
    EXPECT_EQ(copy.Done, source.Done);
    EXPECT_EQ(copy.MaxSize, source.MaxSize);
    EXPECT_EQ(copy.Type, source.Type);
    EXPECT_EQ(copy.ProfileName, source.ProfileName);
    EXPECT_EQ(copy.Subject, source.Subject);
    EXPECT_EQ(copy.Recipients, source.Recipients);
    EXPECT_EQ(copy.RecipientCursor, source.RecipientCursor);
}

static void expectSameFields(const OrvCHMesg& copy, const OrvCHMesg& source) {
    EXPECT_EQ(copy.FileName, source.FileName);
    EXPECT_EQ(copy.Time, source.Time);
    EXPECT_EQ(copy.ID, source.ID);
    EXPECT_EQ(copy.Text, source.Text);
    EXPECT_EQ(copy.DuplicateCount, source.DuplicateCount);
    EXPECT_EQ(copy.DuplicateTime, source.DuplicateTime);
    EXPECT_EQ(copy.Type, source.Type);
    EXPECT_EQ(copy.TestProfile, source.TestProfile);
    EXPECT_EQ(copy.Spare, source.Spare);
    EXPECT_EQ(copy.EnvelopeCursor, 0u);
    EXPECT_EQ(copy.duplicateKey(), source.duplicateKey());
    ASSERT_EQ(copy.Envelopes.size(), source.Envelopes.size());
    for (std::size_t i = 0; i < copy.Envelopes.size(); ++i) {
        EXPECT_NE(copy.Envelopes[i], source.Envelopes[i]);
        expectSameEnvelope(*copy.Envelopes[i], *source.Envelopes[i]);
    }
}

static std::unique_ptr<OrvCHMesg> wellUsedLogEvent() {
    auto mesg = sampleLogEvent();
    mesg->TestProfile = "Night shift";
    mesg->Spare = 9;
    mesg->addEnvelope(cursoredEnvelope());
    mesg->EnvelopeCursor = 1;
    mesg->logEvent()->Reserved = 1;
    mesg->logEvent()->LevelRestored = true;
    mesg->logEvent()->RestoreStatus = -1;
    return mesg;
}

TEST_F(OrvCHMesgTest, copiesEveryFieldAndStartsAtTheFirstEnvelope) {
    const auto source = wellUsedLogEvent();

    const OrvCHMesg copy(*source);

    expectSameFields(copy, *source);
    EXPECT_NE(copy.logEvent(), source->logEvent());
    EXPECT_EQ(copy.logEvent()->Reserved, 1);
    EXPECT_TRUE(copy.logEvent()->LevelRestored);
    EXPECT_EQ(copy.logEvent()->RestoreStatus, -1);
}

TEST_F(OrvCHMesgTest, assignmentReplacesWhatTheTargetHeld) {
    const auto source = wellUsedLogEvent();
    OrvCHMesg target(OrvCHMesg::kCronCapture);
    target.cronCapture()->Sequence = "9";
    writeFile(std::string(kAttachments) + "old.gz.9", "x");
    target.cronCapture()->Attachments = {"old.gz"};
    target.addEnvelope(sampleEnvelope());
    target.EnvelopeCursor = 1;

    target = *source;

    expectSameFields(target, *source);
    EXPECT_EQ(target.cronCapture(), nullptr);
    EXPECT_THAT(stagedFiles(), IsEmpty());
}

TEST_F(OrvCHMesgTest, assignmentFromACaptureWithoutASequenceLeavesTheTargetWithoutTypeData) {
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.FileName = kFile;
    capture.addEnvelope(sampleEnvelope());
    const auto target = sampleLogEvent();
    target->EnvelopeCursor = 1;
    NoSequences noSequences;
    CronCaptureData::useSequences(&noSequences);

    EXPECT_THROW({ *target = capture; }, OrvFileError);

    EXPECT_EQ(target->Type, OrvCHMesg::kNoType);
    EXPECT_EQ(target->logEvent(), nullptr);
    EXPECT_EQ(target->cronCapture(), nullptr);
    EXPECT_THAT(target->Envelopes, IsEmpty());
    EXPECT_EQ(target->EnvelopeCursor, 0u);
    target->probe();
    EXPECT_THAT(traces(), testing::Contains("    BytesToSave = 0"));
}

TEST_F(OrvCHMesgTest, assignmentToItselfChangesNothing) {
    const auto mesg = sampleLogEvent();
    const std::int32_t bytes = mesg->bytesToSave();
    OrvCHMesg& alias = *mesg;

    *mesg = alias;

    EXPECT_EQ(mesg->bytesToSave(), bytes);
    EXPECT_EQ(mesg->Envelopes.size(), 1u);
    ASSERT_NE(mesg->logEvent(), nullptr);
    EXPECT_EQ(mesg->logEvent()->App, "Port");
}

TEST_F(OrvCHMesgTest, copyOfAMessageWithoutTypeDataHasNone) {
    OrvCHMesg source;
    source.Text = "nothing";
    const OrvCHMesg copy(source);
    expectSameFields(copy, source);
    EXPECT_EQ(copy.logEvent(), nullptr);
    EXPECT_EQ(copy.cronCapture(), nullptr);
}

TEST_F(OrvCHMesgTest, copiesEnvelopesWithMarksDoneFlagAndCursor) {
    const auto source = cursoredEnvelope();
    OrvCHMesg mesg;

    ASSERT_EQ(mesg.copyEnvelope(*source), 0);
    ASSERT_EQ(mesg.addEnvelope(sampleEnvelope()), 0);

    ASSERT_EQ(mesg.Envelopes.size(), 2u);
    expectSameEnvelope(*mesg.Envelopes[0], *source);
    expectSameEnvelope(*mesg.Envelopes[1], *sampleEnvelope());
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(OrvCHMesgTest, identifiesDuplicatesByAttributesAndText) {
    EXPECT_EQ(sampleLogEvent()->duplicateKey(), "Alarm|Blade: 2|2.5|5|77|Port|fan:1.2.3|100% of port 5 lost");
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.cronCapture()->Sequence = "12";
    capture.Text = "not part of it";
    EXPECT_EQ(capture.duplicateKey(), "12CronCapture");
    OrvCHMesg none;
    none.Text = "not part of it";
    EXPECT_EQ(none.duplicateKey(), "");
}

TEST_F(OrvCHMesgTest, takesEventsThatDifferInIdTimeOrEnvelopesForDuplicates) {
    const auto other = sampleLogEvent();
    other->ID = "0123.9999";
    other->Time = "later";
    other->DuplicateCount = 99;
    other->addEnvelope(sampleEnvelope());
    EXPECT_EQ(other->duplicateKey(), sampleLogEvent()->duplicateKey());
}

TEST_F(OrvCHMesgTest, takesEventsThatDifferInAnyAttributeForDifferent) {
    void (*const changes[])(OrvCHMesg&) = {
        [](OrvCHMesg& mesg) { mesg.Text += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->Level = 2; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->Blade += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->ASIC += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->Port += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->VID += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->App += "x"; },
        [](OrvCHMesg& mesg) { mesg.logEvent()->Components += "x"; },
    };
    for (const auto change : changes) {
        const auto other = sampleLogEvent();
        change(*other);
        EXPECT_NE(other->duplicateKey(), sampleLogEvent()->duplicateKey());
    }
}

TEST_F(OrvCHMesgTest, resetsTheRecipientsOfAllEnvelopes) {
    const auto mesg = sampleLogEvent();
    mesg->addEnvelope(cursoredEnvelope());
    mesg->Envelopes[1]->Recipients = {"!a@x", "#b@x", "$c@x", "%d@x", "e@x"};

    EXPECT_EQ(mesg->resetRecipients(), 1u + 4u);

    EXPECT_THAT(mesg->Envelopes[0]->Recipients, ElementsAre("ann@example.com", "bob@example.com"));
    EXPECT_THAT(mesg->Envelopes[1]->Recipients, ElementsAre("a@x", "b@x", "c@x", "d@x", "e@x"));
    EXPECT_FALSE(mesg->Envelopes[1]->Done);
    EXPECT_EQ(OrvCHMesg().resetRecipients(), 0u);
}

TEST_F(OrvCHMesgTest, walksTheAttachmentsOfACapture) {
    OrvCHMesg capture(OrvCHMesg::kCronCapture);
    capture.cronCapture()->Sequence = "12";
    capture.cronCapture()->Attachments = {"a.gz", "b.gz"};
    EXPECT_EQ(capture.nextAttachmentFile(), "a.gz.12");
    EXPECT_EQ(capture.nextAttachmentFile(), "b.gz.12");
    EXPECT_EQ(capture.nextAttachmentFile(), "");
    EXPECT_EQ(capture.nextAttachmentFile(), "");
    capture.cronCapture()->Attachments.clear();
    capture.cronCapture()->AttachmentCursor = -1;
}

TEST_F(OrvCHMesgTest, namesNoAttachmentOfOtherKinds) {
    EXPECT_EQ(sampleLogEvent()->nextAttachmentFile(), "");
    EXPECT_EQ(OrvCHMesg().nextAttachmentFile(), "");
    EXPECT_EQ(OrvCHMesg(OrvCHMesg::kCronCapture).nextAttachmentFile(), "");
}
