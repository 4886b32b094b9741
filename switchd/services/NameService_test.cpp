#include "switchd/services/NameService.h"

#include "MessageCodes.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class NameServiceTest : public ::testing::Test {
protected:
    void registerAs(BusParty& party, const std::string& name) {
        party.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::REGISTER, encodeFields(CnsRegister{1, 0, name}));
        sw_.pump();
    }
    void unregister(BusParty& party, const std::string& name) {
        party.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::UNREGISTER, encodeFields(CnsUnregister{name}));
        sw_.pump();
    }
    void lookUp(BusParty& party, std::uint32_t tag, const std::string& name, const std::string& instance = "primary") {
        const CnsLookup lookup{tag, 3, 128, name, instance};
        party.send(ServiceAddress::NAMES, MessageFormat::CNS, CnsCode::LOOKUP, encodeFields(lookup));
        sw_.pump();
    }
    // Tag and address of each answer that the caller has got since the last time.
    std::vector<std::pair<std::uint32_t, Hsb_Address>> answers() {
        std::vector<std::pair<std::uint32_t, Hsb_Address>> result;
        for (const Hsb_Message& message : caller_.take()) {
            EXPECT_EQ(message.format(), 2);
            EXPECT_EQ(message.code(), 4);
            const auto response = decodeFields<CnsLookupResponse>(message.payload());
            EXPECT_TRUE(response.has_value());
            result.emplace_back(response->tag, response->address);
        }
        return result;
    }

    LoopbackSwitch sw_;
    BusParty caller_{sw_.bus()};
    BusParty component_{sw_.bus()};
};

using NameAnswer = std::pair<std::uint32_t, Hsb_Address>;

}  // namespace

TEST_F(NameServiceTest, knowsTheEventServerAndTheManagementComponentFromTheStart) {
    lookUp(caller_, 1, "ENS");
    lookUp(caller_, 2, "SM");
    lookUp(caller_, 3, "ENS", "");

    EXPECT_THAT(answers(), ElementsAre(NameAnswer{1, ServiceAddress::EVENTS}, NameAnswer{2, ServiceAddress::MANAGEMENT},
                                       NameAnswer{3, ServiceAddress::EVENTS}));
}

TEST_F(NameServiceTest, knowsOnlyPrimaryInstances) {
    registerAs(component_, "OrvApp");

    lookUp(caller_, 1, "SM", "secondary");
    lookUp(caller_, 2, "OrvApp", "secondary");

    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(NameServiceTest, tellsWhereARegisteredComponentIs) {
    registerAs(component_, "OrvApp");

    lookUp(caller_, 7, "OrvApp");

    EXPECT_THAT(answers(), ElementsAre(NameAnswer{7, component_.address()}));
}

TEST_F(NameServiceTest, answersALookupOfAnUnknownNameOnceItRegisters) {
    lookUp(caller_, 7, "OrvApp");
    lookUp(caller_, 8, "Other");
    lookUp(caller_, 9, "OrvApp");
    EXPECT_THAT(answers(), IsEmpty());

    registerAs(component_, "OrvApp");
    EXPECT_THAT(answers(), ElementsAre(NameAnswer{7, component_.address()}, NameAnswer{9, component_.address()}));

    registerAs(component_, "OrvApp");
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(NameServiceTest, tellsNamesApartByCase) {
    registerAs(component_, "OrvApp");

    lookUp(caller_, 1, "orvapp");

    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(NameServiceTest, forgetsANameThatIsUnregistered) {
    registerAs(component_, "OrvApp");
    unregister(component_, "OrvApp");

    lookUp(caller_, 1, "OrvApp");

    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(NameServiceTest, keepsANameThatSomebodyElseWantsToUnregister) {
    registerAs(component_, "OrvApp");
    unregister(caller_, "OrvApp");

    lookUp(caller_, 1, "OrvApp");

    EXPECT_THAT(answers(), ElementsAre(NameAnswer{1, component_.address()}));
}

TEST_F(NameServiceTest, forgetsTheNamesOfAProcessThatLeft) {
    registerAs(component_, "OrvApp");
    component_.leave();
    sw_.pump();

    lookUp(caller_, 1, "OrvApp");

    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(NameServiceTest, givesANameToItsLatestBearer) {
    BusParty later(sw_.bus());
    registerAs(component_, "OrvApp");
    registerAs(later, "OrvApp");
    component_.leave();
    sw_.pump();

    lookUp(caller_, 1, "OrvApp");

    EXPECT_THAT(answers(), ElementsAre(NameAnswer{1, later.address()}));
}

TEST_F(NameServiceTest, forgetsTheLookupsOfAProcessThatLeft) {
    BusParty gone(sw_.bus());
    lookUp(gone, 1, "OrvApp");
    gone.leave();
    sw_.pump();
    unsigned answersSent = 0;
    sw_.bus().observe([&](const Hsb_Message& message) { answersSent += message.code() == CnsCode::LOOKUP_RESPONSE; });

    registerAs(component_, "OrvApp");

    EXPECT_EQ(answersSent, 0u);
}

TEST_F(NameServiceTest, forgetsTheOldestOfTooManyWaitingLookups) {
    for (std::uint32_t tag = 0; tag < NameService::MAX_WAITING + 2; ++tag) {
        lookUp(caller_, tag, "OrvApp");
    }

    registerAs(component_, "OrvApp");

    const auto got = answers();
    ASSERT_THAT(got, SizeIs(NameService::MAX_WAITING));
    EXPECT_EQ(got.front().first, 2u);
}

TEST_F(NameServiceTest, ignoresWhatItCannotRead) {
    for (const std::uint16_t code : {CnsCode::REGISTER, CnsCode::UNREGISTER, CnsCode::LOOKUP, std::uint16_t{99}}) {
        caller_.send(ServiceAddress::NAMES, MessageFormat::CNS, code, {1, 2, 3});
    }
    caller_.send(ServiceAddress::NAMES, MessageFormat::DS, CnsCode::LOOKUP,
                 encodeFields(CnsLookup{1, 3, 0, "ENS", ""}));
    registerAs(caller_, "");
    sw_.pump();

    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_THAT(sw_.components().all(), IsEmpty());
}

TEST_F(NameServiceTest, leavesALookupUnansweredWhenAFaultSaysSo) {
    sw_.faults().add({FaultKind::SILENT, FaultOperation::LOOKUP, "S*", 1, 0, 0});

    lookUp(caller_, 1, "ENS");
    lookUp(caller_, 2, "SM");
    lookUp(caller_, 3, "SM");

    EXPECT_THAT(answers(),
                ElementsAre(NameAnswer{1, ServiceAddress::EVENTS}, NameAnswer{3, ServiceAddress::MANAGEMENT}));
}
