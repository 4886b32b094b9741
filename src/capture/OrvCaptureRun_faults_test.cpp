// A whole capture when any one of its file calls fails, or is the process's last: the next one is complete.
#include "capture/OrvCaptureMesgs.h"
#include "capture/OrvCaptureRun.h"
#include "capture/OrvCaptureSequence.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"
#include "testing/FailingCalls.h"
#include "testing/capture/ScriptedShell.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace {

using testing::ElementsAre;

constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";

class OrvCaptureRunFaults : public testing::Test {
protected:
    OrvCaptureRunFaults() {
        shell_.support("output");
        root_.write("/ostrel/conf/logfile", "log");
        root_.write("/ostrel/conf/messages.5", "messages");
    }

    // A start of the daemon and one capture; null when it failed.
    std::unique_ptr<OrvCHMesg> capture() const {
        OrvCaptureSequence sequences;
        OrvCaptureRun run(sequences, ScriptedShell::run);
        std::unique_ptr<OrvCHMesg> mesg;
        try {
            EXPECT_EQ(run.execute(started_, mesg), 0);
        } catch (const OrvFileError&) {
            EXPECT_EQ(mesg, nullptr);
        }
        return mesg;
    }

    void expectACompleteCapture() {
        const std::unique_ptr<OrvCHMesg> mesg = capture();
        ASSERT_NE(mesg, nullptr);
        const CronCaptureData& data = *mesg->cronCapture();
        EXPECT_THAT(data.Attachments, ElementsAre("smlCapture.txt.gz", "logfile.gz", "messages.5.gz"));
        EXPECT_EQ(root_.read(data.stagedPath("logfile.gz")), "PGxvZz4=\r\n");  // "<log>"
        for (const char* name : {"smlCapture.txt.gz", "logfile.gz", "messages.5.gz"}) {
            EXPECT_FALSE(root_.exists(std::string(kAttachments) + "/" + name)) << name;
        }
    }

    // But for the trace's: it may fall silent by a failure of its own.
    static std::ptrdiff_t openDescriptors() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::count_if(begin(all), end(all), [](const std::filesystem::path& path) {
            std::error_code gone;
            return std::filesystem::read_symlink(path, gone).string().find("/orv.out.") == std::string::npos;
        });
    }

    RecordingSwitch switch_;
    TempRoot& root_ = switch_.root();
    ScriptedShell shell_{root_.path()};
    const OrvStartedCapture started_;
};

TEST_F(OrvCaptureRunFaults, leaveTheNextCaptureCompleteWhicheverFileCallFails) {
    expectACompleteCapture();
    const auto before = openDescriptors();
    for (const int error : {EIO, ENOSPC, EMFILE, EINTR}) {
        unsigned failures = 0;
        for (bool failed = true; failed; ++failures) {
            std::unique_ptr<OrvCHMesg> mesg;
            OrvCaptureSequence sequences;
            OrvCaptureRun run(sequences, ScriptedShell::run);
            {
                const FailingNth fault(failures + 1, root_.path(), error);
                try {
                    EXPECT_EQ(run.execute(started_, mesg), 0);
                } catch (const OrvFileError&) {
                    EXPECT_EQ(error, ENOSPC) << failures;
                }
                failed = fault.failed();
            }
            // A signal costs nothing.
            EXPECT_TRUE(error != EINTR || mesg->cronCapture()->Attachments.size() == 3u) << failures;
            mesg.reset();
            switch_.takeTraces();
            EXPECT_EQ(openDescriptors(), before) << failures;

            expectACompleteCapture();
        }
        EXPECT_GT(failures, 40u);
    }
}

TEST_F(OrvCaptureRunFaults, leaveTheNextCaptureCompleteAfterAKillAtAnyFileCall) {
    unsigned kills = 0;
    for (bool killed = true; killed; ++kills) {
        killed = killedAt(kills + 1, root_.path(), [this] {
            if (capture() == nullptr) {
                ::_exit(1);
            }
        });

        expectACompleteCapture();
    }
    EXPECT_GT(kills, 40u);
}

}  // namespace
