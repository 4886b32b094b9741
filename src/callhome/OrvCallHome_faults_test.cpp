// What the controller does without memory or threads.
#include "testing/FailingCalls.h"
#include "testing/callhome/ControllerFixture.h"

#include "Sw_Log_Type.h"

#include <memory>

namespace {

using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

const LogLine kResourceAlarm{0, 0x10050034u, "System resource error - contact technical support"};
const LogLine kMemoryAlarm{16, 0, "OrvApp - cannot allocate memory"};

// Each way in which something becomes a message.
struct Builder {
    const char* name;
    int (*build)(OrvCallHome& callHome);
};

Hsb_Message testRequest(const std::string& name) {
    Bytes payload{1, 2, 3, 4, 0, 0, 0, 0};
    payload.insert(payload.end(), name.begin(), name.end());
    payload.resize(44, 0);
    return {MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE, payload};
}

const Builder kBuilders[] = {
    {"logEvent",
     [](OrvCallHome& callHome) {
         Sw_Log_Type record;
         record.text = "Blade fault";
         return callHome.takeLogEvent(record.encode());
     }},
    {"state",
     [](OrvCallHome& callHome) {
         static unsigned number = 0;
         return callHome.setSwitchState("State " + std::to_string(++number));
     }},
    {"powerUp", [](OrvCallHome& callHome) { return callHome.queuePowerUpMesg(); }},
};

class OrvCallHomeFaults : public ControllerFixture {
protected:
    // With a profile that takes everything, but only from the power-up message on.
    void startForEveryMessage() {
        startWithoutSending();
        setProfile(0, {.name = "All", .level = "Info"});
        changeProfiles();
    }
    void record(std::uint16_t code) {
        switch_->bus().observe([this, code](const Hsb_Message& message) {
            if (message.format() == MessageFormat::MANAGEMENT && message.code() == code) {
                answers_.push_back({message.payload().begin(), message.payload().end()});
            }
        });
    }

    std::vector<Bytes> answers_;
};

// The message itself, or the event's data in it.
TEST_F(OrvCallHomeFaults, eachBuilderRaisesTheMemoryAlarmsAndLosesTheEvent) {
    startForEveryMessage();
    for (const Builder& builder : kBuilders) {
        for (const unsigned allocation : {1u, 2u}) {
            SCOPED_TRACE(std::string(builder.name) + "/" + std::to_string(allocation));
            switch_->forgetEventLog();
            {
                const FailingMemory noMemory(MemoryFaults::kNothrow, allocation - 1, 1);
                EXPECT_EQ(builder.build(app_->callHome()), -1);
            }
            switch_->pump();

            EXPECT_THAT(switch_->eventLog(), ElementsAre(kResourceAlarm, kMemoryAlarm));
            EXPECT_EQ(queued(), 0u);
        }
    }
}

TEST_F(OrvCallHomeFaults, eachBuilderQueuesItsMessageWhenThereIsMemory) {
    startForEveryMessage();
    std::size_t expected = 0;
    for (const Builder& builder : kBuilders) {
        EXPECT_EQ(builder.build(app_->callHome()), 0) << builder.name;
        EXPECT_EQ(queued(), ++expected) << builder.name;
    }
}

TEST_F(OrvCallHomeFaults, answersATestThatCannotBeBuiltWithStatusSix) {
    startReady();
    record(ManagementCode::TEST_PROFILE_RESPONSE);
    for (const auto& [kind, nth] : {std::pair(MemoryFaults::kNothrow, 1u), std::pair(MemoryFaults::kNothrow, 2u),
                                    std::pair(MemoryFaults::kThrowing, 3u)}) {
        SCOPED_TRACE(std::to_string(kind) + "/" + std::to_string(nth));
        switch_->forgetEventLog();
        answers_.clear();
        const Hsb_Message request = testRequest("Operators");
        {
            const FailingMemory noMemory(kind, nth - 1, 1);
            EXPECT_EQ(app_->callHome().processOrvMsg(request), 0);
        }
        switch_->pump();

        Bytes expected{1, 2, 3, 4, 0, 0, 0, 6, 'O', 'p', 'e', 'r', 'a', 't', 'o', 'r', 's'};
        expected.resize(44, 0);
        EXPECT_THAT(answers_, ElementsAre(expected));
        EXPECT_THAT(switch_->eventLog(), ElementsAre(kResourceAlarm, kMemoryAlarm));
    }
}

TEST_F(OrvCallHomeFaults, answersProcessedInformationWithoutMemoryWithStatusFiveAndNoBlock) {
    startReady();
    record(ManagementCode::PROFILE_PROCESSED_INFO_RESPONSE);
    const Hsb_Message request(MessageFormat::MANAGEMENT, ManagementCode::PROFILE_PROCESSED_INFO,
                              Bytes{1, 2, 3, 4, 0, 0, 0, 0});
    for (const unsigned allocation : {1u, 2u}) {
        answers_.clear();
        {
            const FailingMemory noMemory(MemoryFaults::kThrowing, allocation - 1, 1);
            EXPECT_EQ(app_->callHome().processOrvMsg(request), 0);
        }
        switch_->pump();

        EXPECT_THAT(answers_, ElementsAre(Bytes{1, 2, 3, 4, 0, 0, 0, 5}));
    }
}

struct FailedLaunch {
    const char* name;
    unsigned first;  // of the two launches that fails
    unsigned count;
    std::vector<LogLine> log;
    const char* running;  // the trace log of the thread that runs all the same; null: none
};

class OrvCallHomeLaunch : public OrvCallHomeFaults, public testing::WithParamInterface<FailedLaunch> {};

TEST_P(OrvCallHomeLaunch, isReportedAndTheOtherThreadIsStarted) {
    {
        const FailingCall launches("pthread_create", "", EAGAIN, GetParam().first - 1, GetParam().count);
        startDaemon();
        EXPECT_EQ(launches.calls(), 2u);
    }

    std::vector<LogLine> log = switch_->eventLog();
    std::erase_if(log, [](const LogLine& line) { return line.level != 16; });
    EXPECT_EQ(log, GetParam().log);
    if (GetParam().running != nullptr) {
        EXPECT_TRUE(switch_->runUntil([this] { return !switch_->trace(GetParam().running).empty(); }));
    }
    // The next start makes up for it.
    EXPECT_EQ(app_->callHome().startThreads(), 0);
    for (const char* const thread : {"orv.out.SMTPClient", "orv.out.Capture"}) {
        EXPECT_TRUE(switch_->runUntil([&] { return !switch_->trace(thread).empty(); })) << thread;
    }
}

const LogLine kNoSendingThread{16, 0x8B000001u, "orvApp failed to launch sending thread"};
const LogLine kNoCaptureThread{16, 0x8B000001u, "orvApp failed to launch capture thread"};

INSTANTIATE_TEST_SUITE_P(Threads, OrvCallHomeLaunch,
                         testing::Values(FailedLaunch{"sending", 1, 1, {kNoSendingThread}, "orv.out.Capture"},
                                         FailedLaunch{"capture", 2, 1, {kNoCaptureThread}, "orv.out.SMTPClient"},
                                         FailedLaunch{"both", 1, 2, {kNoSendingThread, kNoCaptureThread}, nullptr}),
                         [](const auto& test) { return test.param.name; });

TEST_F(OrvCallHomeFaults, startingTheThreadsFailsWhenEitherLaunchFails) {
    switch_->bus().drop(LoopbackBus::messages(MessageFormat::CMON, CmonCode::START));
    startDaemon();
    for (const unsigned launch : {1u, 2u}) {
        const FailingCall launches("pthread_create", "", EAGAIN, launch - 1, 1);
        EXPECT_EQ(app_->callHome().startThreads(), launch == 1 ? -1 : 0);  // the capture thread runs by now
    }
    EXPECT_EQ(app_->callHome().startThreads(), 0);
}

}  // namespace
