// Who may say what to a component.
#include "MessageCodes.h"
#include "platform/wire/CmonWire.h"
#include "platform/wire/DsWire.h"
#include "testing/platform/ClientTest.h"

#include "DSCallbacks.h"
#include "dsClient.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class Ready final : public DSCallbacks {
public:
    void DSApiReady() override { ++calls; }

    int calls = 0;
};

struct SpeakerCase {
    const char* name;
    std::uint16_t format;
    std::uint16_t code;
    bool fromAnybody;
};

class Speakers : public ClientTest, public testing::WithParamInterface<SpeakerCase> {
protected:
    // A program that says it is a service.
    void sendAsStranger(std::uint16_t format, std::uint16_t code, const Hsb_Address& pretended, Bytes payload = {}) {
        Hsb_Message message(format, code, std::move(payload));
        message.source(pretended);
        message.destination(slot_.address());
        ASSERT_EQ(stranger_.send(message), 0);
        deliver();
    }

    LoopbackTransport stranger_{bus_};
};

}  // namespace

TEST_P(Speakers, areHeardWhenTheyAreServices) {
    joinAndInsert();

    sendToComponent(ServiceAddress::OPERATOR, GetParam().format, GetParam().code);

    EXPECT_THAT(component_.messages, SizeIs(1));
}

TEST_P(Speakers, areHeardOrNotWhenTheyAreSomebodyElse) {
    joinAndInsert();
    ASSERT_EQ(stranger_.join(), 0);

    for (const Hsb_Address& pretended : {Hsb_Address{1, 77, 1}, ServiceAddress::ATTRIBUTES, ServiceAddress::NAMES}) {
        component_.messages.clear();
        sendAsStranger(GetParam().format, GetParam().code, pretended);
        EXPECT_THAT(component_.messages, SizeIs(GetParam().fromAnybody ? 1 : 0));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, Speakers,
    testing::Values(SpeakerCase{"lookupAnswer", MessageFormat::CNS, CnsCode::LOOKUP_RESPONSE, false},
                    SpeakerCase{"event", MessageFormat::ENS_EVENT, EnsEventCode::EVENT, false},
                    SpeakerCase{"eventServiceReady", MessageFormat::ENS, EnsCode::READY, false},
                    SpeakerCase{"attribute", MessageFormat::DS, DsCode::ATTRIBUTE_REPLY, false},
                    SpeakerCase{"attributes", MessageFormat::DS, DsCode::BULK_REPLY, false},
                    SpeakerCase{"writeStatus", MessageFormat::DS, DsCode::STATUS_REPLY, false},
                    SpeakerCase{"readConfiguration", MessageFormat::CMON, CmonCode::READ_CONF, false},
                    SpeakerCase{"start", MessageFormat::CMON, CmonCode::START, false},
                    SpeakerCase{"probe", MessageFormat::PROBE, ProbeCode::DUMP_STATE, true},
                    SpeakerCase{"managementRequest", MessageFormat::MANAGEMENT, ManagementCode::CLEAR_QUEUE, true},
                    SpeakerCase{"anythingElse", 77, 5, true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(Speakers, cannotGreetForTheAttributeStore) {
    joinAndInsert();
    ASSERT_EQ(stranger_.join(), 0);
    Ready ready;
    dsClient store;
    ASSERT_EQ(store.init(&component_, &ready), 1);

    sendAsStranger(MessageFormat::DS, DsCode::CONNECTED, ServiceAddress::ATTRIBUTES, encodeFields(DsConnect{}));
    EXPECT_EQ(ready.calls, 0);

    sendToComponent(ServiceAddress::ATTRIBUTES, MessageFormat::DS, DsCode::CONNECTED, encodeFields(DsConnect{}));
    EXPECT_EQ(ready.calls, 1);
}
