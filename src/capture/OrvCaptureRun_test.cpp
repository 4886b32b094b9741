#include "capture/OrvCaptureRun.h"

#include "capture/OrvCaptureMesgs.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"
#include "platform/posix/HostRoot.h"
#include "testing/capture/ScriptedShell.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSupportCommand[] = "/ostrel/bin/clish -c\"show support callhome\" 2>&1 > /dev/null";
constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";

class CountedSequence final : public OrvSequenceSource {
public:
    std::uint32_t nextSequence() override {
        if (broken) {
            throw OrvFileError("Write Error");
        }
        return ++last;
    }
    std::uint32_t last = 40;
    bool broken = false;
};

std::vector<std::string> logNames() {
    std::vector<std::string> names{"logfile"};
    for (int i = 1; i <= 9; ++i) {
        names.push_back("logfile." + std::to_string(i));
    }
    names.push_back("messages");
    for (int i = 1; i <= 5; ++i) {
        names.push_back("messages." + std::to_string(i));
    }
    return names;
}

std::string skipped(const std::string& path) {
    return "OrvCHCapture execCapture: Skipping " + path + ": No such file or directory\n";
}

std::string compression(const std::string& path, const std::string& name) {
    return "/bin/gzip -c " + path + " > " + kAttachments + "/" + name + ".gz";
}

class OrvCaptureRunTest : public testing::Test {
protected:
    OrvCaptureRunTest() {
        EXPECT_EQ(capture_.item.setDayOfWeek("Fri"), 0);
        EXPECT_EQ(capture_.item.setTimeOfDay("7:05"), 0);
        EXPECT_EQ(capture_.item.setInterval("26"), 0);
        capture_.checkTime = 1700000000;
        switch_.takeTraces();
    }

    void writeLog(const std::string& name) { root_.write("/ostrel/conf/" + name, "log " + name); }

    int execute() {
        const int result = run_.execute(capture_, mesg_);
        traces_ = switch_.takeTraces();
        return result;
    }

    LocalZone zone_{"UTC0"};
    RecordingSwitch switch_;
    TempRoot& root_ = switch_.root();
    ScriptedShell shell_{root_.path()};
    CountedSequence sequences_;
    OrvStartedCapture capture_;
    OrvCaptureRun run_{sequences_, ScriptedShell::run};
    std::unique_ptr<OrvCHMesg> mesg_;
    std::vector<std::string> traces_;
};

TEST_F(OrvCaptureRunTest, fillsAMessageOfItsOwnKind) {
    shell_.support("output");

    EXPECT_EQ(execute(), 0);

    ASSERT_NE(mesg_, nullptr);
    EXPECT_EQ(mesg_->Type, OrvCHMesg::kCronCapture);
    EXPECT_EQ(mesg_->Time, "Tue, 14  Nov  2023  22:13:20  +0000");
    EXPECT_EQ(mesg_->ID, "8B00.FFFF");
    EXPECT_EQ(mesg_->Text,
              "Message include this text header and Base64 encoded MIME attachments of data captured on the switch");
    EXPECT_THAT(mesg_->Envelopes, IsEmpty());
    const CronCaptureData& data = *mesg_->cronCapture();
    EXPECT_EQ(data.Sequence, "41");
    EXPECT_EQ(data.DayOfWeek, "Fri");
    EXPECT_EQ(data.TimeOfDay, "07:05");
    EXPECT_EQ(data.Interval, "26");
    EXPECT_EQ(data.Shell, "clish");
    EXPECT_EQ(data.Command, "show support callhome");
}

TEST_F(OrvCaptureRunTest, attachesOnlyTheOutputWhenThereAreNoLogFiles) {
    shell_.support("output");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz"));
    EXPECT_THAT(shell_.commands(), ElementsAre(kSupportCommand, compression("/tmp/smlCapture.txt", "smlCapture.txt")));
    std::vector<std::string> expected;
    for (const std::string& name : logNames()) {
        expected.push_back(skipped("/ostrel/conf/" + name));
    }
    EXPECT_EQ(expected.size(), 16u);
    EXPECT_EQ(traces_, expected);
}

// "<output>" in Base64.
TEST_F(OrvCaptureRunTest, stagesTheCompressedFileAndRemovesItButLeavesTheOutputInPlace) {
    shell_.support("output");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(root_.list(kAttachments), ElementsAre("smlCapture.txt.gz.41"));
    EXPECT_THAT(root_.read(std::string(kAttachments) + "/smlCapture.txt.gz.41"), testing::StartsWith("PG91dHB1dD4="));
    EXPECT_EQ(root_.read("/tmp/smlCapture.txt"), "output");
}

TEST_F(OrvCaptureRunTest, attachesEveryLogFileInItsOrder) {
    shell_.support("output");
    std::vector<std::string> attachments{"smlCapture.txt.gz"};
    std::vector<std::string> commands{kSupportCommand, compression("/tmp/smlCapture.txt", "smlCapture.txt")};
    for (const std::string& name : logNames()) {
        writeLog(name);
        attachments.push_back(name + ".gz");
        commands.push_back(compression("/ostrel/conf/" + name, name));
    }
    writeLog("logfile.10");
    writeLog("messages.6");

    EXPECT_EQ(execute(), 0);

    EXPECT_EQ(mesg_->cronCapture()->Attachments, attachments);
    EXPECT_EQ(shell_.commands(), commands);
    EXPECT_EQ(root_.list(kAttachments).size(), attachments.size());
    EXPECT_EQ(root_.read("/ostrel/conf/messages.5"), "log messages.5");
    EXPECT_THAT(traces_, IsEmpty());
}

TEST_F(OrvCaptureRunTest, attachesLaterLogFilesWhenOneIsMissing) {
    shell_.support("output");
    for (const std::string& name : logNames()) {
        if (name != "messages.3") {
            writeLog(name);
        }
    }

    EXPECT_EQ(execute(), 0);

    const std::vector<std::string>& attachments = mesg_->cronCapture()->Attachments;
    EXPECT_EQ(attachments.size(), 16u);
    EXPECT_THAT(std::vector<std::string>(attachments.end() - 3, attachments.end()),
                ElementsAre("messages.2.gz", "messages.4.gz", "messages.5.gz"));
    EXPECT_THAT(traces_, ElementsAre(skipped("/ostrel/conf/messages.3")));
}

TEST_F(OrvCaptureRunTest, tellsWhyAFileIsSkipped) {
    std::filesystem::create_symlink("logfile", root_.at("/ostrel/conf/logfile"));
    std::filesystem::create_directory(root_.at("/ostrel/conf/logfile.1"));
    ASSERT_EQ(mkfifo(root_.at("/ostrel/conf/logfile.2").c_str(), 0600), 0);
    writeLog("logfile.3");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("logfile.3.gz"));
    ASSERT_GE(traces_.size(), 4u);
    EXPECT_EQ(traces_[1],
              "OrvCHCapture execCapture: Skipping /ostrel/conf/logfile: Too many levels of symbolic links\n");
    EXPECT_EQ(traces_[2], "OrvCHCapture execCapture: Skipping /ostrel/conf/logfile.1: Is a directory\n");
    EXPECT_EQ(traces_[3], "OrvCHCapture execCapture: Skipping /ostrel/conf/logfile.2: Invalid argument\n");
}

TEST_F(OrvCaptureRunTest, goesOnWithoutOutput) {
    writeLog("messages");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("messages.gz"));
    EXPECT_EQ(traces_.size(), 16u);
    EXPECT_EQ(traces_[0], skipped("/tmp/smlCapture.txt"));
}

// Kept: what an earlier capture left is mailed again when the command left nothing.
TEST_F(OrvCaptureRunTest, mailsTheOutputOfAnEarlierCaptureAgain) {
    root_.write("/tmp/smlCapture.txt", "earlier");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz"));
}

TEST_F(OrvCaptureRunTest, failsWithoutAMessageWhenTheSupportCommandFindsNoShell) {
    shell_.refuse(1, EAGAIN);

    const int result = run_.execute(capture_, mesg_);
    const int error = errno;

    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EAGAIN);
    EXPECT_EQ(mesg_, nullptr);
    EXPECT_EQ(sequences_.last, 40u);
    EXPECT_THAT(switch_.takeTraces(),
                ElementsAre("OrvCHCapture execCapture: system(): Resource temporarily unavailable\n"));
}

// Kept: see the thread, which ends by it.
TEST_F(OrvCaptureRunTest, throwsAnIntegerWhenTheOutputFindsNoShell) {
    shell_.support("output");
    shell_.refuse(2, ENOMEM);

    EXPECT_THROW(run_.execute(capture_, mesg_), int);

    EXPECT_EQ(mesg_, nullptr);
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
    EXPECT_THAT(switch_.takeTraces(),
                ElementsAre("OrvCHCapture execCapture: system(" + compression("/tmp/smlCapture.txt", "smlCapture.txt") +
                            "): Cannot allocate memory\n"));
}

TEST_F(OrvCaptureRunTest, onlyTracesALogFileThatFindsNoShell) {
    shell_.support("output");
    writeLog("logfile");
    writeLog("logfile.1");
    shell_.refuse(3, ENOMEM);

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz", "logfile.1.gz"));
    ASSERT_FALSE(traces_.empty());
    EXPECT_EQ(traces_[0], "OrvCHCapture execCapture: system(" + compression("/ostrel/conf/logfile", "logfile") +
                              "): Cannot allocate memory\n");
}

// Else a report cut short would be mailed after the next start.
TEST_F(OrvCaptureRunTest, isGivenUpWithItsFilesWhenTheDaemonStopsMeanwhile) {
    shell_.support("output");
    writeLog("logfile");
    writeLog("messages");
    shell_.refuse(3, ECANCELED);

    EXPECT_THROW(run_.execute(capture_, mesg_), int);

    EXPECT_EQ(mesg_, nullptr);
    EXPECT_EQ(shell_.commands().size(), 3u);
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
}

TEST_F(OrvCaptureRunTest, leavesOutWhatCannotBeAttachedAndTriesToRemoveItAllTheSame) {
    writeLog("logfile");
    writeLog("messages");
    // In the way of the compressed log file.
    const std::string target = std::string(kAttachments) + "/logfile.gz";
    root_.write(target + "/inside", "x");

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("messages.gz"));
    EXPECT_THAT(traces_, testing::Contains("OrvCHCapture execCapture: remove(" + target + "): Directory not empty\n"));
}

TEST_F(OrvCaptureRunTest, tracesACompressedFileThatIsNotThereToBeRemoved) {
    writeLog("logfile");
    std::filesystem::remove_all(root_.at(kAttachments));

    EXPECT_EQ(execute(), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, IsEmpty());
    EXPECT_THAT(traces_, testing::Contains("OrvCHCapture execCapture: remove(" + std::string(kAttachments) +
                                           "/logfile.gz): No such file or directory\n"));
}

TEST_F(OrvCaptureRunTest, makesNoMessageWithoutASequenceNumber) {
    sequences_.broken = true;

    EXPECT_THROW(run_.execute(capture_, mesg_), OrvFileError);

    EXPECT_EQ(mesg_, nullptr);
}

TEST_F(OrvCaptureRunTest, runsTheSwitchsOwnCommandLineOnASwitch) {
    setHostRoot("");
    ScriptedShell shell("");
    shell.refuse(1, EAGAIN);

    EXPECT_EQ(run_.execute(capture_, mesg_), -1);

    setHostRoot(root_.path());
    EXPECT_THAT(shell.commands(), ElementsAre(kSupportCommand));
}

TEST_F(OrvCaptureRunTest, quotesAHostsRootThatTheShellWouldMisread) {
    const std::string odd = root_.at("/it's a root");
    std::filesystem::create_directories(odd + "/ostrel/conf");
    setHostRoot(odd);
    root_.write("/it's a root/ostrel/conf/logfile", "log");

    EXPECT_EQ(execute(), 0);

    setHostRoot(root_.path());
    EXPECT_THAT(shell_.commands(),
                ElementsAre("'/it'\\''s a root/ostrel/bin/clish' -c\"show support callhome\" 2>&1 > /dev/null",
                            "/bin/gzip -c '/it'\\''s a root/ostrel/conf/logfile' > '/it'\\''s a "
                            "root/ostrel/conf/orv/callHome/attachments/logfile.gz'"));
}

// The real shell, a real compressor, and a support command that is a script.
TEST_F(OrvCaptureRunTest, sendsWhatTheRealProgramsCanReadBack) {
    const std::string script = "/ostrel/bin/clish";
    root_.write(script, "#!/bin/sh\necho \"$1|$2|$#\" > " + root_.at("/tmp/smlCapture.txt") + "\nexit 7\n");
    std::filesystem::permissions(root_.at(script), std::filesystem::perms::owner_all);
    OrvCaptureRun run(sequences_, orvRunShell);

    ASSERT_EQ(run.execute(capture_, mesg_), 0);

    ASSERT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("smlCapture.txt.gz"));
    const std::string staged = root_.at(mesg_->cronCapture()->stagedPath("smlCapture.txt.gz"));
    const std::string readBack = root_.at("/tmp/readBack");
    ASSERT_EQ(std::system(("base64 -di " + staged + " | gzip -dc > " + readBack).c_str()), 0);
    EXPECT_EQ(root_.read("/tmp/readBack"), "-cshow support callhome||1\n");
}

}  // namespace
