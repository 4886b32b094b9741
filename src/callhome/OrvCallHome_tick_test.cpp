// The tick and the dump: their order, and that nothing that fails keeps the rest from being done.
#include "dbg/OrvEventLog.h"
#include "testing/FailingCalls.h"
#include "testing/app/WatchedSlot.h"
#include "testing/callhome/ControllerFixture.h"
#include "testing/callhome/WatchedSteps.h"

#include <memory>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

using Calls = std::vector<std::string>;

const Calls kTick{"processIncomingMesgQ", "captureTick", "oneSecondChores", "oneSecondTick"};

class OrvCallHomeTick : public ControllerFixture {
protected:
    // The tick's calls while these seconds pass; the one named fails.
    Calls callsOf(unsigned seconds, const std::string& failing = "") {
        Calls calls;
        const WatchedSteps steps([&](const std::string& name) {
            calls.push_back(name);
            return name == failing;
        });
        switch_->tick(seconds);
        return calls;
    }
};

TEST_F(OrvCallHomeTick, servesMessagesThenCapturesThenTheQueueThenTheSendClient) {
    startReady();

    EXPECT_EQ(callsOf(1), kTick);
}

TEST_F(OrvCallHomeTick, goesOnWithTheRestWhenOneOfThemFails) {
    startReady();
    for (const std::string& failing : kTick) {
        SCOPED_TRACE(failing);
        switch_->forgetEventLog();

        EXPECT_EQ(callsOf(1, failing), kTick);

        EXPECT_THAT(switch_->eventLog(),
                    ElementsAre(LogLine{15, 0x8B000001u, failing + ": exception fault, event dropped"}));
    }
}

// Kept: a second answer arms the timer, subscribes and announces the power-up again.
TEST_F(OrvCallHomeTick, staysOneASecondWhenTheEventServerAnswersAgain) {
    std::vector<std::uint8_t> answer;
    unsigned subscriptions = 0;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::CNS && message.code() == CnsCode::LOOKUP_RESPONSE && answer.empty()) {
            answer.assign(message.payload().begin(), message.payload().end());
        }
        subscriptions += message.format() == MessageFormat::ENS && message.code() == EnsCode::SUBSCRIBE;
    });
    startReady();
    ASSERT_EQ(subscriptions, 4u);

    switch_->send(MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE, answer);

    EXPECT_EQ(subscriptions, 8u);
    EXPECT_THAT(traced("OrvCHMesg buildSwitchPowerUpData: Entry"), SizeIs(2));
    EXPECT_THAT(callsOf(3), SizeIs(3 * kTick.size()));
}

TEST_F(OrvCallHomeTick, answersAProbeWhicheverAllocationOfItsDumpFails) {
    startReady();
    unsigned answers = 0;
    switch_->bus().observe([&answers](const Hsb_Message& message) {
        answers += message.format() == MessageFormat::PROBE && message.code() == ProbeCode::REPLY;
    });
    bool failed = true;
    unsigned probes = 0;
    for (; failed; ++probes) {
        Hsb_Message probe(MessageFormat::PROBE, ProbeCode::DUMP_STATE, {});
        probe.destination(switch_->components().named("OrvApp")->address);
        probe.source(ServiceAddress::OPERATOR);
        const FailingMemory memory(MemoryFaults::kObjects, probes, 1);
        app_->handle_message(&probe);
        failed = memory.failed();
    }
    EXPECT_GT(answers, 10u);
    EXPECT_LE(probes - answers, 3u);  // the answer needs memory as well
}

// The library tells of a store that is ready later, but it need not.
TEST_F(OrvCallHomeTick, tellsTheMonitorAfterConstructionWhenTheStoreWasReadyDuringIt) {
    std::vector<std::pair<int, int>> told;
    switch_->bus().observe([&told](const Hsb_Message& message) {
        if (message.format() == MessageFormat::CMON) {
            told.push_back({message.format(), message.code()});
        }
    });
    logger_ = std::make_unique<OrvDbg>("orv.out.Main");
    ASSERT_EQ(OrvDbg::setOfThread(logger_.get()), 0);

    std::size_t toldDuringInsertion = 1;
    WatchedSlot::inserted = [&](Hsb_Component*) {
        dynamic_cast<DSCallbacks*>(orvApplication())->DSApiReady();
        toldDuringInsertion = told.size();
        return true;
    };

    app_ = std::make_unique<OrvApp>();
    WatchedSlot::inserted = nullptr;

    EXPECT_EQ(toldDuringInsertion, 0u);
    EXPECT_THAT(told, ElementsAre(std::pair(105, CmonCode::READY_FOR_CONF)));
    EXPECT_TRUE(app_->requiredAddressesInitialized());
}

}  // namespace
