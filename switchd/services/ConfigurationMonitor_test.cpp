#include "switchd/services/ConfigurationMonitor.h"

#include "MessageCodes.h"
#include "platform/wire/CmonWire.h"
#include "platform/wire/CnsWire.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ConfigurationMonitorTest : public ::testing::Test {
protected:
    ConfigurationMonitorTest() {
        component_.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER,
                        encodeFields(CnsRegister{1, 0, "OrvApp"}));
        sw_.pump();
    }
    void say(std::uint16_t code, std::vector<std::uint8_t> payload = {}) {
        component_.send(ServiceAddress::MONITOR, MessageFormat::CMON, code, std::move(payload));
        sw_.pump();
    }
    void acknowledge(std::int32_t status = 0) { say(CmonCode::CONF_READ_ACK, encodeFields(CmonConfReadAck{status})); }
    std::vector<std::uint16_t> codesGot() {
        std::vector<std::uint16_t> codes;
        for (const Hsb_Message& message : component_.take()) {
            EXPECT_EQ(message.format(), 105);
            EXPECT_TRUE(message.payload().empty());
            codes.push_back(message.code());
        }
        return codes;
    }
    ComponentState state() {
        const Components::Component* component = sw_.components().named("OrvApp");
        return component != nullptr ? component->state : ComponentState::ABSENT;
    }

    LoopbackSwitch sw_;
    BusParty component_{sw_.bus()};
};

}  // namespace

TEST_F(ConfigurationMonitorTest, tellsAReadyComponentToReadItsConfiguration) {
    EXPECT_EQ(state(), ComponentState::REGISTERED);

    say(CmonCode::READY_FOR_CONF);

    EXPECT_THAT(codesGot(), ElementsAre(96));
    EXPECT_EQ(state(), ComponentState::READY);
}

TEST_F(ConfigurationMonitorTest, tellsAComponentToStartOnceItHasReadItsConfiguration) {
    std::vector<ComponentState> states;
    sw_.components().changes().add([&](const Components::Component& changed) { states.push_back(changed.state); });
    say(CmonCode::READY_FOR_CONF);
    codesGot();

    acknowledge();

    EXPECT_THAT(codesGot(), ElementsAre(97));
    EXPECT_THAT(states, ElementsAre(ComponentState::READY, ComponentState::CONFIGURED, ComponentState::STARTED));
}

TEST_F(ConfigurationMonitorTest, tellsItToStartOnlyOnce) {
    say(CmonCode::READY_FOR_CONF);
    acknowledge();
    codesGot();

    acknowledge();

    EXPECT_THAT(codesGot(), IsEmpty());
    EXPECT_EQ(state(), ComponentState::STARTED);
}

TEST_F(ConfigurationMonitorTest, startsAComponentAnewThatSaysAnewThatItIsReady) {
    say(CmonCode::READY_FOR_CONF);
    acknowledge();
    say(CmonCode::READY_FOR_CONF);
    EXPECT_EQ(state(), ComponentState::READY);
    acknowledge();

    EXPECT_THAT(codesGot(), ElementsAre(96, 97, 96, 97));
}

TEST_F(ConfigurationMonitorTest, startsNoComponentThatCouldNotReadItsConfiguration) {
    say(CmonCode::READY_FOR_CONF);
    codesGot();

    acknowledge(-1);

    EXPECT_THAT(codesGot(), IsEmpty());
    EXPECT_EQ(state(), ComponentState::READY);
}

TEST_F(ConfigurationMonitorTest, ignoresAnAcknowledgementThatNobodyAskedFor) {
    acknowledge();

    EXPECT_THAT(codesGot(), IsEmpty());
    EXPECT_EQ(state(), ComponentState::REGISTERED);
}

TEST_F(ConfigurationMonitorTest, forgetsTheStateOfAComponentThatLeft) {
    say(CmonCode::READY_FOR_CONF);
    acknowledge();

    component_.leave();
    sw_.pump();

    EXPECT_EQ(state(), ComponentState::ABSENT);
}

TEST_F(ConfigurationMonitorTest, knowsAStateThatWasReachedBeforeTheRegistration) {
    BusParty early(sw_.bus());
    early.send(ServiceAddress::MONITOR, MessageFormat::CMON, CmonCode::READY_FOR_CONF);
    sw_.pump();
    EXPECT_EQ(sw_.components().named(""), nullptr);

    early.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER, encodeFields(CnsRegister{1, 0, "Early"}));
    sw_.pump();

    ASSERT_NE(sw_.components().named("Early"), nullptr);
    EXPECT_EQ(sw_.components().named("Early")->state, ComponentState::READY);
}

TEST_F(ConfigurationMonitorTest, ignoresWhatItCannotRead) {
    say(CmonCode::READY_FOR_CONF);
    codesGot();

    say(CmonCode::CONF_READ_ACK, {0, 0});
    say(99);
    component_.send(ServiceAddress::MONITOR, MessageFormat::DS, CmonCode::READY_FOR_CONF);
    sw_.pump();

    EXPECT_THAT(codesGot(), IsEmpty());
    EXPECT_EQ(state(), ComponentState::READY);
}
