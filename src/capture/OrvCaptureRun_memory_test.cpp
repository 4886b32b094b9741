// What a capture leaves behind when there is no memory.
#include "capture/OrvCaptureMesgs.h"
#include "capture/OrvCaptureRun.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"
#include "testing/FailingCalls.h"
#include "testing/capture/ScriptedShell.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace {

class CountedSequence final : public OrvSequenceSource {
public:
    std::uint32_t nextSequence() override { return ++last_; }

private:
    std::uint32_t last_ = 0;
};

unsigned allocationsLeft = 0;
std::unique_ptr<FailingMemory> noMemory;

// From the end of the compressor on, one allocation fails.
int runShell(const char* command) {
    const int result = ScriptedShell::run(command);
    if (std::string_view(command).starts_with("/bin/gzip ")) {
        noMemory = std::make_unique<FailingMemory>(MemoryFaults::kThrowing, allocationsLeft, 1);
    }
    return result;
}

// The daemon's memory is short, not that of the commands it runs.
int runShellWithMemory(const char* command) {
    const MemoryFaults::Pause pause;
    return ScriptedShell::run(command);
}

TEST(OrvCaptureRunMemory, leavesNoCompressedFileWhicheverAllocationFailsWhileAttaching) {
    constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";
    RecordingSwitch recording;
    ScriptedShell shell(recording.root().path());
    shell.support("output");
    CountedSequence sequences;
    OrvCaptureRun run(sequences, runShell);
    const OrvStartedCapture capture;
    unsigned thrown = 0;
    bool failed = true;
    for (allocationsLeft = 0; failed; ++allocationsLeft) {
        std::unique_ptr<OrvCHMesg> mesg;
        try {
            EXPECT_EQ(run.execute(capture, mesg), 0);
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
        failed = noMemory->failed();
        noMemory.reset();

        std::vector<std::string> expected;
        if (mesg && !mesg->cronCapture()->Attachments.empty()) {
            expected.push_back("smlCapture.txt.gz." + mesg->cronCapture()->Sequence);
        }
        EXPECT_EQ(recording.root().list(kAttachments), expected) << allocationsLeft;
    }
    EXPECT_GE(thrown, 2u);
}

// Once, and in bursts: the capture may fail, the next one is whole.
TEST(OrvCaptureRunMemory, makesTheNextCaptureCompleteWhicheverAllocationsFail) {
    RecordingSwitch recording;
    recording.root().write("/ostrel/conf/logfile", "log");
    ScriptedShell shell(recording.root().path());
    shell.support("output");
    CountedSequence sequences;
    OrvCaptureRun run(sequences, runShellWithMemory);
    const OrvStartedCapture capture;
    const std::string attachments = "/ostrel/conf/orv/callHome/attachments";
    for (const unsigned burst : {1u, 5u, 50u}) {
        unsigned failing = 0;
        for (bool failed = true; failed; ++failing) {
            std::unique_ptr<OrvCHMesg> mesg;
            {
                const FailingMemory noMemoryNow(MemoryFaults::kThrowing, failing, burst);
                try {
                    EXPECT_EQ(run.execute(capture, mesg), 0);
                } catch (const std::bad_alloc&) {
                    EXPECT_EQ(mesg, nullptr);
                }
                failed = noMemoryNow.failed();
            }
            mesg.reset();
            EXPECT_FALSE(recording.root().exists(attachments + "/smlCapture.txt.gz")) << failing;
            EXPECT_FALSE(recording.root().exists(attachments + "/logfile.gz")) << failing;
            recording.takeTraces();

            ASSERT_EQ(run.execute(capture, mesg), 0);
            EXPECT_THAT(mesg->cronCapture()->Attachments, testing::ElementsAre("smlCapture.txt.gz", "logfile.gz"))
                << failing;
        }
        EXPECT_GT(failing, 50u);
    }
}

}  // namespace
