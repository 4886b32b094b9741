#include "switchd/services/SwitchEvents.h"

#include "MessageCodes.h"
#include "platform/wire/EnsWire.h"
#include "platform/wire/SocketAddress.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using Bytes = std::vector<std::uint8_t>;

class SwitchEventsTest : public ::testing::Test {
protected:
    // The data of the one event that is published by what is done.
    template <typename Action>
    Bytes dataOf(std::uint32_t category, std::uint32_t number, Action action) {
        subscriber_.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE,
                         encodeFields(EnsRequest{category, number}));
        sw_.pump();
        subscriber_.take();
        action();
        sw_.pump();
        const std::vector<Hsb_Message> messages = subscriber_.take();
        EXPECT_THAT(messages, SizeIs(1));
        if (messages.size() != 1) {
            return {};
        }
        const auto event = decodeFields<EnsEventData>(messages[0].payload());
        EXPECT_EQ(event->category, category);
        EXPECT_EQ(event->number, number);
        return {event->data.begin(), event->data.end()};
    }
    SwitchEvents& events() { return sw_.services().happenings(); }

    LoopbackSwitch sw_;
    BusParty subscriber_{sw_.bus()};
};

}  // namespace

TEST_F(SwitchEventsTest, publishARecordWithEveryFieldAndTheTimeThatItBrings) {
    Sw_Log_Type record;
    record.kind = 3;
    record.number = 0x12345678;
    record.slot = 1;
    record.chip = 2;
    record.port = 3;
    record.spare = 4;
    record.flags = 5;
    record.componentClass = 6;
    record.seconds = 7;
    record.microseconds = 8;
    record.location1 = 9;
    record.location2 = 10;
    record.locationIndex = 11;
    record.locationName1 = "Blade";
    record.locationName2 = "Fan";
    record.text = "a fan has failed";

    const Bytes data = dataOf(1, 0, [&] { EXPECT_EQ(events().logRecord(record, true), 0); });

    EXPECT_EQ(data, record.encode());
    EXPECT_THAT(sw_.logEntries(), ElementsAre(LogEntry{1, 7, 8, 3, 0x12345678, 5, "operator", "a fan has failed"}));
}

TEST_F(SwitchEventsTest, giveARecordWithoutATimeThePresent) {
    Sw_Log_Type record;
    record.seconds = 7;

    const Bytes data = dataOf(1, 0, [&] { EXPECT_EQ(events().logRecord(record, false), 0); });

    Sw_Log_Type published;
    ASSERT_EQ(Sw_Log_Type::decode(data, published), 0);
    EXPECT_EQ(published.seconds, 1700000000u);
    EXPECT_EQ(published.microseconds, 123456u);
}

TEST_F(SwitchEventsTest, setAndPublishTheSwitchesState) {
    const Bytes data = dataOf(66, 3, [&] { EXPECT_EQ(events().state("Offline"), 0); });

    EXPECT_THAT(data, ElementsAre('O', 'f', 'f', 'l', 'i', 'n', 'e', 0));
    EXPECT_EQ(sw_.attribute("Config.Switch.AdminState"), "Offline");
}

TEST_F(SwitchEventsTest, publishNoStateThatTheStoreDoesNotTake) {
    subscriber_.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE, encodeFields(EnsRequest{66, 3}));
    sw_.pump();
    subscriber_.take();

    EXPECT_EQ(events().state(std::string(AttributeStore::MAX_VALUE + 1, 'x')), -1);
    sw_.pump();

    EXPECT_EQ(events().reason(), "Config.Switch.AdminState: value of 10485761 bytes is longer than 10485760");
    EXPECT_EQ(sw_.attribute("Config.Switch.AdminState"), "Online");
    EXPECT_THAT(subscriber_.messages(), IsEmpty());
}

TEST_F(SwitchEventsTest, publishAddressesInTheLayoutOfInterfaceChanges) {
    const Bytes data = dataOf(2, 56, [&] { EXPECT_EQ(events().addresses({"10.1.2.3", "fe80::1"}), 0); });

    const auto change = decodeFields<InterfaceChange>(data);
    ASSERT_TRUE(change);
    EXPECT_EQ(change->interface, change->management);
    ASSERT_THAT(change->addresses, SizeIs(2));
    EXPECT_EQ(SocketAddress::text(change->addresses[0]), "10.1.2.3");
    EXPECT_EQ(SocketAddress::text(change->addresses[1]), "fe80::1");
    EXPECT_THAT(data, SizeIs(12 + 2 * 128));
}

TEST_F(SwitchEventsTest, publishThatThereAreNoAddresses) {
    EXPECT_EQ(dataOf(2, 56, [&] { EXPECT_EQ(events().addresses({}), 0); }), Bytes(12));
}

TEST_F(SwitchEventsTest, publishNothingWhenOneAddressIsNone) {
    subscriber_.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE, encodeFields(EnsRequest{2, 56}));
    sw_.pump();
    subscriber_.take();

    EXPECT_EQ(events().addresses({"10.1.2.3", "10.1.2"}), -1);
    sw_.pump();

    EXPECT_EQ(events().reason(), "'10.1.2' is neither an IPv4 nor an IPv6 address");
    EXPECT_THAT(subscriber_.messages(), IsEmpty());
}

TEST_F(SwitchEventsTest, publishTheHostNameAsATextWithItsEnd) {
    EXPECT_THAT(dataOf(90, 0, [&] { events().hostname("3-sw"); }), ElementsAre('3', '-', 's', 'w', 0));
}

TEST_F(SwitchEventsTest, publishAnythingAsItStands) {
    EXPECT_THAT(dataOf(1234, 5678, [&] { events().raw({1234, 5678}, Bytes{9, 0, 8}); }), ElementsAre(9, 0, 8));
}
