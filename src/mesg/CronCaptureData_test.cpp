#include "mesg/CronCaptureData.h"

#include "mesg/OrvSequenceSource.h"
#include "testing/mesg/MesgTest.h"

#include <sys/stat.h>

#include <filesystem>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CronCaptureDataTest : public MesgTest {
protected:
    std::unique_ptr<CronCaptureData> captureWith(const std::vector<std::string>& names) {
        auto capture = std::make_unique<CronCaptureData>();
        capture->Sequence = "7";
        capture->DayOfWeek = "Mon";
        capture->TimeOfDay = "05:30";
        capture->Interval = "2";
        capture->Shell = "/bin/clish";
        capture->Command = "show support callhome";
        for (const std::string& name : names) {
            writeFile("/tmp/" + name, name);
            EXPECT_EQ(capture->insertAttachment("/tmp/" + name), 0);
        }
        return capture;
    }

    ino_t inode(const std::string& staged) const {
        struct stat status {};
        EXPECT_EQ(stat(host(kAttachments + staged).c_str(), &status), 0) << staged;
        return status.st_ino;
    }
};

}  // namespace

TEST_F(CronCaptureDataTest, startsEmptyWithEverythingMissing) {
    const CronCaptureData capture;
    EXPECT_EQ(capture.Sequence, "");
    EXPECT_THAT(capture.Attachments, IsEmpty());
    EXPECT_EQ(capture.AttachmentBytes, 0);
    EXPECT_EQ(capture.MissingAttributes, 127);
    EXPECT_EQ(capture.RestoreStatus, 0);
}

TEST_F(CronCaptureDataTest, makesItsBoundaryFromTheTime) {
    clock_.setCalendar(0x6556a1b0);
    EXPECT_EQ(CronCaptureData().Boundary, "6556a1b0-CallHome-CronCapture-6556a1b0");
    clock_.setCalendar(0x100000000);
    EXPECT_EQ(CronCaptureData().Boundary, "100000000-CallHome-CronCapture-100000000");
}

TEST_F(CronCaptureDataTest, stagesAFileAsBase64UnderItsNameAndSequence) {
    const auto capture = captureWith({});
    writeFile("/tmp/smlCapture.txt.gz", std::string(55, 'M'));

    EXPECT_EQ(capture->insertAttachment("/tmp/smlCapture.txt.gz"), 0);

    EXPECT_THAT(capture->Attachments, ElementsAre("smlCapture.txt.gz"));
    EXPECT_THAT(stagedFiles(), ElementsAre("smlCapture.txt.gz.7"));
    std::string line;
    for (int i = 0; i < 18; ++i) {
        line += "TU1N";
    }
    EXPECT_EQ(readFile(std::string(kAttachments) + "smlCapture.txt.gz.7"), line + "\r\nTQ==\r\n");
    EXPECT_TRUE(exists("/tmp/smlCapture.txt.gz"));
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(CronCaptureDataTest, takesAPathWithoutSlashForTheName) {
    const auto capture = captureWith({});
    writeFile("plain.gz", "x");  // the root's path and the name run together: the switch's paths start with a slash

    EXPECT_EQ(capture->insertAttachment("plain.gz"), 0);

    EXPECT_THAT(capture->Attachments, ElementsAre("plain.gz"));
    EXPECT_THAT(stagedFiles(), ElementsAre("plain.gz.7"));
    std::filesystem::remove(host("plain.gz"));
}

TEST_F(CronCaptureDataTest, tracesAnInputThatCannotBeOpenedAndTheOutputThatIsNotThere) {
    const auto capture = captureWith({});

    EXPECT_EQ(capture->insertAttachment("/tmp/gone.gz"), -1);

    EXPECT_THAT(capture->Attachments, IsEmpty());
    EXPECT_THAT(traces(), ElementsAre("b64(/tmp/gone.gz, /ostrel/conf/orv/callHome/attachments/gone.gz.7): "
                                      "fopen(/tmp/gone.gz): No such file or directory",
                                      "Removing output file /ostrel/conf/orv/callHome/attachments/gone.gz.7",
                                      "Failed to remove output file /ostrel/conf/orv/callHome/attachments/gone.gz.7: "
                                      "No such file or directory"));
}

TEST_F(CronCaptureDataTest, removesThePartialOutputOfAnInputThatCannotBeRead) {
    const auto capture = captureWith({});
    std::filesystem::create_directory(host("/tmp/folder"));

    EXPECT_EQ(capture->insertAttachment("/tmp/folder"), -1);

    EXPECT_THAT(capture->Attachments, IsEmpty());
    EXPECT_THAT(stagedFiles(), IsEmpty());
    EXPECT_THAT(traceLines(), ElementsAre("CronCaptureData insertAttachment: b64(/tmp/folder, "
                                          "/ostrel/conf/orv/callHome/attachments/folder.7): "
                                          "b64:003:File I/O Error -- Note: output file not removed.",
                                          "CronCaptureData insertAttachment: Removing output file "
                                          "/ostrel/conf/orv/callHome/attachments/folder.7"));
}

TEST_F(CronCaptureDataTest, unlinksItsStagedFilesWhenDestroyed) {
    auto capture = captureWith({"a.gz", "b.gz"});
    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.7", "b.gz.7"));
    capture.reset();
    EXPECT_THAT(stagedFiles(), IsEmpty());
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(CronCaptureDataTest, tracesEveryStagedFileThatCannotBeUnlinkedAndUnlinksTheOthers) {
    auto capture = captureWith({"a.gz", "b.gz", "c.gz"});
    std::filesystem::remove(host(std::string(kAttachments) + "a.gz.7"));
    std::filesystem::remove(host(std::string(kAttachments) + "c.gz.7"));

    capture.reset();

    EXPECT_THAT(stagedFiles(), IsEmpty());
    EXPECT_THAT(traceLines(), ElementsAre("CronCaptureData eraseAttachments: unlink(/ostrel/conf/orv/callHome/"
                                          "attachments/a.gz.7): No such file or directory",
                                          "CronCaptureData eraseAttachments: unlink(/ostrel/conf/orv/callHome/"
                                          "attachments/c.gz.7): No such file or directory"));
}

TEST_F(CronCaptureDataTest, keepsItsListWhenAllFilesAreErased) {
    const auto capture = captureWith({"a.gz", "b.gz"});
    EXPECT_EQ(capture->nextAttachmentFile(), "a.gz.7");

    capture->eraseAttachments();

    EXPECT_THAT(stagedFiles(), IsEmpty());
    EXPECT_THAT(capture->Attachments, ElementsAre("a.gz", "b.gz"));
    EXPECT_EQ(capture->nextAttachmentFile(), "b.gz.7");
    EXPECT_THAT(traces(), IsEmpty());
    capture->Attachments.clear();
}

TEST_F(CronCaptureDataTest, erasesTheFirstAttachmentOfAName) {
    const auto capture = captureWith({"a.gz", "b.gz", "a.gz"});

    EXPECT_EQ(capture->eraseAttachment("a.gz"), 0);

    EXPECT_THAT(capture->Attachments, ElementsAre("b.gz", "a.gz"));
    EXPECT_THAT(stagedFiles(), ElementsAre("b.gz.7"));
    capture->Attachments = {"b.gz"};
}

TEST_F(CronCaptureDataTest, erasingAnUnknownNameDoesNothing) {
    const auto capture = captureWith({"a.gz"});
    EXPECT_EQ(capture->nextAttachmentFile(), "a.gz.7");

    EXPECT_EQ(capture->eraseAttachment("other.gz"), 0);

    EXPECT_THAT(capture->Attachments, ElementsAre("a.gz"));
    EXPECT_EQ(capture->AttachmentCursor, 0);
    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.7"));
}

TEST_F(CronCaptureDataTest, dropsTheNameEvenWhenTheFileCannotBeUnlinked) {
    const auto capture = captureWith({"a.gz", "b.gz"});
    std::filesystem::remove(host(std::string(kAttachments) + "a.gz.7"));

    EXPECT_EQ(capture->eraseAttachment("a.gz"), -1);

    EXPECT_THAT(capture->Attachments, ElementsAre("b.gz"));
    EXPECT_THAT(traces(),
                ElementsAre("unlink(/ostrel/conf/orv/callHome/attachments/a.gz.7): No such file or directory"));
}

TEST_F(CronCaptureDataTest, goesOnWithTheSecondAttachmentAfterAnErasure) {
    const auto capture = captureWith({"a.gz", "b.gz", "c.gz"});
    EXPECT_EQ(capture->nextAttachmentFile(), "a.gz.7");
    EXPECT_EQ(capture->nextAttachmentFile(), "b.gz.7");

    EXPECT_EQ(capture->eraseAttachment("b.gz"), 0);

    EXPECT_EQ(capture->nextAttachmentFile(), "c.gz.7");
    EXPECT_EQ(capture->nextAttachmentFile(), "");
}

TEST_F(CronCaptureDataTest, startsTheCursorOverEvenWhenTheFileCannotBeUnlinked) {
    const auto capture = captureWith({"a.gz", "b.gz", "c.gz"});
    capture->AttachmentCursor = 2;
    std::filesystem::remove(host(std::string(kAttachments) + "c.gz.7"));

    EXPECT_EQ(capture->eraseAttachment("c.gz"), -1);

    EXPECT_EQ(capture->AttachmentCursor, 0);
    EXPECT_EQ(capture->nextAttachmentFile(), "b.gz.7");
}

TEST_F(CronCaptureDataTest, hasNoNextAttachmentAfterErasingTheLast) {
    const auto capture = captureWith({"a.gz"});
    EXPECT_EQ(capture->nextAttachmentFile(), "a.gz.7");

    EXPECT_EQ(capture->eraseAttachment("a.gz"), 0);

    EXPECT_EQ(capture->nextAttachmentFile(), "");
    EXPECT_EQ(capture->nextAttachmentFile(), "");
}

TEST_F(CronCaptureDataTest, erasesANameThatIsTheListsOwn) {
    const auto capture = captureWith({"a.gz", "b.gz"});
    EXPECT_EQ(capture->eraseAttachment(capture->Attachments[0]), 0);
    EXPECT_THAT(stagedFiles(), ElementsAre("b.gz.7"));
}

TEST_F(CronCaptureDataTest, copiesEveryFieldUnderANewSequence) {
    const auto source = captureWith({"a.gz", "b.gz"});
    source->Boundary = "boundary";
    source->AttachmentCursor = 1;
    source->AttachmentBytes = 55;
    source->MissingAttributes = 5;
    source->RestoreStatus = -1;

    const CronCaptureData copy(*source);

    EXPECT_EQ(copy.Sequence, "42");
    EXPECT_EQ(copy.DayOfWeek, "Mon");
    EXPECT_EQ(copy.TimeOfDay, "05:30");
    EXPECT_EQ(copy.Interval, "2");
    EXPECT_EQ(copy.Shell, "/bin/clish");
    EXPECT_EQ(copy.Command, "show support callhome");
    EXPECT_EQ(copy.Boundary, "boundary");
    EXPECT_THAT(copy.Attachments, ElementsAre("a.gz", "b.gz"));
    EXPECT_EQ(copy.AttachmentCursor, 1);
    EXPECT_EQ(copy.AttachmentBytes, 55);
    EXPECT_EQ(copy.MissingAttributes, 5);
    EXPECT_EQ(copy.RestoreStatus, -1);
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(CronCaptureDataTest, copiesHaveHardLinksOfTheirOwn) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    mesg.cronCapture()->Sequence = "7";
    writeFile("/tmp/a.gz", "a");
    writeFile("/tmp/b.gz", "b");
    ASSERT_EQ(mesg.cronCapture()->insertAttachment("/tmp/a.gz"), 0);
    ASSERT_EQ(mesg.cronCapture()->insertAttachment("/tmp/b.gz"), 0);

    auto first = std::make_unique<OrvCHMesg>(mesg);
    OrvCHMesg second;
    second = mesg;

    EXPECT_EQ(first->cronCapture()->Sequence, "42");
    EXPECT_EQ(second.cronCapture()->Sequence, "43");
    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.42", "a.gz.43", "a.gz.7", "b.gz.42", "b.gz.43", "b.gz.7"));
    EXPECT_EQ(inode("a.gz.42"), inode("a.gz.7"));
    EXPECT_EQ(inode("b.gz.43"), inode("b.gz.7"));
    first.reset();
    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.43", "a.gz.7", "b.gz.43", "b.gz.7"));
}

TEST_F(CronCaptureDataTest, tracesEachLinkThatFailsAndGoesOn) {
    const auto source = captureWith({"a.gz", "b.gz", "c.gz"});
    std::filesystem::remove(host(std::string(kAttachments) + "a.gz.7"));
    writeFile(std::string(kAttachments) + "b.gz.42", "in the way");

    {
        const CronCaptureData copy(*source);

        EXPECT_THAT(stagedFiles(), ElementsAre("b.gz.42", "b.gz.7", "c.gz.42", "c.gz.7"));
        EXPECT_THAT(traceLines(),
                    ElementsAre("CronCaptureData copyAttachments: link(/ostrel/conf/orv/callHome/attachments/a.gz.7, "
                                "/ostrel/conf/orv/callHome/attachments/a.gz.42): No such file or directory",
                                "CronCaptureData copyAttachments: link(/ostrel/conf/orv/callHome/attachments/b.gz.7, "
                                "/ostrel/conf/orv/callHome/attachments/b.gz.42): File exists"));
        EXPECT_THAT(copy.Attachments, ElementsAre("a.gz", "b.gz", "c.gz"));
    }
    source->Attachments = {"b.gz", "c.gz"};
}

TEST_F(CronCaptureDataTest, tellsWhetherEveryLinkWasMade) {
    const auto capture = captureWith({"a.gz"});
    std::filesystem::rename(host(std::string(kAttachments) + "a.gz.7"), host(std::string(kAttachments) + "a.gz.6"));
    EXPECT_EQ(capture->copyAttachments("5"), -1);
    EXPECT_EQ(capture->copyAttachments("6"), 0);
    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.6", "a.gz.7"));
}

TEST_F(CronCaptureDataTest, aCopyWithoutASequenceFailsWithNothingStaged) {
    const auto source = captureWith({"a.gz"});
    NoSequences noSequences;
    CronCaptureData::useSequences(&noSequences);

    EXPECT_THROW({ CronCaptureData copy(*source); }, OrvFileError);

    EXPECT_THAT(stagedFiles(), ElementsAre("a.gz.7"));
    EXPECT_THAT(traces(), IsEmpty());
}

// Its directory is a link to one that has files of these names.
TEST_F(CronCaptureDataTest, neitherStagesNorLinksNorRemovesBehindALink) {
    const std::string directory = host(kAttachments).substr(0, host(kAttachments).size() - 1);
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(host("/elsewhere"));
    writeFile("/elsewhere/report.7", "precious");
    std::filesystem::create_directory_symlink(host("/elsewhere"), directory);
    writeFile("/tmp/report", "output");
    {
        const auto capture = captureWith({});
        EXPECT_EQ(capture->insertAttachment("/tmp/report"), -1);
        capture->Attachments = {"report"};
        EXPECT_EQ(capture->bytesToSave(), captureWith({})->bytesToSave() + 7) << "nothing but its name";
        CronCaptureData other;
        other.Sequence = "8";
        other.Attachments = {"report"};
        EXPECT_EQ(other.copyAttachments("7"), -1);
    }
    EXPECT_EQ(readFile("/elsewhere/report.7"), "precious");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(host("/elsewhere")), {}), 1);
}

TEST_F(CronCaptureDataTest, linksToNoLinkInPlaceOfAStagedFile) {
    const auto capture = captureWith({"report"});
    writeFile("/tmp/precious", "precious");
    std::filesystem::remove(host(kAttachments + std::string("report.7")));
    std::filesystem::create_symlink(host("/tmp/precious"), host(kAttachments + std::string("report.7")));
    CronCaptureData other;
    other.Sequence = "8";
    other.Attachments = {"report"};

    EXPECT_EQ(other.copyAttachments("7"), -1);

    EXPECT_THAT(stagedFiles(), ElementsAre("report.7"));
    EXPECT_EQ(std::filesystem::hard_link_count(host("/tmp/precious")), 1u);
}

TEST_F(CronCaptureDataTest, writesSequencesInDecimal) {
    CountingSequences high(4294967294u);
    CronCaptureData::useSequences(&high);
    EXPECT_EQ(CronCaptureData(*captureWith({})).Sequence, "4294967295");
}
