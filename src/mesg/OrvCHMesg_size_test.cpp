#include "testing/mesg/MesgTest.h"

#include <filesystem>

using OrvCHMesgSize = MesgTest;

static std::int32_t length(const std::string& text) {
    return static_cast<std::int32_t>(text.size());
}

// The message part of any message: tags, end lines and allowances are 134.
static std::int32_t commonPart(const OrvCHMesg& mesg) {
    return 134 + length(mesg.DuplicateTime) + length(mesg.Time) + length(mesg.ID) + length(mesg.Text);
}

static std::int32_t envelopePart(const OrvCHEnvelope& envelope) {
    std::int32_t bytes = 124 + length(envelope.Type) + length(envelope.ProfileName) + length(envelope.Subject);
    for (const std::string& recipient : envelope.Recipients) {
        bytes += length(recipient) + 1;
    }
    return bytes;
}

TEST_F(OrvCHMesgSize, ofAMessageWithoutAnythingIsItsFrame) {
    OrvCHMesg mesg;
    EXPECT_EQ(mesg.bytesToSave(), 134);
}

TEST_F(OrvCHMesgSize, ofALogEventCountsMessageEventAndEnvelopes) {
    const auto mesg = sampleLogEvent();
    mesg->addEnvelope(sampleEnvelope());
    const std::int32_t eventPart = 91 + length("Alarm") + length("Blade: 2") + length("2.5") + length("5") +
                                   length("77") + length("Port") + length("fan:1.2.3");

    EXPECT_EQ(mesg->bytesToSave(), commonPart(*mesg) + eventPart + 2 * envelopePart(*sampleEnvelope()));
}

TEST_F(OrvCHMesgSize, isCloseToTheFileThatIsWritten) {
    const auto mesg = sampleLogEvent();
    const std::int32_t unusedDigits = (10 - length("3")) + (10 - length("650"));
    ASSERT_EQ(mesg->save(), 0);
    EXPECT_NEAR(mesg->bytesToSave(), length(readFile(kFile)) + unusedDigits, 4);
}

TEST_F(OrvCHMesgSize, countsTheMessagePartOnceAndLaterEnvelopesAsTheyCome) {
    const auto mesg = sampleLogEvent();
    const std::int32_t first = mesg->bytesToSave();
    EXPECT_EQ(mesg->bytesToSave(), first);

    mesg->Text += " and more";
    EXPECT_EQ(mesg->bytesToSave(), first);

    mesg->addEnvelope(sampleEnvelope());
    EXPECT_EQ(mesg->bytesToSave(), first + envelopePart(*sampleEnvelope()));
}

TEST_F(OrvCHMesgSize, isTheSameBeforeAndAfterARestore) {
    const auto mesg = sampleLogEvent();
    ASSERT_EQ(mesg->save(), 0);
    OrvCHMesg restored;
    restored.FileName = kFile;
    ASSERT_EQ(restored.restore(), 0);
    EXPECT_EQ(restored.bytesToSave(), mesg->bytesToSave());
    EXPECT_EQ(restored.bytesToSave(), mesg->bytesToSave());
}

TEST_F(OrvCHMesgSize, ofACopyCountsItsEnvelopesTwice) {
    const auto mesg = sampleLogEvent();
    const OrvCHMesg early(*mesg);
    const std::int32_t bytes = mesg->bytesToSave();
    const OrvCHMesg late(*mesg);

    EXPECT_EQ(OrvCHMesg(early).bytesToSave(), bytes + 2 * envelopePart(*sampleEnvelope()));
    EXPECT_EQ(OrvCHMesg(late).bytesToSave(), bytes + 2 * envelopePart(*sampleEnvelope()));
    OrvCHMesg once(*mesg);
    EXPECT_EQ(once.bytesToSave(), bytes + envelopePart(*sampleEnvelope()));
}

static void fillCapture(CronCaptureData& capture) {
    capture.Sequence = "12";
    capture.DayOfWeek = "Mon";
    capture.TimeOfDay = "05:30";
    capture.Interval = "2";
    capture.Shell = "/bin/clish";
    capture.Command = "show support callhome";
    capture.Attachments = {"a.gz", "missing.gz", "b.gz"};
}

static constexpr std::int32_t kCaptureTexts = 2 + 3 + 5 + 1 + 10 + 21;
static constexpr std::int32_t kCaptureNames = (4 + 1) + (10 + 1) + (4 + 1);

TEST_F(OrvCHMesgSize, ofACaptureCountsTheStagedFilesThatExist) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    fillCapture(*mesg.cronCapture());
    writeFile(std::string(kAttachments) + "a.gz.12", std::string(1000, 'x'));
    writeFile(std::string(kAttachments) + "b.gz.12", std::string(37, 'x'));
    writeFile(std::string(kAttachments) + "a.gz.13", std::string(9999, 'x'));
    mesg.addEnvelope(sampleEnvelope());

    const std::int32_t capturePart = 141 + kCaptureTexts + kCaptureNames + 1037;
    EXPECT_EQ(mesg.bytesToSave(), commonPart(mesg) + capturePart + envelopePart(*sampleEnvelope()));
    EXPECT_EQ(mesg.cronCapture()->AttachmentBytes, 1037);
    EXPECT_EQ(mesg.bytesToSave(), commonPart(mesg) + capturePart + envelopePart(*sampleEnvelope()));
}

TEST_F(OrvCHMesgSize, ofCaptureDataGrowsByItsFilesAtEveryEvaluation) {
    CronCaptureData capture;
    fillCapture(capture);
    writeFile(std::string(kAttachments) + "a.gz.12", std::string(1000, 'x'));

    const std::int32_t texts = 141 + kCaptureTexts + kCaptureNames;
    EXPECT_EQ(capture.bytesToSave(), texts + 1000);
    EXPECT_EQ(capture.bytesToSave(), texts + 2000);
    EXPECT_EQ(capture.AttachmentBytes, 2000);
}

TEST_F(OrvCHMesgSize, ofACopiedCaptureCountsItsFilesOnTopOfTheSources) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    fillCapture(*mesg.cronCapture());
    mesg.cronCapture()->Attachments = {"a.gz"};
    mesg.cronCapture()->AttachmentBytes = 500;
    writeFile(std::string(kAttachments) + "a.gz.12", std::string(1000, 'x'));

    OrvCHMesg copy(mesg);

    EXPECT_EQ(copy.bytesToSave(), commonPart(mesg) + 141 + kCaptureTexts + (4 + 1) + 500 + 1000);
}

// Holes take no room on the disk.
TEST_F(OrvCHMesgSize, saturatesInsteadOfTurningNegative) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    fillCapture(*mesg.cronCapture());
    mesg.cronCapture()->Attachments = {"a.gz"};
    writeFile(std::string(kAttachments) + "a.gz.12", "x");
    std::filesystem::resize_file(host(std::string(kAttachments) + "a.gz.12"), 3000000000u);

    EXPECT_EQ(mesg.bytesToSave(), 2147483647);
    mesg.addEnvelope(sampleEnvelope());
    EXPECT_EQ(mesg.bytesToSave(), 2147483647);
}
