// What messages do when there is no memory.
#include "testing/FailingCalls.h"
#include "testing/mesg/MesgTest.h"

#include <new>

using testing::ElementsAre;

namespace {

// Allocations that do not throw, all but so many at first.
FailingMemory noMemoryAfter(unsigned spared) {
    return FailingMemory(MemoryFaults::kNothrow, spared);
}

using OrvCHMesgMemory = MesgTest;

// A capture with two attachments staged under sequence 7.
std::unique_ptr<CronCaptureData> stagedCapture() {
    auto capture = std::make_unique<CronCaptureData>();
    capture->Sequence = "7";
    capture->Command = "a command longer than a short string";
    capture->Attachments = {"first.txt.gz", "second.txt.gz"};
    return capture;
}

}  // namespace

TEST_F(OrvCHMesgMemory, buildersFailAndLeaveTheMessageWithoutTypeData) {
    OrvCHMesg mesg;
    {
        const FailingMemory noMemory = noMemoryAfter(0);
        EXPECT_EQ(mesg.buildSwitchPowerUpData(), -1);
        EXPECT_EQ(mesg.buildTestData("Night"), -1);
        EXPECT_EQ(mesg.buildSwitchStateData("Online"), -1);
    }
    EXPECT_EQ(mesg.Type, OrvCHMesg::kNoType);
    EXPECT_EQ(mesg.logEvent(), nullptr);
    EXPECT_THAT(traces(), ElementsAre("Entry", "Entry", "Entry"));
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(OrvCHMesgMemory, buildersLeaveACaptureWithoutTypeDataAndTypeZero) {
    int (*const builders[])(OrvCHMesg&) = {
        [](OrvCHMesg& mesg) { return mesg.buildSwitchPowerUpData(); },
        [](OrvCHMesg& mesg) { return mesg.buildTestData("Night"); },
        [](OrvCHMesg& mesg) { return mesg.buildSwitchStateData("Online"); },
    };
    for (const auto build : builders) {
        OrvCHMesg mesg(OrvCHMesg::kCronCapture);
        ASSERT_NE(mesg.cronCapture(), nullptr);
        {
            const FailingMemory noMemory = noMemoryAfter(0);
            EXPECT_EQ(build(mesg), -1);
        }
        EXPECT_EQ(mesg.Type, OrvCHMesg::kNoType);
        EXPECT_EQ(mesg.logEvent(), nullptr);
        EXPECT_EQ(mesg.cronCapture(), nullptr);
        EXPECT_EQ(mesg.TestProfile, "");
    }
}

TEST_F(OrvCHMesgMemory, constructionWithATypeLeavesTheMessageWithoutTypeData) {
    const FailingMemory noMemory = noMemoryAfter(0);
    const OrvCHMesg event(OrvCHMesg::kLogEvent);
    const OrvCHMesg capture(OrvCHMesg::kCronCapture);
    EXPECT_EQ(event.Type, OrvCHMesg::kNoType);
    EXPECT_EQ(capture.Type, OrvCHMesg::kNoType);
    EXPECT_EQ(event.logEvent(), nullptr);
    EXPECT_EQ(capture.cronCapture(), nullptr);
}

TEST_F(OrvCHMesgMemory, copyingAnEnvelopeRaisesBothAlarmsAndKeepsTheOthers) {
    OrvCHMesg mesg;
    mesg.addEnvelope(sampleEnvelope());
    const auto source = sampleEnvelope();
    {
        const FailingMemory noMemory = noMemoryAfter(0);
        EXPECT_EQ(mesg.copyEnvelope(*source), -1);
    }
    EXPECT_EQ(mesg.Envelopes.size(), 1u);
    EXPECT_EQ(eventLog(), kMemoryAlarms);
    EXPECT_THAT(traceLines(), ElementsAre("OrvCHMesg copyEnvelope: Failure to allocate OrvCHEnvelope object"));
}

TEST_F(OrvCHMesgMemory, aCopyDoesWithoutTheEnvelopesThatFindNoMemory) {
    const auto source = sampleLogEvent();
    source->addEnvelope(sampleEnvelope());
    std::unique_ptr<OrvCHMesg> copy;
    {
        const FailingMemory noMemory = noMemoryAfter(1);
        copy = std::make_unique<OrvCHMesg>(*source);
    }
    EXPECT_EQ(copy->Envelopes.size(), 1u);
    EXPECT_EQ(copy->duplicateKey(), source->duplicateKey());
    EXPECT_EQ(eventLog(), kMemoryAlarms);
}

TEST_F(OrvCHMesgMemory, anIdentifierGetsNoTypeData) {
    OrvCHMesg mesg;
    mesg.ID = "0123.4567";
    {
        const FailingMemory noMemory = noMemoryAfter(0);
        EXPECT_EQ(mesg.createMesgByType(), -1);
    }
    EXPECT_EQ(mesg.Type, OrvCHMesg::kNoType);
    EXPECT_THAT(traceLines(),
                ElementsAre("OrvCHMesg createMesgByType: Entry", "OrvCHMesg createMesgByType: Message Type = LogEvent",
                            "OrvCHMesg createMesgByType: Memory allocation failure!"));
    EXPECT_TRUE(eventLog().empty());
}

// The text names a class of the queue's; it has always done so.
TEST_F(OrvCHMesgMemory, restoringAnEnvelopeRaisesBothAlarmsUnderAnotherClassName) {
    writeFile(kFile, kSampleFile);
    OrvCHMesg mesg;
    mesg.FileName = kFile;
    {
        const FailingMemory noMemory = noMemoryAfter(1);  // the type data's
        EXPECT_EQ(mesg.restore(), -1);
    }
    EXPECT_EQ(eventLog(), kMemoryAlarms);
    EXPECT_THAT(traces(), ElementsAre(std::string("restoring from file ") + kFile, "Entry", "Message Type = LogEvent",
                                      "Failure to allocate OrvCHMesgQMainCmdResp object"));
}

TEST_F(OrvCHMesgMemory, stagingWithoutMemoryLeavesNoFile) {
    writeFile("/tmp/a.gz", "x");
    CronCaptureData capture;
    capture.Sequence = "7";
    {
        const FailingAllocation memory(16 * 1024);
        EXPECT_EQ(capture.insertAttachment("/tmp/a.gz"), -1);
    }
    EXPECT_THAT(capture.Attachments, testing::IsEmpty());
    EXPECT_THAT(stagedFiles(), testing::IsEmpty());
    EXPECT_THAT(traces(), ElementsAre("b64(/tmp/a.gz, /ostrel/conf/orv/callHome/attachments/a.gz.7): b64:003:File I/O "
                                      "Error -- Note: output file not removed.",
                                      "Removing output file /ostrel/conf/orv/callHome/attachments/a.gz.7"));
}

TEST_F(OrvCHMesgMemory, aCopyThatFindsNoMemoryLeavesNoLinks) {
    const auto source = stagedCapture();
    for (const char* name : {"first.txt.gz.7", "second.txt.gz.7"}) {
        writeFile(std::string(kAttachments) + name, "x");
    }
    unsigned failures = 0;
    for (bool failed = true; failed; failures += failed) {
        std::unique_ptr<CronCaptureData> copy;
        try {
            const FailingMemory memory(MemoryFaults::kThrowing, failures, 1);
            copy = std::make_unique<CronCaptureData>(*source);
            failed = false;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(stagedFiles().size(), failed ? 2u : 4u) << failures;
    }
    EXPECT_GT(failures, 5u);
    EXPECT_THAT(stagedFiles(), ElementsAre("first.txt.gz.7", "second.txt.gz.7"));
}

TEST_F(OrvCHMesgMemory, aCaptureDestroyedWithoutMemoryTracesTheFilesItLeaves) {
    auto capture = stagedCapture();
    writeFile(std::string(kAttachments) + "first.txt.gz.7", "x");
    {
        const FailingMemory memory(MemoryFaults::kThrowing, 0, 1);
        capture.reset();
    }
    EXPECT_THAT(traceLines(),
                ElementsAre("CronCaptureData ~CronCaptureData: no memory to unlink the staged files of sequence 7"));
}
