#include "Ens.h"

#include "MessageCodes.h"
#include "platform/wire/CnsWire.h"
#include "testing/platform/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class EnsTest : public ClientTest {
protected:
    struct Operation {
        const char* name;
        std::uint16_t code;
        std::function<int()> call;  // with category 66, event 3
    };

    std::vector<Operation> operationsAt(const Hsb_Address& server) {
        return {
            {"subscribe", 1, [=, this] { return Ens_Consumer(&component_, server).subscribe(66, 3); }},
            {"unsubscribe", 2, [=, this] { return Ens_Consumer(&component_, server).unsubscribe(66, 3); }},
            {"add", 3, [=, this] { return Ens_Producer(&component_, server).add(66, 3); }},
            {"remove", 4, [=, this] { return Ens_Producer(&component_, server).remove(66, 3); }},
        };
    }
};

}  // namespace

TEST_F(EnsTest, needsTheBus) {
    EXPECT_EQ(Ens::instance()->init(), 0);

    join();

    EXPECT_GT(Ens::instance()->init(), 0);
    Ens::instance()->shutdown();
}

TEST_F(EnsTest, asksTheNameServiceForItsServer) {
    joinAndInsert();

    const std::uint32_t tag = Ens::lookup_server(&component_);

    const auto request = decodeFields<CnsLookup>(onlyMessageOf(names_, MessageFormat::CNS, CnsCode::LOOKUP).payload());
    ASSERT_TRUE(request);
    EXPECT_NE(tag, kNoTag);
    EXPECT_EQ(request->tag, tag);
    EXPECT_EQ(request->kind, 3);
    EXPECT_EQ(request->options, 128);
    EXPECT_EQ(request->name, "ENS");
    EXPECT_EQ(request->instance, "primary");
}

TEST_F(EnsTest, hasNoTagWhenItCannotAskForItsServer) {
    EXPECT_EQ(Ens::lookup_server(&component_), kNoTag);
    joinAndInsert();
    bus_.refuse(LoopbackBus::messages(MessageFormat::CNS, CnsCode::LOOKUP));
    EXPECT_EQ(Ens::lookup_server(&component_), kNoTag);
}

TEST_F(EnsTest, sendsEachRequestToItsServer) {
    joinAndInsert();
    for (const Operation& each : operationsAt(ServiceAddress::EVENTS)) {
        EXPECT_GT(each.call(), 0) << each.name;

        const Hsb_Message message = onlyMessageOf(events_, MessageFormat::ENS, each.code);
        EXPECT_EQ(bytesOf(message), (Bytes{0, 0, 0, 66, 0, 0, 0, 3})) << each.name;
    }
}

TEST_F(EnsTest, returnsZeroWhenARequestCannotBeSent) {
    joinAndInsert();
    bus_.refuse(LoopbackBus::messagesTo(ServiceAddress::EVENTS));
    for (const Operation& each : operationsAt(ServiceAddress::EVENTS)) {
        EXPECT_EQ(each.call(), 0) << each.name;
    }
}

TEST_F(EnsTest, returnsZeroWhileItsServerIsNotKnown) {
    joinAndInsert();
    for (const Operation& each : operationsAt(Hsb_Address{})) {
        EXPECT_EQ(each.call(), 0) << each.name;
    }
}

TEST_F(EnsTest, returnsZeroForAComponentInNoSlot) {
    join();
    for (const Operation& each : operationsAt(ServiceAddress::EVENTS)) {
        EXPECT_EQ(each.call(), 0) << each.name;
    }
}

TEST(EnsEventView, readsCategoryNumberAndData) {
    const Hsb_Message message(3, 0, {0, 0, 0, 2, 0, 0, 0, 56, 7, 8, 9});

    const Ens_Event event(message);

    EXPECT_EQ(event.category(), 2u);
    EXPECT_EQ(event.number(), 56u);
    EXPECT_THAT(event.data(), ElementsAre(7, 8, 9));
}

TEST(EnsEventView, showsTheDataWithoutCopyingThem) {
    const Hsb_Message message(3, 0, {0, 0, 0, 2, 0, 0, 0, 56, 7});

    EXPECT_EQ(Ens_Event(message).data().data(), message.payload().data() + 8);
}

TEST(EnsEventView, mayHaveNoData) {
    const Hsb_Message message(3, 0, {0, 0, 0, 66, 0, 0, 0, 3});

    const Ens_Event event(message);

    EXPECT_EQ(event.category(), 66u);
    EXPECT_THAT(event.data(), IsEmpty());
}

TEST(EnsEventView, hasNoCategoryWhenItIsTooShort) {
    const Hsb_Message message(3, 0, {0, 0, 0, 1, 0, 0, 0});

    const Ens_Event event(message);

    EXPECT_EQ(event.category(), 0xFFFFFFFFu);
    EXPECT_EQ(event.number(), 0xFFFFFFFFu);
    EXPECT_THAT(event.data(), IsEmpty());
}
