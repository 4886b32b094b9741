#include "MessageCodes.h"
#include "Sw_Log_Type.h"
#include "platform/wire/EnsWire.h"
#include "testing/OperatorSession.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;

namespace {

class OperatorEventsTest : public ::testing::Test {
protected:
    LoopbackSwitch sw_;
    OperatorSession operator_{sw_};
};

}  // namespace

TEST_F(OperatorEventsTest, publishesEventsOfEveryKind) {
    BusParty subscriber(sw_.bus());
    for (const auto& [category, event] : {std::pair{1u, 0u}, {66u, 3u}, {2u, 56u}, {90u, 0u}, {7u, 8u}}) {
        subscriber.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE,
                        encodeFields(EnsRequest{category, event}));
    }
    sw_.pump();
    subscriber.take();
    LogRecord record;
    record.record.text = "a fan has failed";
    const WireBytes data{1, 2, 3};

    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_LOG, record).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_STATE, OneText{"Offline"}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_ADDRESSES, KeyList{{"10.0.0.1"}}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_HOSTNAME, OneText{"3-sw"}).status, OperatorStatus::OK);
    EXPECT_EQ(operator_.answerTo(OperatorCode::PUBLISH_EVENT, RawEvent{7, 8, data}).status, OperatorStatus::OK);

    std::vector<std::pair<std::uint32_t, std::uint32_t>> events;
    for (const Hsb_Message& message : subscriber.messages()) {
        const auto event = decodeFields<EnsEventData>(message.payload());
        events.emplace_back(event->category, event->number);
    }
    using Event = std::pair<std::uint32_t, std::uint32_t>;
    EXPECT_THAT(events, ElementsAre(Event{1, 0}, Event{66, 3}, Event{2, 56}, Event{90, 0}, Event{7, 8}));
    EXPECT_EQ(sw_.attribute("Config.Switch.AdminState"), "Offline");
    EXPECT_THAT(sw_.eventLog(), ElementsAre(LogLine{0, 0, "a fan has failed"}));
}

TEST_F(OperatorEventsTest, saysWhatIsWrongWithAnAddress) {
    const OperatorAnswer answer = operator_.answerTo(OperatorCode::PUBLISH_ADDRESSES, KeyList{{"10.0.0.300"}});

    EXPECT_EQ(answer.status, OperatorStatus::FAILED);
    EXPECT_EQ(answer.reason, "'10.0.0.300' is neither an IPv4 nor an IPv6 address");
}
