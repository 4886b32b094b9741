#include "switchd/services/AttributeService.h"

#include "MessageCodes.h"
#include "dsClient.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

#include <limits>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

// Negative, and its low 16 bits are 52.
constexpr std::int32_t ODD_STATUS = std::numeric_limits<std::int32_t>::min() + 52;

class AttributeServiceTest : public ::testing::Test {
protected:
    AttributeServiceTest() {
        sw_.set("A", "alpha");
        sw_.set("B", "beta");
        sw_.set("C", "gamma");
    }
    void send(std::uint16_t code, std::vector<std::uint8_t> payload) {
        caller_.send(ServiceAddress::ATTRIBUTES, MessageFormat::DS, code, std::move(payload));
        sw_.pump();
    }
    void get(std::uint32_t id, const std::string& name) { send(DsCode::GET, encodeFields(DsGet{id, 1, name})); }
    void bulkGet(std::uint32_t id, const std::vector<std::string>& names) {
        send(DsCode::BULK_GET, encodeFields(DsBulkGet{id, names}));
    }
    void set(std::uint32_t id, const std::string& name, const std::string& value) {
        send(DsCode::SET, encodeFields(DsSet{id, dsClient::TYPE_STRING, 1, name, value}));
    }
    // The only message that has come, which must have this code; empty when there is not exactly one.
    std::vector<std::uint8_t> answer(std::uint16_t code) {
        const std::vector<Hsb_Message> messages = caller_.take();
        EXPECT_THAT(messages, SizeIs(1));
        if (messages.size() != 1) {
            return {};
        }
        EXPECT_EQ(messages[0].format(), 103);
        EXPECT_EQ(messages[0].code(), code);
        return {messages[0].payload().begin(), messages[0].payload().end()};
    }
    DsAttributeAnswer attribute() { return decodeFields<DsAttributeAnswer>(answer(2)).value_or(DsAttributeAnswer()); }
    DsBulkAnswer bulk() { return decodeFields<DsBulkAnswer>(answer(9)).value_or(DsBulkAnswer()); }
    DsStatusAnswer status() { return decodeFields<DsStatusAnswer>(answer(1)).value_or(DsStatusAnswer()); }
    void spoil(FaultKind kind, FaultOperation operation, const std::string& pattern, std::uint32_t count = 1,
               std::uint32_t milliseconds = 0, std::int32_t badStatus = 0) {
        sw_.faults().add({kind, operation, pattern, count, milliseconds, badStatus});
    }
    // The ids of the single answers that have come.
    std::vector<std::uint32_t> idsGot() {
        std::vector<std::uint32_t> ids;
        for (const Hsb_Message& message : caller_.take()) {
            ids.push_back(decodeFields<DsAttributeAnswer>(message.payload())->id);
        }
        return ids;
    }

    LoopbackSwitch sw_;
    BusParty caller_{sw_.bus()};
};

}  // namespace

TEST_F(AttributeServiceTest, answersAConnect) {
    send(DsCode::CONNECT, encodeFields(DsConnect{1}));

    EXPECT_EQ(decodeFields<DsConnect>(answer(50))->version, 1u);
}

TEST_F(AttributeServiceTest, answersAGetWithTypeAndValue) {
    get(7, "Global.Callhome.SMTPPort");

    const DsAttributeAnswer reply = attribute();
    EXPECT_EQ(reply.id, 7u);
    EXPECT_EQ(reply.attribute, (DsValue{"Global.Callhome.SMTPPort", dsClient::TYPE_INTEGER, 0, "25"}));
}

TEST_F(AttributeServiceTest, answersAGetOfAMissingAttributeWithANegativeStatus) {
    get(7, "No.Such");

    EXPECT_EQ(attribute().attribute, (DsValue{"No.Such", 0, -2, ""}));
}

TEST_F(AttributeServiceTest, answersABulkGetInTheOrderAskedFor) {
    bulkGet(3, {"C", "No.Such", "A", "C"});

    const DsBulkAnswer reply = bulk();
    EXPECT_EQ(reply.id, 3u);
    EXPECT_THAT(reply.attributes, ElementsAre(DsValue{"C", 1, 0, "gamma"}, DsValue{"No.Such", 0, -2, ""},
                                              DsValue{"A", 1, 0, "alpha"}, DsValue{"C", 1, 0, "gamma"}));
}

TEST_F(AttributeServiceTest, answersABulkGetOfNothing) {
    bulkGet(3, {});

    EXPECT_THAT(bulk().attributes, IsEmpty());
}

TEST_F(AttributeServiceTest, answersAsManyNamesAsABulkGetCanHold) {
    bulkGet(3, std::vector<std::string>(dsClient::MAX_BULK_NAMES, "A"));

    EXPECT_THAT(bulk().attributes, SizeIs(dsClient::MAX_BULK_NAMES));
}

TEST_F(AttributeServiceTest, leavesOutWhatWouldMakeABulkAnswerTooLong) {
    sw_.set("Big", std::string(AttributeStore::MAX_VALUE, 'x'));

    bulkGet(3, {"Big", "Big", "Big", "A"});

    const DsBulkAnswer reply = bulk();
    ASSERT_THAT(reply.attributes, SizeIs(4));
    EXPECT_EQ(reply.attributes[1].status, 0);
    EXPECT_EQ(reply.attributes[2], (DsValue{"Big", 0, -3, ""}));
    EXPECT_EQ(reply.attributes[3], (DsValue{"A", 1, 0, "alpha"}));
}

TEST_F(AttributeServiceTest, setsAnAttributeAndAnswersWithItsStatus) {
    set(10, "Oper.Callhome.MarkerData", "OK");

    const DsStatusAnswer reply = status();
    EXPECT_EQ(reply.id, 10u);
    EXPECT_EQ(reply.status, 0);
    EXPECT_EQ(sw_.attribute("Oper.Callhome.MarkerData"), "OK");
}

TEST_F(AttributeServiceTest, tellsThatAnAttributeCouldNotBeSet) {
    set(10, "not a key", "x");

    EXPECT_EQ(status().status, -3);
}

TEST_F(AttributeServiceTest, ignoresWhatItCannotRead) {
    for (const std::uint16_t code : {DsCode::CONNECT, DsCode::GET, DsCode::BULK_GET, DsCode::SET, std::uint16_t{99}}) {
        send(code, {1, 2, 3});
    }
    caller_.send(ServiceAddress::ATTRIBUTES, MessageFormat::CNS, DsCode::GET, encodeFields(DsGet{1, 1, "A"}));
    sw_.pump();

    EXPECT_THAT(caller_.messages(), IsEmpty());
}

// --- Faults ---

TEST_F(AttributeServiceTest, refusesAGetOnRequest) {
    spoil(FaultKind::REFUSE, FaultOperation::GET, "A");

    get(1, "A");
    EXPECT_EQ(attribute().attribute, (DsValue{"A", 0, -1, ""}));
    get(1, "A");
    EXPECT_EQ(attribute().attribute, (DsValue{"A", 1, 0, "alpha"}));
}

TEST_F(AttributeServiceTest, refusesSingleEntriesOfABulkGetOnRequest) {
    spoil(FaultKind::REFUSE, FaultOperation::BULK_GET, "B");

    bulkGet(1, {"A", "B", "C"});

    EXPECT_THAT(bulk().attributes,
                ElementsAre(DsValue{"A", 1, 0, "alpha"}, DsValue{"B", 0, -1, ""}, DsValue{"C", 1, 0, "gamma"}));
}

TEST_F(AttributeServiceTest, refusesASetOnRequestAndLeavesTheValue) {
    spoil(FaultKind::REFUSE, FaultOperation::SET, "A");

    set(1, "A", "new");

    EXPECT_EQ(status().status, -1);
    EXPECT_EQ(sw_.attribute("A"), "alpha");
}

TEST_F(AttributeServiceTest, doesNotAnswerARefusedConnect) {
    spoil(FaultKind::REFUSE, FaultOperation::CONNECT, "*");

    send(DsCode::CONNECT, encodeFields(DsConnect{1}));

    EXPECT_THAT(caller_.messages(), IsEmpty());
}

TEST_F(AttributeServiceTest, answersWithABadStatusOnRequestAlthoughItDidWhatWasAsked) {
    spoil(FaultKind::BAD_STATUS, FaultOperation::ANY, "A", 3, 0, ODD_STATUS);

    get(1, "A");
    EXPECT_EQ(attribute().attribute, (DsValue{"A", 1, ODD_STATUS, "alpha"}));
    bulkGet(1, {"A", "B"});
    EXPECT_THAT(bulk().attributes, ElementsAre(DsValue{"A", 1, ODD_STATUS, "alpha"}, DsValue{"B", 1, 0, "beta"}));
    set(1, "A", "new");
    EXPECT_EQ(status().status, ODD_STATUS);

    EXPECT_EQ(sw_.attribute("A"), "new");
}

TEST_F(AttributeServiceTest, answersLateOnRequest) {
    spoil(FaultKind::DELAY, FaultOperation::GET, "A", 1, 2500);

    get(1, "A");
    get(2, "B");
    EXPECT_THAT(idsGot(), ElementsAre(2));
    sw_.clock().advance(2499);
    sw_.pump();
    EXPECT_THAT(idsGot(), IsEmpty());
    sw_.clock().advance(1);
    sw_.pump();

    EXPECT_THAT(idsGot(), ElementsAre(1));
}

TEST_F(AttributeServiceTest, holdsAnswersUntilTheyAreReleasedSoThatOthersOvertakeThem) {
    spoil(FaultKind::HOLD, FaultOperation::GET, "A", 2);

    get(1, "A");
    get(2, "B");
    get(3, "A");
    EXPECT_THAT(idsGot(), ElementsAre(2));
    EXPECT_EQ(sw_.faults().held(), 2u);
    EXPECT_EQ(sw_.faults().release(), 2u);
    sw_.pump();

    EXPECT_THAT(idsGot(), ElementsAre(1, 3));
}

TEST_F(AttributeServiceTest, dropsEntriesFromABulkAnswerOnRequest) {
    spoil(FaultKind::DROP_ENTRY, FaultOperation::BULK_GET, "B");

    bulkGet(1, {"A", "B", "C"});

    EXPECT_THAT(bulk().attributes, ElementsAre(DsValue{"A", 1, 0, "alpha"}, DsValue{"C", 1, 0, "gamma"}));
}

TEST_F(AttributeServiceTest, corruptsAnswersOfEveryKindOnRequest) {
    spoil(FaultKind::CORRUPT, FaultOperation::ANY, "A", 3);

    get(1, "A");
    EXPECT_FALSE(decodeFields<DsAttributeAnswer>(answer(2)).has_value());
    bulkGet(1, {"A"});
    EXPECT_FALSE(decodeFields<DsBulkAnswer>(answer(9)).has_value());
    set(1, "A", "x");
    EXPECT_FALSE(decodeFields<DsStatusAnswer>(answer(1)).has_value());
}

TEST_F(AttributeServiceTest, neverAnswersOnRequestUntilTheRuleIsRemoved) {
    spoil(FaultKind::SILENT, FaultOperation::ANY, "*", 0);

    get(1, "A");
    bulkGet(2, {"A", "B"});
    set(3, "A", "x");
    send(DsCode::CONNECT, encodeFields(DsConnect{1}));
    EXPECT_THAT(caller_.messages(), IsEmpty());
    EXPECT_EQ(sw_.faults().clear(), 1u);
    get(4, "B");

    EXPECT_THAT(idsGot(), ElementsAre(4));
}

TEST_F(AttributeServiceTest, forgetsLateAnswersWhenItGoes) {
    {
        Faults faults;
        faults.add({FaultKind::DELAY, FaultOperation::GET, "*", 1, 1000, 0});
        AttributeService shortLived(sw_.switchSide(), sw_.store(), faults);
        Hsb_Message request(MessageFormat::DS, DsCode::GET, encodeFields(DsGet{9, 1, "A"}));
        request.source(caller_.address());
        shortLived.receive(request);
    }

    sw_.tick(5);

    EXPECT_THAT(caller_.messages(), IsEmpty());
}
