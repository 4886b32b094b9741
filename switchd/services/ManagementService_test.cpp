#include "switchd/services/ManagementService.h"

#include "MessageCodes.h"
#include "platform/wire/ManagementWire.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class ManagementServiceTest : public ::testing::Test {
protected:
    ManagementService& management() { return sw_.services().management(); }

    // Notes "code" of each response to this request, or "gone".
    std::uint32_t request(std::uint16_t code, std::vector<std::uint8_t> payload = std::vector<std::uint8_t>(8)) {
        const std::uint32_t handle =
            management().request(component_.address(), code, payload, [this](const Hsb_Message* response) {
                answers_.push_back(response == nullptr ? "gone" : std::to_string(response->code()));
            });
        sw_.pump();
        return handle;
    }
    void respond(BusParty& party, std::uint16_t code, std::uint32_t handle) {
        party.send(ServiceAddress::MANAGEMENT, MessageFormat::MANAGEMENT, code,
                   encodeFields(ManagementResponse{handle, 0}));
        sw_.pump();
    }
    void tellResult(const std::string& profile, std::uint32_t status) {
        component_.send(ServiceAddress::MANAGEMENT, MessageFormat::MANAGEMENT, 107,
                        encodeFields(TestProfileResults{status, profile}));
        sw_.pump();
    }

    LoopbackSwitch sw_;
    BusParty component_{sw_.bus()};
    std::vector<std::string> answers_;
};

}  // namespace

TEST_F(ManagementServiceTest, sendsARequestWithAHandleOfItsOwn) {
    const std::uint32_t first = request(2, encodeFields(TestProfileRequest{99, 7, "Ops"}));
    const std::uint32_t second = request(3);

    ASSERT_THAT(component_.messages(), SizeIs(2));
    EXPECT_EQ(component_.messages()[0].format(), 0x4015);
    EXPECT_EQ(component_.messages()[0].code(), 2);
    EXPECT_EQ(component_.messages()[0].source(), ServiceAddress::MANAGEMENT);
    const auto sent = decodeFields<TestProfileRequest>(component_.messages()[0].payload());
    EXPECT_EQ(sent->handle, first);
    EXPECT_EQ(sent->spare, 7u);
    EXPECT_EQ(sent->name, "Ops");
    EXPECT_EQ(component_.messages()[1].code(), 3);
    EXPECT_NE(first, second);
}

TEST_F(ManagementServiceTest, bringsTheResponseBackToItsRequest) {
    const std::uint32_t first = request(1);
    const std::uint32_t second = request(3);

    respond(component_, 103, second);
    EXPECT_THAT(answers_, ElementsAre("103"));
    respond(component_, 101, first);

    EXPECT_THAT(answers_, ElementsAre("103", "101"));
}

TEST_F(ManagementServiceTest, bringsEachResponseBackOnce) {
    const std::uint32_t handle = request(1);
    respond(component_, 101, handle);

    respond(component_, 101, handle);

    EXPECT_THAT(answers_, ElementsAre("101"));
}

TEST_F(ManagementServiceTest, takesNoResponseOfAnotherCodeHandleOrSender) {
    BusParty stranger(sw_.bus());
    const std::uint32_t handle = request(1);

    respond(component_, 103, handle);
    respond(component_, 101, handle + 1);
    respond(stranger, 101, handle);
    component_.send(ServiceAddress::MANAGEMENT, MessageFormat::MANAGEMENT, 101, {0, 0});
    component_.send(ServiceAddress::MANAGEMENT, MessageFormat::DS, 101, encodeFields(ManagementResponse{handle, 0}));
    sw_.pump();

    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(ManagementServiceTest, sendsAPayloadThatIsTooShortForAHandleAsItStands) {
    request(1, {1, 2, 3});

    EXPECT_THAT(component_.messages().at(0).payload(), ElementsAre(1, 2, 3));
}

TEST_F(ManagementServiceTest, tellsWhenTheComponentLeavesBeforeItHasAnswered) {
    BusParty other(sw_.bus());
    request(1);
    const std::uint32_t answered = request(3);
    respond(component_, 103, answered);

    other.leave();
    sw_.pump();
    EXPECT_THAT(answers_, ElementsAre("103"));
    component_.leave();
    sw_.pump();

    EXPECT_THAT(answers_, ElementsAre("103", "gone"));
}

TEST_F(ManagementServiceTest, bringsNothingBackForAForgottenRequest) {
    const std::uint32_t handle = request(1);
    management().forget(handle);

    respond(component_, 101, handle);

    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(ManagementServiceTest, keepsTheLastTestResultOfEachProfile) {
    std::vector<TestResults::Result> told;
    management().results().add([&](const TestResults::Result& result) { told.push_back(result); });

    tellResult("Ops", 1);
    tellResult("Night", 0);
    tellResult("Ops", 0);
    component_.send(ServiceAddress::MANAGEMENT, MessageFormat::MANAGEMENT, 107, {1, 2, 3});
    sw_.pump();

    using Result = TestResults::Result;
    EXPECT_THAT(told, ElementsAre(Result{"Ops", 1}, Result{"Night", 0}, Result{"Ops", 0}));
    EXPECT_THAT(management().lastResults().results, ElementsAre(Result{"Night", 0}, Result{"Ops", 0}));
}
