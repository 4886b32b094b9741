#include "switchd/services/EventService.h"

#include "MessageCodes.h"
#include "platform/wire/EnsWire.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class EventServiceTest : public ::testing::Test {
protected:
    void request(BusParty& party, std::uint16_t code, std::uint32_t category, std::uint32_t event) {
        party.send(ServiceAddress::EVENTS, MessageFormat::ENS, code, encodeFields(EnsRequest{category, event}));
        sw_.pump();
    }
    void subscribe(BusParty& party, std::uint32_t category, std::uint32_t event) {
        request(party, EnsCode::SUBSCRIBE, category, event);
    }
    // "ready" for code 51, "category/number:data" for an event.
    static std::vector<std::string> got(BusParty& party) {
        std::vector<std::string> result;
        for (const Hsb_Message& message : party.take()) {
            if (message.format() == 4 && message.code() == 51 && message.payload().empty()) {
                result.push_back("ready");
                continue;
            }
            EXPECT_EQ(message.format(), 3);
            EXPECT_EQ(message.code(), 0);
            const auto event = decodeFields<EnsEventData>(message.payload());
            result.push_back(std::to_string(event->category) + "/" + std::to_string(event->number) + ":" +
                             std::string(event->data.begin(), event->data.end()));
        }
        return result;
    }
    std::size_t publish(std::uint32_t category, std::uint32_t number, const std::string& text) {
        const std::vector<std::uint8_t> data(text.begin(), text.end());
        const std::size_t count = sw_.services().events().publish({category, number}, data);
        sw_.pump();
        return count;
    }

    LoopbackSwitch sw_;
    BusParty first_{sw_.bus()};
    BusParty second_{sw_.bus()};
};

}  // namespace

TEST_F(EventServiceTest, handsAnEventToThoseWhoSubscribedToIt) {
    subscribe(first_, 66, 3);
    subscribe(second_, 66, 4);

    EXPECT_EQ(publish(66, 3, "Online"), 1u);

    EXPECT_THAT(got(first_), ElementsAre("ready", "66/3:Online"));
    EXPECT_THAT(got(second_), ElementsAre("ready"));
}

TEST_F(EventServiceTest, saysOnceThatItIsReadyAfterTheFirstSubscription) {
    subscribe(first_, 1, 0);
    EXPECT_THAT(got(first_), ElementsAre("ready"));

    subscribe(first_, 66, 3);
    request(first_, EnsCode::UNSUBSCRIBE, 1, 0);
    request(first_, EnsCode::UNSUBSCRIBE, 66, 3);
    subscribe(first_, 1, 0);

    EXPECT_THAT(got(first_), IsEmpty());
}

TEST_F(EventServiceTest, handsAnEventOnceToAConsumerThatSubscribedTwice) {
    subscribe(first_, 1, 0);
    subscribe(first_, 1, 0);
    first_.take();

    publish(1, 0, "x");

    EXPECT_THAT(got(first_), ElementsAre("1/0:x"));
}

TEST_F(EventServiceTest, handsOutNothingAfterAnUnsubscription) {
    subscribe(first_, 1, 0);
    subscribe(second_, 1, 0);
    request(first_, EnsCode::UNSUBSCRIBE, 1, 0);
    request(first_, EnsCode::UNSUBSCRIBE, 7, 7);
    first_.take();

    EXPECT_EQ(publish(1, 0, "x"), 1u);

    EXPECT_THAT(got(first_), IsEmpty());
}

TEST_F(EventServiceTest, keepsTheOrderOfEvents) {
    subscribe(first_, 1, 0);
    subscribe(first_, 66, 3);
    first_.take();

    publish(1, 0, "a");
    publish(66, 3, "b");
    publish(1, 0, "c");

    EXPECT_THAT(got(first_), ElementsAre("1/0:a", "66/3:b", "1/0:c"));
}

TEST_F(EventServiceTest, forgetsConsumersThatLeftAndGreetsThemAnew) {
    subscribe(first_, 1, 0);
    subscribe(second_, 1, 0);
    first_.leave();
    sw_.pump();
    second_.take();

    EXPECT_EQ(sw_.services().events().subscribers({1, 0}), 1u);
    EXPECT_EQ(publish(1, 0, "x"), 1u);
    EXPECT_THAT(got(second_), ElementsAre("1/0:x"));
}

TEST_F(EventServiceTest, publishesForProducersOnTheBus) {
    subscribe(first_, 89, 1);
    request(second_, EnsCode::PRODUCER_ADD, 89, 1);
    const std::vector<std::uint8_t> data{'h', 'i'};
    second_.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::PUBLISH, encodeFields(EnsEventData{89, 1, data}));
    request(second_, EnsCode::PRODUCER_REMOVE, 89, 1);

    EXPECT_THAT(got(first_), ElementsAre("ready", "89/1:hi"));
    EXPECT_THAT(got(second_), IsEmpty());
}

TEST_F(EventServiceTest, handsOnAnEventWithoutData) {
    subscribe(first_, 89, 0);

    publish(89, 0, "");

    EXPECT_THAT(got(first_), ElementsAre("ready", "89/0:"));
}

TEST_F(EventServiceTest, ignoresWhatItCannotRead) {
    for (const std::uint16_t code : {EnsCode::SUBSCRIBE, EnsCode::UNSUBSCRIBE, EnsCode::PUBLISH, std::uint16_t{99}}) {
        first_.send(ServiceAddress::EVENTS, MessageFormat::ENS, code, {1, 2, 3});
    }
    first_.send(ServiceAddress::EVENTS, MessageFormat::ENS_EVENT, EnsCode::SUBSCRIBE, encodeFields(EnsRequest{1, 0}));
    sw_.pump();

    EXPECT_EQ(publish(1, 0, "x"), 0u);
    EXPECT_THAT(got(first_), IsEmpty());
}
