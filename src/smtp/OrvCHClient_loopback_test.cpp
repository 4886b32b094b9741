// The send client on a whole switch: its servers come from the attribute store, and the active one goes back there.
#include "MessageCodes.h"
#include "mesgq/OrvSendQueue.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"
#include "testing/smtp/ClientFixture.h"

#include <gtest/gtest.h>

namespace {

class OrvCHClientOnTheSwitch : public testing::Test, private OrvConfigListener, private OrvIdentityListener {
protected:
    OrvCHClientOnTheSwitch() {
        component_.onBulk = [this](const DsBulkReply& reply) {
            EXPECT_EQ(reply.id, DsRequestId::SEND_CLIENT);
            EXPECT_EQ(client_.processConfigBulk(reply.entries, reply.statuses), 0);
        };
        component_.onStatus = [this](const DsStatusReply& reply) {
            ++writesAnswered_;
            writesFailed_ += client_.processDsStatus(reply.id, reply.status) == 0 ? 0 : 1;
        };
        component_.insert();
        switch_.pump();
    }

    void configComplete(unsigned bit) override { completed_ = bit; }
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}

    LoopbackSwitch switch_;
    StubComponent component_;
    TestQueue queue_;
    OrvCHMesgCommon identity_{component_.ds(), *this, *this};
    OrvCHClient client_{component_.ds(), queue_, identity_, *this};
    unsigned completed_ = 99;
    int writesAnswered_ = 0;
    int writesFailed_ = 0;
};

}  // namespace

TEST_F(OrvCHClientOnTheSwitch, readsItsServersFromTheStoreAndPublishesTheActiveOne) {
    switch_.set("Global.Callhome.NF-SMTPAddr", "1-0A000001");
    switch_.set("Global.Callhome.SMTPPort", "25");
    switch_.set("Global.Callhome.SMTPEnable", "False");
    switch_.set("Global.Callhome.NF-SMTPAddr1", "3-mail.example.com");
    switch_.set("Global.Callhome.SMTPPort1", "2525");
    switch_.set("Global.Callhome.SMTPEnable1", "True");

    ASSERT_EQ(client_.readConfig(), 0);
    switch_.pump();

    EXPECT_EQ(completed_, 2u);
    EXPECT_EQ(client_.servers().active().Address, "mail.example.com");
    EXPECT_EQ(switch_.attribute("Oper.Callhome.NF-ActiveSMTPAddr"), "3-mail.example.com");
    EXPECT_EQ(switch_.attribute("Oper.Callhome.ActiveSMTPAddr"), "00000000");
    EXPECT_EQ(switch_.attribute("Oper.Callhome.ActiveSMTPPort"), "2525");
    EXPECT_EQ(writesAnswered_, 3);
    EXPECT_EQ(writesFailed_, 0);
}
