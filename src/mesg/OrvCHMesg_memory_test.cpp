// What messages do when there is no memory. A program of its own: it replaces the allocation that may fail.
#include "mesg/MesgTest.h"

#include <cstdlib>
#include <new>

using testing::ElementsAre;

namespace {

// How many further allocations succeed; negative: all.
int allocationsLeft = -1;

class NoMemory {
public:
    explicit NoMemory(int after = 0) { allocationsLeft = after; }
    ~NoMemory() { allocationsLeft = -1; }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

using OrvCHMesgMemory = MesgTest;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (allocationsLeft == 0) {
        return nullptr;
    }
    allocationsLeft -= allocationsLeft > 0;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

TEST_F(OrvCHMesgMemory, buildersFailAndLeaveTheMessageWithoutTypeData) {
    OrvCHMesg mesg;
    {
        const NoMemory noMemory;
        EXPECT_EQ(mesg.buildSwitchPowerUpData(), -1);
        EXPECT_EQ(mesg.buildTestData("Night"), -1);
        EXPECT_EQ(mesg.buildSwitchStateData("Online"), -1);
    }
    EXPECT_EQ(mesg.Type, OrvCHMesg::kNoType);
    EXPECT_EQ(mesg.logEvent(), nullptr);
    EXPECT_THAT(traces(), ElementsAre("Entry", "Entry", "Entry"));
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(OrvCHMesgMemory, constructionWithATypeLeavesTheMessageWithoutTypeData) {
    const NoMemory noMemory;
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
        const NoMemory noMemory;
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
        const NoMemory noMemory(1);
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
        const NoMemory noMemory;
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
        const NoMemory noMemory(1);  // the type data's
        EXPECT_EQ(mesg.restore(), -1);
    }
    EXPECT_EQ(eventLog(), kMemoryAlarms);
    EXPECT_THAT(traces(), ElementsAre(std::string("restoring from file ") + kFile, "Entry", "Message Type = LogEvent",
                                      "Failure to allocate OrvCHMesgQMainCmdResp object"));
}
