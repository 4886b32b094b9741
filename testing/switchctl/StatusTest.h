// Vocabulary of the tests of status: a component that answers and traces as the daemon does.
#pragma once

#include "cmon_client.h"
#include "platform/wire/Wire.h"
#include "testing/switchctl/SwitchctlTest.h"

#include <fstream>
#include <string>
#include <vector>

class StatusTest : public SwitchctlDaemonTest {
protected:
    void SetUp() override {
        SwitchctlDaemonTest::SetUp();
        ASSERT_GE(cmon().ready_for_conf(), 0);
        switch_.pump();
        address_ = "(" + std::to_string(daemon_.address().node) + "." + std::to_string(daemon_.address().process) + ")";
    }
    cmon_client cmon() { return cmon_client(&daemon_); }

    void answer(Hsb_Message& message) override {
        if (message.format() == MessageFormat::CMON && message.code() == CmonCode::READ_CONF) {
            EXPECT_GE(cmon().conf_read_ack(0), 0);
        }
        if (silent_) {
            return;
        }
        if (message.format() == MessageFormat::MANAGEMENT) {
            codes_.push_back(message.code());
            const auto handle = decodeFields<ManagementRequest>(message.payload())->handle;
            const auto block = WireWriter().u32(0).u32(0).u32(bytes_).u32(waiting_).u32(open_).take();
            respond(message, encodeFields(InfoResponse{handle, 0, block}));
        }
        if (message.format() == MessageFormat::PROBE) {
            trace();
            EXPECT_EQ(message.reply(MessageFormat::PROBE, ProbeCode::REPLY), 0);
        }
    }
    void trace() {
        const std::string prefix = HEAD;
        traceTo("Main") << prefix << "OrvCallHome probe: Entry\n"
                        << prefix << "OrvCallHome probe: CallHome State Information:\nCondition = " << condition_
                        << "\nConfig = " << config_ << "\n"
                        << prefix
                        << "OrvCHMesgQ probe: Call Home Message Queue Information:\n"
                           "  queueOpenForBusiness            = "
                        << queueOpen_ << "\n  configDataRead                  = " << queueSettingsRead_ << "\n\n"
                        << prefix
                        << "OrvCHMesgQ probe: Call Home Message Queue Internal Stats:\n"
                           "  messages deleted for space      = 1\n"
                           "  messages deleted for file limit = 2\n"
                           "  messages deleted for time       = 3\n"
                           "  messages deleted for clear req  = 4\n"
                           "  messages could not be added     = 5\n"
                        << dialogue_ << prefix << "OrvCHMesgCommon probe:   From = sw@example.com\n";
    }
    std::ofstream traceTo(const std::string& thread) {
        return std::ofstream(switch_.root().at("/tmp/orv.out." + thread), std::ios::app);
    }
    void configure() {
        run({"attr", "set", "Global.Services.CallhomeEnable=True", "Global.Callhome.NF-SMTPAddr=1-192.0.2.1",
             "Global.Callhome.SMTPEnable=True", "Global.Callhome.FromAddr=sw@example.com",
             "Global.CallhomeDB.NumberOfProfiles=2", "Global.CallhomeDB.ProfileList.0=Operators",
             "Global.CallhomeDB.ProfileList.1=Night", "Global.CallhomeDB.Profile.0.Level=Info",
             "Global.CallhomeDB.Profile.1.Level=Warn", "Global.CallhomeDB.Profile.0.Format=Tsc1",
             "Global.CallhomeDB.Profile.1.Format=FullText", "Global.CallhomeDB.Profile.0.NumberOfEmails=2",
             "Global.CallhomeDB.Profile.0.EmailList.0=a@b", "Global.CallhomeDB.Profile.0.EmailList.1=c@d",
             "Global.CallhomeDB.Profile.1.NumberOfEmails=1", "Global.CallhomeDB.Profile.1.EmailList.0=e@f",
             "Oper.Callhome.NF-ActiveSMTPAddr=1-C0000201"});
        condition_ = "0x3f";
    }

    // Of a record of this daemon, as early as the switch's clock begins.
    static constexpr const char* HEAD = "11/14/2023 UTC 22:13:20.123  17 ";

    std::string address_;
    const char* queueOpen_ = "true";
    const char* queueSettingsRead_ = "true";
    std::string dialogue_;  // its record, where the daemon traces one
    bool silent_ = false;
    const char* condition_ = "0x21";
    const char* config_ = "0";
    std::uint32_t bytes_ = 0;
    std::uint32_t waiting_ = 0;
    std::uint32_t open_ = 0;
    std::vector<std::uint16_t> codes_;  // of the requests so far
};
