#include "MessageCodes.h"
#include "profile/OrvCHMesgCommon.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"
#include "testing/profile/IdentityNeighbours.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

class OrvCHMesgCommonOnTheSwitch : public testing::Test {
protected:
    OrvCHMesgCommonOnTheSwitch() {
        component_.onBulk = [this](const DsBulkReply& reply) {
            EXPECT_EQ(reply.id, DsRequestId::IDENTITY);
            result_ = common_.processConfigBulk(reply.entries, reply.statuses);
        };
        component_.insert();
        switch_.pump();
    }

    LoopbackSwitch switch_;
    StubComponent component_;
    IdentityNeighbours neighbours_;
    OrvCHMesgCommon common_{component_.ds(), neighbours_, neighbours_};
    int result_ = 1;
};

TEST_F(OrvCHMesgCommonOnTheSwitch, readsTheWholeIdentityFromTheStore) {
    switch_.set("Global.Callhome.EmailAddr",
                "\xC2\xA7"
                "contact@x"
                "\xC2\xA7");
    switch_.set("Global.Callhome.FromAddr", "from@x");
    switch_.set("Global.Callhome.ReplyToAddr", "reply@x");
    switch_.set("Global.Callhome.PhoneNumber", "0123");
    switch_.set("Global.Callhome.StreetAddr", "Street 1");
    switch_.set("Global.Snmp.Contact", "Ann");
    switch_.set("Global.Snmp.Location", "Rack 2");
    switch_.set("Config.Switch.SymName", "edge-7");
    switch_.set("Global.Network.Eth.0.NF-IPAddress", "1-0A000007");
    switch_.set("Global.Network.Eth.0.IPv6IPAddress", "fe80::7");
    switch_.set("Global.Network.DNSLocalHostname", "h-sw01");
    switch_.set("Global.Network.DNSClientEnable", "True");
    switch_.set("Global.Switch.WWN", "10:00:00:c0:dd:00:00:01");
    switch_.set("Config.Mfg.ChassisSerialNum", "SN1");

    ASSERT_EQ(common_.readConfig(), 0);
    switch_.pump();

    EXPECT_EQ(result_, 0);
    const OrvIdentity identity = common_.current();
    EXPECT_EQ(identity.ContactEmail, "contact@x");
    EXPECT_EQ(identity.From, "from@x");
    EXPECT_EQ(identity.ReplyTo, "reply@x");
    EXPECT_EQ(identity.PhoneNumber, "0123");
    EXPECT_EQ(identity.StreetAddress, "Street 1");
    EXPECT_EQ(identity.ContactName, "Ann");
    EXPECT_EQ(identity.Location, "Rack 2");
    EXPECT_EQ(identity.SymName, "edge-7");
    EXPECT_EQ(identity.IPv4Address, "10.0.0.7");
    EXPECT_EQ(identity.IPv6Address, "fe80::7");
    EXPECT_EQ(identity.Hostname, "sw01");
    EXPECT_TRUE(identity.DNSClientEnable);
    EXPECT_EQ(identity.WWN, "10:00:00:c0:dd:00:00:01");
    EXPECT_EQ(identity.SerialNum, "SN1");
    EXPECT_THAT(neighbours_.calls,
                ElementsAre("address 10.0.0.7", "address fe80::7", "wwn 10:00:00:c0:dd:00:00:01", "complete 3"));
}

TEST_F(OrvCHMesgCommonOnTheSwitch, reportsItsEndAlsoWhenAttributesAreMissing) {
    switch_.set("Global.Callhome.FromAddr", "from@x");
    switch_.unset("Config.Mfg.ChassisSerialNum");

    ASSERT_EQ(common_.readConfig(), 0);
    switch_.pump();

    EXPECT_EQ(common_.current().From, "from@x");
    EXPECT_EQ(common_.current().SerialNum, "");
    EXPECT_EQ(neighbours_.calls.back(), "complete 3");
    EXPECT_THAT(
        switch_.eventTexts(15),
        ElementsAre(testing::StartsWith("Error getting Message Queue Config from DS - bad status array[13] = 0x")));
}

}  // namespace
