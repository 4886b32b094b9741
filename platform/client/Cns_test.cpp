#include "Cns.h"

#include "MessageCodes.h"
#include "platform/wire/CnsWire.h"
#include "testing/platform/ClientTest.h"

using testing::IsEmpty;

namespace {

class CnsTest : public ClientTest {
protected:
    int registerComponent() { return Cns_Registration(&component_, 1, 0).add(); }
    std::uint32_t lookUp(const std::string& name) {
        return Cns_Lookup(3, name.data(), static_cast<int>(name.size()), "primary", 7, 128).send(&component_);
    }
    std::string onlyUnregisteredName() {
        const auto request =
            decodeFields<CnsUnregister>(onlyMessageOf(names_, MessageFormat::CNS, CnsCode::UNREGISTER).payload());
        return request ? request->name : "(none)";
    }
};

}  // namespace

TEST_F(CnsTest, needsTheBus) {
    EXPECT_EQ(Cns::instance()->init(0), 0);

    join();

    EXPECT_GT(Cns::instance()->init(0), 0);
}

TEST_F(CnsTest, registersAComponentUnderItsName) {
    joinAndInsert();

    EXPECT_EQ(registerComponent(), 0);

    const auto request =
        decodeFields<CnsRegister>(onlyMessageOf(names_, MessageFormat::CNS, CnsCode::REGISTER).payload());
    ASSERT_TRUE(request);
    EXPECT_EQ(request->kind, 1);
    EXPECT_EQ(request->options, 0);
    EXPECT_EQ(request->name, "OrvApp");
}

TEST_F(CnsTest, cannotRegisterAComponentThatStandsInNoSlot) {
    EXPECT_EQ(registerComponent(), -1);
    join();
    EXPECT_EQ(registerComponent(), -1);
    EXPECT_EQ(Cns_Registration(nullptr, 1, 0).add(), -1);

    deliver();
    EXPECT_THAT(names_.messages, IsEmpty());
}

TEST_F(CnsTest, cannotRegisterWhenTheRequestCannotBeSent) {
    joinAndInsert();
    bus_.refuse(LoopbackBus::messages(MessageFormat::CNS, CnsCode::REGISTER));

    EXPECT_EQ(registerComponent(), -1);
}

TEST_F(CnsTest, registersNamesOfOneTo255Characters) {
    join();
    const struct {
        std::size_t length;
        int result;
    } cases[] = {{0, -1}, {1, 0}, {255, 0}, {256, -1}};
    for (const auto& each : cases) {
        TestComponent component(std::string(each.length, 'n'));
        Hsb_Slot slot;
        ASSERT_EQ(slot.insert(&component), 0);

        EXPECT_EQ(Cns_Registration(&component, 1, 0).add(), each.result) << each.length;
    }
}

TEST_F(CnsTest, unregistersWhatItHasRegisteredAtShutdown) {
    joinAndInsert();
    ASSERT_EQ(registerComponent(), 0);
    onlyMessageOf(names_, MessageFormat::CNS, CnsCode::REGISTER);

    Cns::instance()->shutdown();

    EXPECT_EQ(onlyUnregisteredName(), "OrvApp");
    Cns::instance()->shutdown();
    deliver();
    EXPECT_THAT(names_.messages, IsEmpty());
}

TEST_F(CnsTest, unregistersAComponentThatLeavesItsSlot) {
    joinAndInsert();
    const Hsb_Address former = slot_.address();
    ASSERT_EQ(registerComponent(), 0);
    onlyMessageOf(names_, MessageFormat::CNS, CnsCode::REGISTER);

    slot_.remove();
    deliver();

    ASSERT_EQ(names_.messages.size(), 1u);
    EXPECT_EQ(names_.messages[0].code(), CnsCode::UNREGISTER);
    EXPECT_EQ(names_.messages[0].source(), former);
}

TEST_F(CnsTest, unregistersNothingThatWasNotRegistered) {
    joinAndInsert();

    Cns::instance()->shutdown();
    slot_.remove();
    deliver();

    EXPECT_THAT(names_.messages, IsEmpty());
}

TEST_F(CnsTest, asksForTheAddressOfAComponent) {
    joinAndInsert();

    const std::uint32_t tag = lookUp("SM");

    const auto request = decodeFields<CnsLookup>(onlyMessageOf(names_, MessageFormat::CNS, CnsCode::LOOKUP).payload());
    ASSERT_TRUE(request);
    EXPECT_NE(tag, kNoTag);
    EXPECT_EQ(request->tag, tag);
    EXPECT_EQ(request->kind, 3);
    EXPECT_EQ(request->options, 128);
    EXPECT_EQ(request->name, "SM");
    EXPECT_EQ(request->instance, "primary");
}

TEST_F(CnsTest, takesNoMoreOfANameThanItsLength) {
    joinAndInsert();

    ASSERT_NE(Cns_Lookup(3, "SMART", 2, "primary", 3, 128).send(&component_), kNoTag);

    const auto request = decodeFields<CnsLookup>(onlyMessageOf(names_, MessageFormat::CNS, CnsCode::LOOKUP).payload());
    ASSERT_TRUE(request);
    EXPECT_EQ(request->name, "SM");
    EXPECT_EQ(request->instance, "pri");
}

TEST_F(CnsTest, givesEveryLookupATagOfItsOwn) {
    joinAndInsert();

    EXPECT_NE(lookUp("SM"), lookUp("SM"));
}

TEST_F(CnsTest, hasNoTagForALookupThatWasNotSent) {
    EXPECT_EQ(lookUp("SM"), kNoTag);
    joinAndInsert();
    EXPECT_EQ(lookUp(""), kNoTag);
    EXPECT_EQ(lookUp(std::string(256, 'n')), kNoTag);
    EXPECT_EQ(Cns_Lookup(3, nullptr, 2, nullptr, 7, 128).send(&component_), kNoTag);
    EXPECT_EQ(Cns_Lookup(3, "SM", -1, "primary", 7, 128).send(&component_), kNoTag);
    EXPECT_EQ(Cns_Lookup(3, "SM", 2, std::string(256, 'i').c_str(), 256, 128).send(&component_), kNoTag);
    bus_.refuse(LoopbackBus::messages(MessageFormat::CNS, CnsCode::LOOKUP));
    EXPECT_EQ(lookUp("SM"), kNoTag);

    deliver();
    EXPECT_THAT(names_.messages, IsEmpty());
}

TEST_F(CnsTest, asksForNamesOf255Characters) {
    joinAndInsert();

    EXPECT_NE(lookUp(std::string(255, 'n')), kNoTag);
}

TEST(CnsLookupResponseView, readsTagAndAddress) {
    const Hsb_Message message(2, 4, encodeFields(CnsLookupResponse{5, {6, 7, 8}}));

    const Cns_Lookup_Response response(message);

    EXPECT_EQ(response.tag(), 5u);
    EXPECT_EQ(response.address(), (Hsb_Address{6, 7, 8}));
}

TEST(CnsLookupResponseView, hasNoTagWhenItCannotBeRead) {
    const Hsb_Message message(2, 4, {0, 0, 0, 5});

    const Cns_Lookup_Response response(message);

    EXPECT_EQ(response.tag(), kNoTag);
    EXPECT_EQ(response.address(), Hsb_Address{});
}
