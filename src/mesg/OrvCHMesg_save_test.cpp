#include "testing/mesg/MesgTest.h"

#include <sys/stat.h>

#include <filesystem>

using testing::ElementsAre;
using testing::IsEmpty;

using OrvCHMesgSave = MesgTest;

TEST_F(OrvCHMesgSave, writesALogEventElementByElement) {
    const auto mesg = sampleLogEvent();
    EXPECT_EQ(mesg->save(), 0);
    EXPECT_EQ(readFile(kFile), kSampleFile);
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(OrvCHMesgSave, leavesOutWhatIsEmptyOfALogEventButForTheLevel) {
    OrvCHMesg mesg(OrvCHMesg::kLogEvent);
    mesg.FileName = kFile;
    mesg.ID = "0000.0001";
    mesg.logEvent()->Level = 9;

    EXPECT_EQ(mesg.save(), 0);

    EXPECT_EQ(readFile(kFile),
              "<OrvCHMesg>\n"
              "<DupCnt>\n0\n</->\n"
              "<DupTime>\n\n</->\n"
              "<Time>\n\n</->\n"
              "<ID>\n0000.0001\n</->\n"
              "<Level>\nNone\n</->\n"
              "<Text>\n\n</->\n"
              "<EnvelopeList>\n"
              "</EnvelopeList>\n"
              "</OrvCHMesg>\n");
}

// A capture with two attachments that are not there, and two envelopes.
static void fillCapture(OrvCHMesg& mesg) {
    mesg.FileName = kFile;
    mesg.DuplicateCount = -3;
    mesg.Time = "Tue, 14  Nov  2023  22:13:20  +0000";
    mesg.ID = "8B00.FFFF";
    mesg.Text = "Scheduled capture";
    CronCaptureData& capture = *mesg.cronCapture();
    capture.Sequence = "12";
    capture.DayOfWeek = "Mon";
    capture.TimeOfDay = "05:30";
    capture.Interval = "";
    capture.Shell = "/bin/clish";
    capture.Command = "show support callhome";
    capture.Attachments = {"smlCapture.txt.gz", "logfile.gz"};
    mesg.addEnvelope(sampleEnvelope());
    mesg.addEnvelope(std::make_unique<OrvCHEnvelope>());
    mesg.Envelopes[1]->MaxSize = 4000000000u;
}

static const char kCaptureFile[] =
    "<OrvCHMesg>\n"
    "<DupCnt>\n-3\n</->\n"
    "<DupTime>\n\n</->\n"
    "<Time>\nTue, 14  Nov  2023  22:13:20  +0000\n</->\n"
    "<ID>\n8B00.FFFF\n</->\n"
    "<CronSeq>\n12\n</->\n"
    "<CronDay>\nMon\n</->\n"
    "<CronTime>\n05:30\n</->\n"
    "<CronInterval>\n\n</->\n"
    "<CronShell>\n/bin/clish\n</->\n"
    "<CronCommand>\nshow support callhome\n</->\n"
    "<CronAttchList>\nsmlCapture.txt.gz\nlogfile.gz\n</CronAttchList>\n"
    "<Text>\nScheduled capture\n</->\n"
    "<EnvelopeList>\n"
    "<OrvCHEnvelope>\n"
    "<MaxSize>\n650\n</->\n"
    "<Type>\nFullText\n</->\n"
    "<Profile>\nNight shift\n</->\n"
    "<Subj>\nSwitch 12\n</->\n"
    "<RcptList>\n!ann@example.com\nbob@example.com\n</RcptList>\n"
    "</OrvCHEnvelope>\n"
    "<OrvCHEnvelope>\n"
    "<MaxSize>\n4000000000\n</->\n"
    "<Type>\n\n</->\n"
    "<Profile>\n\n</->\n"
    "<Subj>\n\n</->\n"
    "<RcptList>\n</RcptList>\n"
    "</OrvCHEnvelope>\n"
    "</EnvelopeList>\n"
    "</OrvCHMesg>\n";

TEST_F(OrvCHMesgSave, writesACaptureWhole) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    fillCapture(mesg);

    EXPECT_EQ(mesg.save(), 0);

    EXPECT_EQ(readFile(kFile), kCaptureFile);
    mesg.cronCapture()->Attachments.clear();
}

TEST_F(OrvCHMesgSave, writesNoTypePartWithoutTypeData) {
    OrvCHMesg mesg;
    mesg.FileName = kFile;
    mesg.Text = "nothing";
    EXPECT_EQ(mesg.save(), 0);
    EXPECT_EQ(readFile(kFile),
              "<OrvCHMesg>\n<DupCnt>\n0\n</->\n<DupTime>\n\n</->\n<Time>\n\n</->\n<ID>\n\n</->\n"
              "<Text>\nnothing\n</->\n<EnvelopeList>\n</EnvelopeList>\n</OrvCHMesg>\n");
}

TEST_F(OrvCHMesgSave, overwritesAnExistingFileInPlace) {
    const auto inode = [this] {
        struct stat status {};
        EXPECT_EQ(stat(host(kFile).c_str(), &status), 0);
        return status.st_ino;
    };
    for (const unsigned size : {10000u, 10u, 0u}) {
        writeFile(kFile, std::string(size, 'x'));
        const ino_t before = inode();

        EXPECT_EQ(sampleLogEvent()->save(), 0);

        EXPECT_EQ(inode(), before);
        EXPECT_EQ(readFile(kFile), kSampleFile);
    }
}

TEST_F(OrvCHMesgSave, refusesAFileWithAnotherName) {
    writeFile("/tmp/foreign", "somebody else's");
    std::filesystem::create_hard_link(host("/tmp/foreign"), host(kFile));

    EXPECT_EQ(sampleLogEvent()->save(), -1);

    EXPECT_EQ(readFile("/tmp/foreign"), "somebody else's");
    EXPECT_THAT(traces(), ElementsAre("fstream open exception, flag bits=(failbit ), errno=(Too many links), "
                                      "what=(basic_ios::clear: iostream error"));
}

TEST_F(OrvCHMesgSave, writesThroughNoLink) {
    writeFile("/tmp/foreign", "somebody else's");
    for (const char* target : {"/tmp/foreign", "/tmp/dangling"}) {
        std::filesystem::create_symlink(host(target), host(kFile));

        EXPECT_EQ(sampleLogEvent()->save(), -1);

        std::filesystem::remove(host(kFile));
    }
    EXPECT_EQ(readFile("/tmp/foreign"), "somebody else's");
    EXPECT_FALSE(exists("/tmp/dangling"));
    EXPECT_THAT(traces(), testing::Each("fstream open exception, flag bits=(failbit ), errno=(Too many levels of "
                                        "symbolic links), what=(basic_ios::clear: iostream error"));
}

TEST_F(OrvCHMesgSave, writesAMessageOfAnySize) {
    const auto mesg = sampleLogEvent();
    mesg->Text = std::string(1000000, 't');
    EXPECT_EQ(mesg->save(), 0);
    std::string expected = kSampleFile;
    expected.replace(expected.find("100% of port 5 lost"), 19, mesg->Text);
    EXPECT_EQ(readFile(kFile), expected);
}

TEST_F(OrvCHMesgSave, tracesAFileThatCannotBeOpened) {
    const auto mesg = sampleLogEvent();
    mesg->FileName = "/ostrel/gone/m7";
    EXPECT_EQ(mesg->save(), -1);
    mesg->FileName = "/tmp";
    EXPECT_EQ(mesg->save(), -1);
    EXPECT_THAT(traceLines(),
                ElementsAre("OrvCHMesg save: fstream open exception, flag bits=(failbit ), errno=(No such file or "
                            "directory), what=(basic_ios::clear: iostream error",
                            "OrvCHMesg save: fstream open exception, flag bits=(failbit ), errno=(Is a directory), "
                            "what=(basic_ios::clear: iostream error"));
}

TEST_F(OrvCHMesgSave, doesNotWaitForTheReaderOfAPipeInTheFilesPlace) {
    ASSERT_EQ(mkfifo(host(kFile).c_str(), 0600), 0);
    EXPECT_EQ(sampleLogEvent()->save(), -1);
    EXPECT_THAT(traceLines(),
                ElementsAre("OrvCHMesg save: fstream open exception, flag bits=(failbit ), errno=(No such device or "
                            "address), what=(basic_ios::clear: iostream error"));
}
