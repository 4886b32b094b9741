#include "Hsb_Slot.h"

#include "testing/platform/ClientTest.h"

#include <memory>
#include <stdexcept>

using testing::IsEmpty;

namespace {

class HsbSlotTest : public ClientTest {
protected:
    // A message from another process to an address.
    void send(const Hsb_Address& to, std::uint16_t code) {
        Hsb_Message message(1, code);
        message.source(ServiceAddress::NAMES);
        message.destination(to);
        ASSERT_EQ(switch_.send(message), 0);
    }
};

}  // namespace

TEST_F(HsbSlotTest, isEmptyAtFirst) {
    EXPECT_EQ(slot_.address(), Hsb_Address{});
}

TEST_F(HsbSlotTest, givesTheComponentAnAddress) {
    joinAndInsert();

    EXPECT_NE(slot_.address(), Hsb_Address{});
}

TEST_F(HsbSlotTest, tellsTheComponentWhenItCanSend) {
    join();
    int sent = -1;
    component_.onInserted = [&] {
        Hsb_Message fromHere(1, 2);
        fromHere.destination(slot_.address());
        fromHere.source(ServiceAddress::NAMES);
        sent = fromHere.reply(3, 4);
    };

    ASSERT_EQ(slot_.insert(&component_), 0);

    EXPECT_EQ(component_.insertions, 1);
    EXPECT_EQ(sent, 0);
    onlyMessageOf(names_, 3, 4);
}

TEST_F(HsbSlotTest, cannotTakeAComponentBeforeTheBusIsJoined) {
    EXPECT_EQ(slot_.insert(&component_), -1);

    EXPECT_EQ(component_.insertions, 0);
    EXPECT_EQ(slot_.address(), Hsb_Address{});
}

TEST_F(HsbSlotTest, cannotTakeAComponentOnceTheConnectionHasBroken) {
    join();
    process_.breakConnection();

    EXPECT_EQ(slot_.insert(&component_), -1);

    EXPECT_EQ(component_.insertions, 0);
}

TEST_F(HsbSlotTest, takesOneComponentOnly) {
    joinAndInsert();
    TestComponent other;

    EXPECT_EQ(slot_.insert(&other), -1);
    EXPECT_EQ(slot_.insert(nullptr), -1);

    EXPECT_EQ(other.insertions, 0);
}

TEST_F(HsbSlotTest, doesNotTakeAComponentThatStandsInAnother) {
    joinAndInsert();
    Hsb_Slot other;

    EXPECT_EQ(other.insert(&component_), -1);
    EXPECT_EQ(other.insert(nullptr), -1);

    EXPECT_EQ(component_.insertions, 1);
    EXPECT_EQ(other.address(), Hsb_Address{});
}

TEST_F(HsbSlotTest, handsMessagesToItsComponent) {
    joinAndInsert();
    TestComponent other;
    Hsb_Slot otherSlot;
    ASSERT_EQ(otherSlot.insert(&other), 0);

    sendToComponent(ServiceAddress::EVENTS, 3, 0, {1, 2});

    ASSERT_EQ(component_.messages.size(), 1u);
    EXPECT_EQ(component_.messages[0].format(), 3);
    EXPECT_EQ(component_.messages[0].code(), 0);
    EXPECT_EQ(component_.messages[0].source(), ServiceAddress::EVENTS);
    EXPECT_EQ(component_.messages[0].destination(), slot_.address());
    EXPECT_EQ(bytesOf(component_.messages[0]), (Bytes{1, 2}));
    EXPECT_THAT(other.messages, IsEmpty());
}

TEST_F(HsbSlotTest, handsNothingOverOnceItIsEmptied) {
    joinAndInsert();
    const Hsb_Address former = slot_.address();
    send(former, 1);

    slot_.remove();
    slot_.remove();
    deliver();

    EXPECT_EQ(component_.removals, 1);
    EXPECT_EQ(slot_.address(), Hsb_Address{});
    EXPECT_THAT(component_.messages, IsEmpty());
}

TEST_F(HsbSlotTest, handsNothingOverOnceItIsDestroyed) {
    join();
    auto slot = std::make_unique<Hsb_Slot>();
    ASSERT_EQ(slot->insert(&component_), 0);
    send(slot->address(), 1);

    slot.reset();
    deliver();

    EXPECT_THAT(component_.messages, IsEmpty());
    EXPECT_EQ(component_.removals, 0) << "the component may be half destroyed by then";
}

TEST_F(HsbSlotTest, canBeFilledAgain) {
    joinAndInsert();
    slot_.remove();

    ASSERT_EQ(slot_.insert(&component_), 0);
    sendToComponent(ServiceAddress::EVENTS, 3, 0);

    EXPECT_EQ(component_.insertions, 2);
    EXPECT_EQ(component_.messages.size(), 1u);
}

TEST_F(HsbSlotTest, isEmptiedWhenTheComponentCannotBeInserted) {
    join();
    component_.onInserted = [] { throw std::runtime_error("inserted"); };

    EXPECT_EQ(slot_.insert(&component_), -1);

    EXPECT_EQ(slot_.address(), Hsb_Address{});
    component_.onInserted = [] {};
    EXPECT_EQ(slot_.insert(&component_), 0);
}

TEST_F(HsbSlotTest, keepsTheExceptionsOfItsComponent) {
    joinAndInsert();
    component_.onMessage = [](const Hsb_Message&) { throw std::runtime_error("message"); };

    sendToComponent(ServiceAddress::EVENTS, 3, 0);
    sendToComponent(ServiceAddress::EVENTS, 3, 1);

    EXPECT_EQ(component_.messages.size(), 2u);
}

TEST_F(HsbSlotTest, mayBeEmptiedWhileItsComponentHandlesAMessage) {
    joinAndInsert();
    component_.onMessage = [this](const Hsb_Message&) { slot_.remove(); };
    const Hsb_Address address = slot_.address();
    send(address, 1);
    send(address, 2);

    deliver();

    EXPECT_EQ(component_.messages.size(), 1u);
    EXPECT_EQ(component_.removals, 1);
}

TEST_F(HsbSlotTest, canBeEmptiedAfterTheBusWasLeft) {
    joinAndInsert();
    Hsb::instance()->shutdown();

    slot_.remove();

    EXPECT_EQ(component_.removals, 1);
    joinAndInsert();
}

TEST_F(HsbSlotTest, letsItsComponentAnswer) {
    joinAndInsert();
    int sent = -1;
    component_.onMessage = [&sent](const Hsb_Message& message) { sent = message.reply(108, 100, {7}); };

    sendToComponent(ServiceAddress::MANAGEMENT, 108, 5);

    EXPECT_EQ(sent, 0);
    EXPECT_EQ(bytesOf(onlyMessageOf(management_, 108, 100)), Bytes{7});
}

TEST_F(HsbSlotTest, saysWhenAnAnswerCannotBeSent) {
    joinAndInsert();
    int sent = 0;
    component_.onMessage = [&sent](const Hsb_Message& message) { sent = message.reply(108, 100); };
    bus_.refuse(LoopbackBus::messages(108, 100));

    sendToComponent(ServiceAddress::MANAGEMENT, 108, 5);

    EXPECT_EQ(sent, -1);
    EXPECT_EQ(Hsb_Message(1, 2).reply(3, 4), -1) << "nobody sent it";
}
