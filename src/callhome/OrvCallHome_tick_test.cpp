// The tick and the dump: their order, and that nothing that fails keeps the rest from being done. And what waits.
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"
#include "testing/callhome/ControllerFixture.h"
#include "testing/callhome/ControllerParts.h"

#include <memory>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

using Calls = std::vector<std::string>;

const Calls kTick{ControllerParts::kIncoming, ControllerParts::kCapture, ControllerParts::kQueue,
                  ControllerParts::kClient};

class OrvCallHomeTick : public ControllerFixture {
protected:
    // The tick's calls while these seconds pass; the one named fails.
    Calls callsOf(unsigned seconds, const std::string& failing = "") {
        Calls calls;
        const ControllerParts parts([&](const std::string& name) {
            if (std::find(kTick.begin(), kTick.end(), name) != kTick.end()) {
                calls.push_back(name);
            }
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

        const std::string name = failing.substr(failing.rfind(':') == std::string::npos ? 0 : failing.rfind(':') + 1);
        const std::string where = failing == ControllerParts::kCapture ? "captureTick" : name;
        EXPECT_THAT(switch_->eventLog(),
                    ElementsAre(LogLine{15, 0x8B000001u, where + ": exception fault, event dropped"}));
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

TEST_F(OrvCallHomeTick, leavesMessagesWaitingWhileTheQueueIsBusy) {
    startWithoutSending();
    ASSERT_NE(ControllerParts::queue(), nullptr);
    ControllerParts::queue()->setSyncInProgress(true);

    switch_->publishLog(0, 0x00010002, "Blade fault while the queue is copied");
    switch_->tick(3);
    EXPECT_EQ(queued(), 0u);
    ControllerParts::queue()->setSyncInProgress(false);
    switch_->tick();

    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCallHomeTick, answersAProbeWhoseDumpFails) {
    startReady();
    switch_->forgetEventLog();
    const ControllerParts parts([](const std::string& name) { return name == ControllerParts::kCaptureProbe; });

    EXPECT_TRUE(alive());

    EXPECT_THAT(switch_->eventLog(), ElementsAre(LogLine{15, 0x8B000001u, "probe: exception fault, event dropped"}));
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
    const ControllerParts parts([&](const std::string& name) {
        if (name == ControllerParts::kInserted) {
            dynamic_cast<DSCallbacks*>(orvApplication())->DSApiReady();
            toldDuringInsertion = told.size();
        }
        return false;
    });

    app_ = std::make_unique<OrvApp>();

    EXPECT_EQ(toldDuringInsertion, 0u);
    EXPECT_THAT(told, ElementsAre(std::pair(105, CmonCode::READY_FOR_CONF)));
    EXPECT_TRUE(app_->requiredAddressesInitialized());
}

}  // namespace
