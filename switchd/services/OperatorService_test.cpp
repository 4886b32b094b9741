#include "switchd/services/OperatorService.h"

#include "MessageCodes.h"
#include "platform/wire/CmonWire.h"
#include "platform/wire/CnsWire.h"
#include "platform/wire/ManagementWire.h"
#include "testing/OperatorSession.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class OperatorServiceTest : public ::testing::Test {
protected:
    void registerComponent() {
        component_.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER,
                        encodeFields(CnsRegister{1, 0, "OrvApp"}));
        sw_.pump();
        component_.take();
    }
    void componentIsReady() {
        component_.send(ServiceAddress::MONITOR, MessageFormat::CMON, CmonCode::READY_FOR_CONF);
        sw_.pump();
    }
    void componentIsConfigured() {
        component_.send(ServiceAddress::MONITOR, MessageFormat::CMON, CmonCode::CONF_READ_ACK,
                        encodeFields(CmonConfReadAck{0}));
        sw_.pump();
    }
    void componentResponds(std::uint16_t code, std::vector<std::uint8_t> payload) {
        component_.send(ServiceAddress::MANAGEMENT, MessageFormat::MANAGEMENT, code, std::move(payload));
        sw_.pump();
    }
    void componentLeaves() {
        component_.leave();
        sw_.pump();
    }
    std::vector<ComponentList::Component> components() {
        return decodeFields<ComponentList>(operator_.answerTo(OperatorCode::COMPONENTS).body)->components;
    }
    std::uint32_t call(std::uint16_t code, WireBytes payload = WireBytes(8), bool answered = true) {
        return operator_.ask(OperatorCode::MANAGEMENT, ManagementCall{"orvApp", code, answered, payload});
    }

    LoopbackSwitch sw_;
    BusParty component_{sw_.bus()};
    OperatorSession operator_{sw_};
    OperatorSession other_{sw_};
};

}  // namespace

TEST_F(OperatorServiceTest, refusesCodesThatItDoesNotKnow) {
    const OperatorAnswer answer = operator_.answerTo(99);

    EXPECT_EQ(answer.status, OperatorStatus::REFUSED);
    EXPECT_EQ(answer.reason, "unknown request 99");
}

TEST_F(OperatorServiceTest, refusesBodiesThatItCannotRead) {
    using namespace OperatorCode;
    for (const std::uint16_t code : {GET,
                                     LIST,
                                     CHANGE,
                                     PUBLISH_LOG,
                                     PUBLISH_STATE,
                                     PUBLISH_ADDRESSES,
                                     PUBLISH_HOSTNAME,
                                     PUBLISH_EVENT,
                                     READ_LOG,
                                     FOLLOW_LOG,
                                     SEARCH_LOG,
                                     LOG_SERIES,
                                     STOP,
                                     COMPONENTS,
                                     WAIT,
                                     MANAGEMENT,
                                     WATCH_RESULTS,
                                     PROBE,
                                     MESSAGE,
                                     ADD_FAULT,
                                     REMOVE_FAULT,
                                     CLEAR_FAULTS,
                                     LIST_FAULTS,
                                     RELEASE_HELD}) {
        const OperatorAnswer answer = operator_.answerTo(code, WireBytes{1, 2, 3});
        EXPECT_EQ(answer.status, OperatorStatus::REFUSED) << code;
        EXPECT_EQ(answer.reason, "the request cannot be read") << code;
    }
}

TEST_F(OperatorServiceTest, ignoresWhatHasNoTagOrIsOfAnotherFormat) {
    operator_.party().send(ServiceAddress::OPERATOR, OperatorCode::FORMAT, OperatorCode::COMPONENTS, {1, 2});
    operator_.party().send(ServiceAddress::OPERATOR, MessageFormat::DS, OperatorCode::COMPONENTS, {0, 0, 0, 1});
    operator_.party().send(ServiceAddress::OPERATOR, MessageFormat::PROBE, ProbeCode::REPLY);

    EXPECT_THAT(operator_.answers(), IsEmpty());
}

TEST_F(OperatorServiceTest, tellsComponentsAndHowFarTheyHaveCome) {
    using Component = ComponentList::Component;
    const auto at = [this](ComponentState state) {
        return Component{"OrvApp", state, component_.address().node, component_.address().process};
    };
    EXPECT_THAT(components(), IsEmpty());
    registerComponent();
    EXPECT_THAT(components(), ElementsAre(at(ComponentState::REGISTERED)));
    componentIsReady();
    EXPECT_THAT(components(), ElementsAre(at(ComponentState::READY)));
    componentIsConfigured();
    EXPECT_THAT(components(), ElementsAre(at(ComponentState::STARTED)));
    componentLeaves();
    EXPECT_THAT(components(), IsEmpty());
}

TEST_F(OperatorServiceTest, answersAWaitOnceTheStateIsReached) {
    const std::uint32_t ready = operator_.ask(OperatorCode::WAIT, WaitRequest{"orvApp", ComponentState::READY});
    const std::uint32_t started = operator_.ask(OperatorCode::WAIT, WaitRequest{"OrvApp", ComponentState::STARTED});
    registerComponent();
    EXPECT_THAT(operator_.answers(), IsEmpty());

    componentIsReady();
    std::vector<OperatorAnswer> got = operator_.answers();
    ASSERT_THAT(got, SizeIs(1));
    EXPECT_EQ(got[0], (OperatorAnswer{OperatorCode::replyTo(OperatorCode::WAIT), ready, OperatorStatus::OK, "", {}}));
    componentIsConfigured();

    got = operator_.answers();
    ASSERT_THAT(got, SizeIs(1));
    EXPECT_EQ(got[0].tag, started);
}

TEST_F(OperatorServiceTest, answersAWaitAtOnceWhenTheStateIsReachedAlready) {
    registerComponent();
    componentIsReady();

    EXPECT_EQ(operator_.answerTo(OperatorCode::WAIT, WaitRequest{"orvapp", ComponentState::REGISTERED}).status,
              OperatorStatus::OK);
}

TEST_F(OperatorServiceTest, waitsForTheNextLifeOfAComponentThatLeft) {
    registerComponent();
    componentLeaves();
    operator_.ask(OperatorCode::WAIT, WaitRequest{"orvApp", ComponentState::REGISTERED});
    EXPECT_THAT(operator_.answers(), IsEmpty());
    BusParty next(sw_.bus());

    next.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER, encodeFields(CnsRegister{1, 0, "OrvApp"}));

    EXPECT_THAT(operator_.answers(), SizeIs(1));
}

TEST_F(OperatorServiceTest, refusesToWaitForNothing) {
    EXPECT_EQ(operator_.answerTo(OperatorCode::WAIT, WaitRequest{"", ComponentState::READY}).status,
              OperatorStatus::REFUSED);
    EXPECT_EQ(operator_.answerTo(OperatorCode::WAIT, WaitRequest{"orvApp", ComponentState::ABSENT}).status,
              OperatorStatus::REFUSED);
    EXPECT_EQ(operator_.answerTo(OperatorCode::WAIT, WaitRequest{"orvApp", static_cast<ComponentState>(5)}).status,
              OperatorStatus::REFUSED);
}

TEST_F(OperatorServiceTest, forwardsAManagementRequestAndItsResponse) {
    registerComponent();

    const std::uint32_t tag = call(2, encodeFields(TestProfileRequest{0, 0, "Ops"}));
    EXPECT_THAT(operator_.answers(), IsEmpty());
    ASSERT_THAT(component_.messages(), SizeIs(1));
    const auto request = decodeFields<TestProfileRequest>(component_.messages()[0].payload());
    EXPECT_EQ(request->name, "Ops");
    const WireBytes response = encodeFields(TestProfileResponse{request->handle, 6, "Ops"});
    componentResponds(102, response);

    EXPECT_THAT(operator_.answers(),
                ElementsAre(OperatorAnswer{OperatorCode::replyTo(OperatorCode::MANAGEMENT), tag, OperatorStatus::OK, "",
                                           encodeFields(ManagementAnswer{102, response})}));
}

TEST_F(OperatorServiceTest, keepsTheResponsesOfTwoOperatorsApart) {
    registerComponent();
    call(3);
    other_.ask(OperatorCode::MANAGEMENT, ManagementCall{"orvApp", 3, true, WireSpan(WireBytes(8))});
    const auto first = decodeFields<ManagementRequest>(component_.messages().at(0).payload());
    const auto second = decodeFields<ManagementRequest>(component_.messages().at(1).payload());

    componentResponds(103, encodeFields(ManagementResponse{second->handle, 0}));
    EXPECT_THAT(operator_.answers(), IsEmpty());
    EXPECT_THAT(other_.answers(), SizeIs(1));
    componentResponds(103, encodeFields(ManagementResponse{first->handle, 0}));

    EXPECT_THAT(operator_.answers(), SizeIs(1));
}

TEST_F(OperatorServiceTest, doesNotWaitForAResponseThatNobodyWants) {
    registerComponent();

    call(77, {1, 2}, false);

    ASSERT_THAT(component_.messages(), SizeIs(1));
    EXPECT_EQ(component_.messages()[0].code(), 77);
    EXPECT_THAT(component_.messages()[0].payload(), ElementsAre(1, 2));
    const std::vector<OperatorAnswer> got = operator_.answers();
    ASSERT_THAT(got, SizeIs(1));
    EXPECT_EQ(got[0].body, encodeFields(ManagementAnswer()));
}

TEST_F(OperatorServiceTest, saysThatAComponentIsNotThere) {
    using namespace OperatorCode;
    const WireBytes payload(8);
    const OperatorAnswer answers[] = {
        operator_.answerTo(MANAGEMENT, ManagementCall{"orvApp", 1, true, payload}),
        operator_.answerTo(PROBE, ProbeRequest{"orvApp", 0}),
        operator_.answerTo(MESSAGE, RawMessage{"orvApp", 103, 2, payload}),
    };
    for (const OperatorAnswer& answer : answers) {
        EXPECT_EQ(answer.status, OperatorStatus::NO_COMPONENT);
        EXPECT_EQ(answer.reason, "component 'orvApp' is not there");
    }
}

TEST_F(OperatorServiceTest, saysThatAComponentLeftBeforeItAnswered) {
    registerComponent();
    const std::uint32_t managed = call(1);
    const std::uint32_t probed = operator_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 0});

    componentLeaves();

    const std::vector<OperatorAnswer> got = operator_.answers();
    ASSERT_THAT(got, SizeIs(2));
    EXPECT_EQ(got[0].tag, managed);
    EXPECT_EQ(got[1].tag, probed);
    for (const OperatorAnswer& answer : got) {
        EXPECT_EQ(answer.status, OperatorStatus::NO_COMPONENT);
        EXPECT_EQ(answer.reason, "the component has left the bus");
    }
}

TEST_F(OperatorServiceTest, tellsTestResultsToThoseWhoWatch) {
    using Result = TestResults::Result;
    registerComponent();
    componentResponds(107, encodeFields(TestProfileResults{1, "Night"}));
    const OperatorAnswer last = operator_.answerTo(OperatorCode::WATCH_RESULTS);
    EXPECT_THAT(decodeFields<TestResults>(last.body)->results, ElementsAre(Result{"Night", 1}));

    componentResponds(107, encodeFields(TestProfileResults{0, "Ops"}));

    const std::vector<OperatorAnswer> got = operator_.answers();
    ASSERT_THAT(got, SizeIs(1));
    EXPECT_EQ(got[0].code, OperatorCode::TEST_RESULT);
    EXPECT_EQ(got[0].tag, last.tag);
    EXPECT_THAT(decodeFields<TestResults>(got[0].body)->results, ElementsAre(Result{"Ops", 0}));
    EXPECT_THAT(other_.answers(), IsEmpty());
}

TEST_F(OperatorServiceTest, forwardsAProbeAndTellsWhenItIsDone) {
    registerComponent();
    const std::uint32_t tag = operator_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 5});
    ASSERT_THAT(component_.messages(), SizeIs(1));
    EXPECT_EQ(component_.messages()[0].format(), 108);
    EXPECT_EQ(component_.messages()[0].code(), 5);
    EXPECT_THAT(component_.messages()[0].payload(), IsEmpty());
    EXPECT_THAT(operator_.answers(), IsEmpty());

    component_.send(component_.messages()[0].source(), MessageFormat::PROBE, ProbeCode::REPLY);

    EXPECT_THAT(operator_.answers(), ElementsAre(OperatorAnswer{
                                         OperatorCode::replyTo(OperatorCode::PROBE), tag, OperatorStatus::OK, "", {}}));
}

TEST_F(OperatorServiceTest, answersProbesInTheOrderSentEvenWhenOneIsGivenUp) {
    registerComponent();
    const std::uint32_t givenUp = operator_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 0});
    other_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 0});
    EXPECT_EQ(operator_.answerTo(OperatorCode::STOP, OneTag{givenUp}).status, OperatorStatus::OK);

    component_.send(ServiceAddress::OPERATOR, MessageFormat::PROBE, ProbeCode::REPLY);
    EXPECT_THAT(other_.answers(), IsEmpty());
    component_.send(ServiceAddress::OPERATOR, MessageFormat::PROBE, ProbeCode::REPLY);

    EXPECT_THAT(other_.answers(), SizeIs(1));
    EXPECT_THAT(operator_.answers(), IsEmpty());
}

TEST_F(OperatorServiceTest, sendsAnyMessageToAComponent) {
    registerComponent();
    const WireBytes payload{9, 8, 7};

    EXPECT_EQ(operator_.answerTo(OperatorCode::MESSAGE, RawMessage{"orvApp", 4, 51, payload}).status,
              OperatorStatus::OK);

    ASSERT_THAT(component_.messages(), SizeIs(1));
    EXPECT_EQ(component_.messages()[0].format(), 4);
    EXPECT_EQ(component_.messages()[0].code(), 51);
    EXPECT_THAT(component_.messages()[0].payload(), ElementsAre(9, 8, 7));
}

TEST_F(OperatorServiceTest, stopsAllKindsOfLateAnswers) {
    registerComponent();
    const std::uint32_t tags[] = {
        operator_.ask(OperatorCode::WAIT, WaitRequest{"orvApp", ComponentState::STARTED}),
        call(1),
        operator_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 0}),
    };
    const auto request = decodeFields<ManagementRequest>(component_.messages().at(0).payload());
    for (const std::uint32_t tag : tags) {
        EXPECT_EQ(operator_.answerTo(OperatorCode::STOP, OneTag{tag}).status, OperatorStatus::OK);
        EXPECT_EQ(operator_.answerTo(OperatorCode::STOP, OneTag{tag}).status, OperatorStatus::REFUSED);
    }
    const std::uint32_t watching = operator_.answerTo(OperatorCode::WATCH_RESULTS).tag;
    EXPECT_EQ(operator_.answerTo(OperatorCode::STOP, OneTag{watching}).status, OperatorStatus::OK);

    componentIsReady();
    componentIsConfigured();
    componentResponds(101, encodeFields(ManagementResponse{request->handle, 0}));
    componentResponds(107, encodeFields(TestProfileResults{0, "Ops"}));
    component_.send(ServiceAddress::OPERATOR, MessageFormat::PROBE, ProbeCode::REPLY);

    EXPECT_THAT(operator_.answers(), IsEmpty());
}

TEST_F(OperatorServiceTest, forgetsEverythingAnOperatorWaitedForWhenItLeaves) {
    registerComponent();
    operator_.ask(OperatorCode::WAIT, WaitRequest{"orvApp", ComponentState::STARTED});
    operator_.ask(OperatorCode::WATCH_RESULTS);
    operator_.ask(OperatorCode::PROBE, ProbeRequest{"orvApp", 0});
    call(1);
    const auto request = decodeFields<ManagementRequest>(component_.messages().at(1).payload());
    operator_.party().leave();
    sw_.pump();
    unsigned answersSent = 0;
    sw_.bus().observe([&](const Hsb_Message& message) { answersSent += message.format() == OperatorCode::FORMAT; });

    componentIsReady();
    componentIsConfigured();
    componentResponds(101, encodeFields(ManagementResponse{request->handle, 0}));
    componentResponds(107, encodeFields(TestProfileResults{0, "Ops"}));
    component_.send(ServiceAddress::OPERATOR, MessageFormat::PROBE, ProbeCode::REPLY);
    sw_.pump();

    EXPECT_EQ(answersSent, 0u);
}

namespace {

struct EncodableRule {
    FaultRule rule;

    static void fields(auto& io, auto& message) { io.rest(FaultWire::encode(message.rule)); }
};

}  // namespace

TEST_F(OperatorServiceTest, drivesTheSameFaultsAsTheTests) {
    const EncodableRule rule{{FaultKind::HOLD, FaultOperation::GET, "A*", 2, 0, -1}};

    const OperatorAnswer added = operator_.answerTo(OperatorCode::ADD_FAULT, rule);

    EXPECT_EQ(decodeFields<OneTag>(added.body)->number, 1u);
    ASSERT_THAT(sw_.faults().rules(), SizeIs(1));
    EXPECT_EQ(sw_.faults().rules()[0].rule, rule.rule);
    EXPECT_THAT(decodeFields<FaultList>(operator_.answerTo(OperatorCode::LIST_FAULTS).body)->faults,
                ElementsAre(FaultList::Entry{1, rule.rule}));
    EXPECT_EQ(operator_.answerTo(OperatorCode::REMOVE_FAULT, OneTag{1}).status, OperatorStatus::OK);
    EXPECT_THAT(sw_.faults().rules(), IsEmpty());
}

TEST_F(OperatorServiceTest, releasesHeldAnswersAndClearsFaults) {
    bool released = false;
    sw_.faults().hold([&] { released = true; });
    EXPECT_EQ(decodeFields<OneTag>(operator_.answerTo(OperatorCode::RELEASE_HELD).body)->number, 1u);
    EXPECT_TRUE(released);
    sw_.faults().add(FaultRule());
    sw_.faults().add(FaultRule());

    EXPECT_EQ(decodeFields<OneTag>(operator_.answerTo(OperatorCode::CLEAR_FAULTS).body)->number, 2u);

    EXPECT_THAT(sw_.faults().rules(), IsEmpty());
}

TEST_F(OperatorServiceTest, refusesFaultsThatMakeNoSense) {
    const EncodableRule rule{{FaultKind::HOLD, FaultOperation::LOOKUP, "SM", 1, 0, 0}};

    EXPECT_EQ(operator_.answerTo(OperatorCode::ADD_FAULT, rule).reason, "a lookup can only be left unanswered");
    EXPECT_EQ(operator_.answerTo(OperatorCode::REMOVE_FAULT, OneTag{8}).reason, "there is no fault 8");
}
