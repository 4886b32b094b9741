// Captures by the real shell and the real compressor, of programs and files that are not as they should be.
#include "Descriptor.h"
#include "capture/OrvCaptureMesgs.h"
#include "capture/OrvCaptureRun.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"
#include "platform/posix/HostRoot.h"
#include "testing/SmallFlash.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Names = std::vector<std::string>;

constexpr char kClish[] = "/ostrel/bin/clish";
constexpr char kOutput[] = "/tmp/smlCapture.txt";
constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";

class CountedSequence final : public OrvSequenceSource {
public:
    std::uint32_t nextSequence() override { return ++last_; }

private:
    std::uint32_t last_ = 0;
};

int runWith(const char* command, const std::string& compressor) {
    std::string changed = command;
    const std::string usual = "/bin/gzip ";
    if (changed.starts_with(usual)) {
        changed.replace(0, usual.size(), compressor + " ");
    }
    return orvRunShell(changed.c_str());
}

int withoutCompressor(const char* command) {
    return runWith(command, "/bin/no-such-gzip");
}

// A compressor that dies after 20 bytes.
int byACompressorThatIsKilled(const char* command) {
    return runWith(command, "sh -c 'gzip -c \"$2\" | head -c 20; kill -9 $$' gzip");
}

// A compressor that has no right to read everything.
int asNobody(const char* command) {
    const bool isRoot = geteuid() == 0;
    return runWith(command, isRoot ? "setpriv --reuid 65534 --regid 65534 --clear-groups /bin/gzip" : "/bin/gzip");
}

class OrvCaptureRunOdd : public testing::Test {
protected:
    ~OrvCaptureRunOdd() override { setHostRoot(root_.path()); }

    // The support command is this shell script; $root is the switch's root.
    void support(const std::string& script) {
        root_.write(kClish, "#!/bin/sh\nroot='" + root_.path() + "'\n" + script + "\n");
        std::filesystem::permissions(root_.at(kClish), std::filesystem::perms::owner_all);
    }
    void writeLog(const std::string& name, const std::string& content) { root_.write("/ostrel/conf/" + name, content); }

    // A capture; what was attached.
    Names execute(OrvShell shell = orvRunShell) {
        OrvCaptureRun run(sequences_, shell);
        switch_.takeTraces();
        EXPECT_EQ(run.execute(capture_, mesg_), 0);
        traces_ = switch_.takeTraces();
        return mesg_ ? mesg_->cronCapture()->Attachments : Names{"no message"};
    }
    // What the programs of every Unix make of a staged attachment.
    std::string unpacked(const std::string& name) {
        const std::string staged = root_.at(mesg_->cronCapture()->stagedPath(name));
        const std::string command = "base64 -di '" + staged + "' | gzip -dc > '" + root_.at("/tmp/unpacked") + "'";
        EXPECT_EQ(std::system(("set -e; " + command).c_str()), 0);
        return root_.read("/tmp/unpacked");
    }
    // Nothing but the staged files of these attachments stands in the attachments directory.
    void expectStaged(const Names& names) {
        Names staged;
        for (const std::string& name : names) {
            staged.push_back(name + "." + mesg_->cronCapture()->Sequence);
        }
        EXPECT_EQ(root_.list(kAttachments), staged);
    }

    RecordingSwitch switch_;
    TempRoot& root_ = switch_.root();
    CountedSequence sequences_;
    OrvStartedCapture capture_;
    std::unique_ptr<OrvCHMesg> mesg_;
    std::vector<std::string> traces_;
};

constexpr char kNoOutput[] = "OrvCHCapture execCapture: Skipping /tmp/smlCapture.txt: No such file or directory\n";

TEST_F(OrvCaptureRunOdd, attachesTheLogsOfACommandThatLeavesNothing) {
    support("exit 0");
    writeLog("logfile", "log");

    EXPECT_THAT(execute(), ElementsAre("logfile.gz"));

    EXPECT_EQ(traces_[0], kNoOutput);
    EXPECT_EQ(unpacked("logfile.gz"), "log");
    expectStaged({"logfile.gz"});
}

TEST_F(OrvCaptureRunOdd, attachesTheLogsWhenTheCommandDoesNotExist) {
    writeLog("messages", "log");

    EXPECT_THAT(execute(), ElementsAre("messages.gz"));

    EXPECT_EQ(traces_[0], kNoOutput);
}

TEST_F(OrvCaptureRunOdd, attachesTheLogsWhenTheCommandCannotBeExecuted) {
    root_.write(kClish, "#!/bin/sh\necho x > " + root_.at(kOutput) + "\n");
    writeLog("messages", "log");

    EXPECT_THAT(execute(), ElementsAre("messages.gz"));

    EXPECT_EQ(traces_[0], kNoOutput);
}

TEST_F(OrvCaptureRunOdd, attachesWhatACommandThatDiesHasWritten) {
    support(
        "echo 'the first half' > \"$root/tmp/smlCapture.txt\"\nkill -9 $$\necho 'the second' >> "
        "\"$root/tmp/smlCapture.txt\"");

    EXPECT_THAT(execute(), ElementsAre("smlCapture.txt.gz"));

    EXPECT_EQ(unpacked("smlCapture.txt.gz"), "the first half\n");
}

// What it prints goes nowhere; only the file that it leaves is mailed.
TEST_F(OrvCaptureRunOdd, keepsNothingOfTwoHundredMegabytesThatACommandPrints) {
    support("head -c 200000000 /dev/zero");

    EXPECT_THAT(execute(), IsEmpty());

    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.path())) {
        bytes += entry.is_regular_file() ? entry.file_size() : 0;
    }
    EXPECT_LT(bytes, 100000u);
    expectStaged({});
}

// The output takes what the command writes. Beside it stand one compressed file and the staged ones, until the message
// goes.
TEST_F(OrvCaptureRunOdd, compressesTwoHundredMegabytesOfOutputAndLeavesNothingWithTheMessage) {
    support("truncate -s 200000000 \"$root/tmp/smlCapture.txt\"");

    EXPECT_THAT(execute(), ElementsAre("smlCapture.txt.gz"));

    expectStaged({"smlCapture.txt.gz"});
    EXPECT_LT(std::filesystem::file_size(root_.at(mesg_->cronCapture()->stagedPath("smlCapture.txt.gz"))), 400000u);
    mesg_.reset();
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
}

TEST_F(OrvCaptureRunOdd, attachesNothingWithoutACompressor) {
    support("echo output > \"$root/tmp/smlCapture.txt\"");
    writeLog("logfile", "log");

    EXPECT_THAT(execute(withoutCompressor), IsEmpty());

    expectStaged({});
    const std::string target = std::string(kAttachments) + "/";
    EXPECT_EQ(traces_[0], "OrvCHCapture execCapture: " + target + "smlCapture.txt.gz is left out\n");
    EXPECT_EQ(traces_[1], "OrvCHCapture execCapture: " + target + "logfile.gz is left out\n");
    EXPECT_EQ(traces_.size(), 2u + 15u);
}

// Kept: its exit status is not looked at.
TEST_F(OrvCaptureRunOdd, attachesWhatACompressorHasWrittenThatIsKilled) {
    writeLog("logfile", noiseOf(1000));

    EXPECT_THAT(execute(byACompressorThatIsKilled), ElementsAre("logfile.gz"));

    expectStaged({"logfile.gz"});
    const std::string staged = root_.read(mesg_->cronCapture()->stagedPath("logfile.gz"));
    EXPECT_THAT(staged, StartsWith("H4sI"));
    EXPECT_EQ(staged.size(), std::string("AAAABBBBCCCCDDDDEEEEFFFFGGGG\r\n").size());  // 20 bytes in Base64
}

TEST_F(OrvCaptureRunOdd, leavesOutALogFileThatCannotBeRead) {
    writeLog("logfile", "secret");
    writeLog("logfile.1", "open");
    std::filesystem::permissions(root_.at("/ostrel/conf/logfile"), std::filesystem::perms::none);
    std::filesystem::permissions(root_.path(), std::filesystem::perms::all);

    EXPECT_THAT(execute(asNobody), ElementsAre("logfile.1.gz"));

    EXPECT_THAT(traces_,
                Contains("OrvCHCapture execCapture: " + std::string(kAttachments) + "/logfile.gz is left out\n"));
    expectStaged({"logfile.1.gz"});
    EXPECT_EQ(unpacked("logfile.1.gz"), "open");
}

TEST_F(OrvCaptureRunOdd, passesOverADirectoryAndAPipeInPlaceOfLogFiles) {
    root_.write("/ostrel/conf/logfile/inside", "x");
    ASSERT_EQ(mkfifo(root_.at("/ostrel/conf/messages").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(root_.at(kOutput).c_str(), 0600), 0);
    writeLog("messages.1", "log");

    EXPECT_THAT(execute(), ElementsAre("messages.1.gz"));

    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: Skipping /tmp/smlCapture.txt: Invalid argument\n"));
    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: Skipping /ostrel/conf/logfile: Is a directory\n"));
    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: Skipping /ostrel/conf/messages: Invalid argument\n"));
    expectStaged({"messages.1.gz"});
}

// Each pipe has a reader that takes nothing, so that writing to it would not wait but lose the file.
TEST_F(OrvCaptureRunOdd, isNotHeldByAPipeInPlaceOfTheCompressedFile) {
    writeLog("logfile", "log");
    const std::string target = root_.at(std::string(kAttachments) + "/logfile.gz");
    for (const char* suffix : {"", ".1"}) {  // compressed, and staged
        const std::string path = target + suffix;
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        Descriptor reader(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        ASSERT_TRUE(reader);

        const Names attached = execute();

        char byte = 0;
        EXPECT_EQ(read(reader.get(), &byte, 1), -1) << suffix;
        reader.reset();
        EXPECT_THAT(attached, ElementsAre("logfile.gz")) << suffix;
        expectStaged({"logfile.gz"});
        EXPECT_TRUE(std::filesystem::is_regular_file(root_.at(mesg_->cronCapture()->stagedPath("logfile.gz"))));
        mesg_.reset();
        sequences_ = CountedSequence();
    }
}

// A name that leads to somebody's file, or makes one, whichever way: in place of the compressed and the staged file.
TEST_F(OrvCaptureRunOdd, writesThroughNoLinkInPlaceOfTheCompressedFile) {
    const auto plants = {
        std::function([&](const std::string& place) {
            std::filesystem::create_symlink(root_.at("/ostrel/conf/precious"), place);
        }),
        std::function(
            [&](const std::string& place) { std::filesystem::create_symlink(root_.at("/ostrel/conf/new"), place); }),
        std::function([&](const std::string& place) {
            std::filesystem::create_hard_link(root_.at("/ostrel/conf/precious"), place);
        }),
    };
    writeLog("logfile", "log");
    root_.write("/ostrel/conf/precious", "precious");
    for (const auto& plant : plants) {
        for (const char* suffix : {"", ".1"}) {
            plant(root_.at(std::string(kAttachments) + "/logfile.gz" + suffix));
        }

        EXPECT_THAT(execute(), ElementsAre("logfile.gz"));

        EXPECT_EQ(root_.read("/ostrel/conf/precious"), "precious");
        EXPECT_FALSE(root_.exists("/ostrel/conf/new"));
        EXPECT_EQ(unpacked("logfile.gz"), "log");
        expectStaged({"logfile.gz"});
        mesg_.reset();
        sequences_ = CountedSequence();
    }
}

// Of the directory itself, and of those above it.
TEST_F(OrvCaptureRunOdd, touchesNothingBehindALinkInPlaceOfItsDirectories) {
    writeLog("logfile", "log");
    for (const char* directory : {kAttachments, "/ostrel/conf/orv/callHome", "/ostrel/conf/orv"}) {
        const std::string behind = "/elsewhere" + std::string(kAttachments).substr(std::string(directory).size());
        std::filesystem::rename(root_.at(directory), root_.at("/elsewhere"));
        root_.write(behind + "/logfile.gz", "precious");
        root_.write(behind + "/logfile.gz.1", "precious too");
        std::filesystem::create_directory_symlink(root_.at("/elsewhere"), root_.at(directory));

        EXPECT_THAT(execute(), IsEmpty());

        EXPECT_EQ(root_.read(behind + "/logfile.gz"), "precious");
        EXPECT_EQ(root_.read(behind + "/logfile.gz.1"), "precious too");
        EXPECT_THAT(root_.list(behind), ElementsAre("logfile.gz", "logfile.gz.1"));
        EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: remove(" + std::string(kAttachments) +
                                      "/logfile.gz): Not a directory\n"));
        mesg_.reset();
        sequences_ = CountedSequence();
        std::filesystem::remove(root_.at(behind + "/logfile.gz"));
        std::filesystem::remove(root_.at(behind + "/logfile.gz.1"));
        std::filesystem::remove(root_.at(directory));
        std::filesystem::rename(root_.at("/elsewhere"), root_.at(directory));
    }
    EXPECT_THAT(execute(), ElementsAre("logfile.gz"));
}

// Anybody may plant it.
TEST_F(OrvCaptureRunOdd, doesNotMailWhatALinkInPlaceOfTheOutputLeadsTo) {
    root_.write("/ostrel/conf/secret", "secret");
    std::filesystem::create_symlink(root_.at("/ostrel/conf/secret"), root_.at(kOutput));
    writeLog("messages", "log");

    EXPECT_THAT(execute(), ElementsAre("messages.gz"));

    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: Skipping /tmp/smlCapture.txt: Too many levels of symbolic "
                                  "links\n"));
}

// Where the switch keeps its logs is its own affair.
TEST_F(OrvCaptureRunOdd, attachesALogFileThatTheSwitchKeepsElsewhere) {
    root_.write("/var/log/messages", "log");
    std::filesystem::create_symlink(root_.at("/var/log/messages"), root_.at("/ostrel/conf/messages"));

    EXPECT_THAT(execute(), ElementsAre("messages.gz"));

    EXPECT_EQ(unpacked("messages.gz"), "log");
}

TEST_F(OrvCaptureRunOdd, leavesOutALogFileWhoseCompressedFileIsADirectory) {
    writeLog("logfile", "log");
    writeLog("messages", "open");
    root_.write(std::string(kAttachments) + "/logfile.gz/inside", "x");

    EXPECT_THAT(execute(), ElementsAre("messages.gz"));

    const std::string target = std::string(kAttachments) + "/logfile.gz";
    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: " + target + " is left out\n"));
    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: remove(" + target + "): Directory not empty\n"));
}

TEST_F(OrvCaptureRunOdd, attachesTheBeginningOfALogFileThatGrowsMeanwhile) {
    const std::string line(1023, 'x');
    const std::string chunk = line + "\n";
    writeLog("messages", chunk);
    std::atomic<bool> captured = false;
    std::thread writer([&] {
        std::ofstream log(root_.at("/ostrel/conf/messages"), std::ios::app);
        for (int i = 0; i < 20000 && !captured; ++i) {  // 20 MB at most
            log << chunk << std::flush;
        }
    });

    const Names attached = execute();
    captured = true;
    writer.join();

    EXPECT_THAT(attached, ElementsAre("messages.gz"));
    const std::string seen = unpacked("messages.gz");
    EXPECT_GE(seen.size(), chunk.size());
    EXPECT_TRUE(root_.read("/ostrel/conf/messages").starts_with(seen));
}

TEST_F(OrvCaptureRunOdd, listsNoHalfMadeFileWhenTheFlashIsFullWhileCompressing) {
    writeLog("logfile", noiseOf(40000));
    writeLog("messages", "small");
    Names attached;
    {
        const SmallFlash flash(16384);
        attached = execute();
    }

    EXPECT_THAT(attached, ElementsAre("messages.gz"));
    expectStaged({"messages.gz"});
    const std::string target = std::string(kAttachments) + "/logfile.gz";
    EXPECT_THAT(traces_, Contains("CronCaptureData insertAttachment: b64(" + target + ", " + target +
                                  ".1): b64:003:File I/O Error -- Note: output file not removed.\n"));
    EXPECT_THAT(traces_, Contains("CronCaptureData insertAttachment: Removing output file " + target + ".1\n"));
    EXPECT_THAT(traces_, Contains("OrvCHCapture execCapture: " + target + " is left out\n"));
}

// The compressed file fits, its Base64 text does not.
TEST_F(OrvCaptureRunOdd, listsNoHalfMadeFileWhenTheFlashIsFullWhileStaging) {
    writeLog("logfile", noiseOf(14000));
    writeLog("messages", "small");
    Names attached;
    {
        const SmallFlash flash(16384);
        attached = execute();
    }

    EXPECT_THAT(attached, ElementsAre("messages.gz"));
    expectStaged({"messages.gz"});
    EXPECT_THAT(traces_,
                Contains("OrvCHCapture execCapture: " + std::string(kAttachments) + "/logfile.gz is left out\n"));
    EXPECT_EQ(unpacked("messages.gz"), "small");
}

TEST_F(OrvCaptureRunOdd, attachesEverythingOnceThereIsRoomAgain) {
    const std::string log = noiseOf(40000);
    writeLog("logfile", log);
    {
        const SmallFlash flash(16384);
        EXPECT_THAT(execute(), IsEmpty());
    }

    EXPECT_THAT(execute(), ElementsAre("logfile.gz"));
    EXPECT_TRUE(unpacked("logfile.gz") == log);
}

TEST_F(OrvCaptureRunOdd, stagesAndRemovesAttachmentsWhoseNamesHaveBlanks) {
    support("exit 0");
    execute();
    root_.write("/tmp/two words.txt.gz", "compressed");
    ASSERT_EQ(mesg_->cronCapture()->insertAttachment("/tmp/two words.txt.gz"), 0);

    EXPECT_THAT(mesg_->cronCapture()->Attachments, ElementsAre("two words.txt.gz"));
    expectStaged({"two words.txt.gz"});
    EXPECT_EQ(root_.read(std::string(kAttachments) + "/two words.txt.gz.1"), "Y29tcHJlc3NlZA==\r\n");
    EXPECT_EQ(mesg_->cronCapture()->nextAttachmentFile(), "two words.txt.gz.1");
    mesg_.reset();
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
}

TEST_F(OrvCaptureRunOdd, worksBelowARootWhoseNameHasBlanks) {
    const std::string odd = root_.at("/a root with blanks");
    setHostRoot(odd);
    std::filesystem::create_directories(odd + "/tmp");
    const std::string inside = "/a root with blanks";
    root_.write(inside + kClish, "#!/bin/sh\necho \"$1\" > '" + odd + kOutput + "'\n");
    std::filesystem::permissions(odd + kClish, std::filesystem::perms::owner_all);
    root_.write(inside + "/ostrel/conf/logfile", "log");
    std::filesystem::create_directories(odd + kAttachments);

    EXPECT_THAT(execute(), ElementsAre("smlCapture.txt.gz", "logfile.gz"));

    const CronCaptureData& data = *mesg_->cronCapture();
    const std::string staged = inside + data.stagedPath("smlCapture.txt.gz");
    ASSERT_EQ(std::system(("base64 -di '" + root_.at(staged) + "' | gzip -dc > " + root_.at("/tmp/unpacked")).c_str()),
              0);
    EXPECT_EQ(root_.read("/tmp/unpacked"), "-cshow support callhome\n");
    mesg_.reset();
    EXPECT_THAT(root_.list(inside + kAttachments), IsEmpty());
}

}  // namespace
