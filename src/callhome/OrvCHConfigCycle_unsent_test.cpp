// Reads of the configuration that cannot be sent: each ends its part, so that no cycle stays open for them.
#include "testing/callhome/ConfigFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

struct UnsentRead {
    const char* name;
    const char* key;
    const char* text;
    const char* trace;  // null: none
    const char* condition;
};

class OrvCallHomeUnsentRead : public OrvCallHomeConfig, public testing::WithParamInterface<UnsentRead> {};

TEST_P(OrvCallHomeUnsentRead, isLoggedAndEndsItsPart) {
    enableCallHome();
    useServer("", primary_);
    addProfile({});
    refuseRequest(GetParam().key);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{15, kId, GetParam().text}).Times(1));
    if (GetParam().trace != nullptr) {
        EXPECT_THAT(traced(GetParam().trace), ElementsAre(GetParam().trace));
    }
    EXPECT_EQ(stateValue("Condition"), GetParam().condition);
    EXPECT_EQ(stateValue("Config"), "0");
    EXPECT_EQ(stateValue("ReadyForMessage"), "1");
}

INSTANTIATE_TEST_SUITE_P(
    Reads, OrvCallHomeUnsentRead,
    testing::Values(UnsentRead{"feature", "Default.Mfg.AllowCallhome", "readFeatureFlag() - DS error",
                               "OrvCallHome readFeatureFlag: readFeatureFlag() - DS error", "0x3e"},
                    UnsentRead{"services", "Global.Services.CallhomeEnable", "readServicesComponent() - DS error",
                               "OrvCallHome readServicesComponent: readServicesComponent() - DS error", "0x3d"},
                    UnsentRead{"count", "Global.CallhomeDB.NumberOfProfiles", "readNumOfProfiles() - DS error", nullptr,
                               "0x2f"}),
    [](const auto& test) { return test.param.name; });

TEST_F(OrvCallHomeConfig, logsAStateReadThatCannotBeSent) {
    refuseRequest("Config.Switch.AdminState");
    startDaemon();

    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{15, kId, "readSwitchOperState() - DS error"}));
}

TEST_F(OrvCallHomeConfig, aFeatureFlagReadThatCannotBeSentDeletesWaitingMessages) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    switch_->publishLog(0, 0x00010002, "Blade fault that waits");
    changeProfiles();  // the second cycle begins before the message is looked at
    switch_->bus().clearFaults();
    refuseRequest("Default.Mfg.AllowCallhome");
    switch_->bus().release();
    switch_->pump();
    EXPECT_EQ(count("OrvCallHome clearIncomingMesgQ: Entry"), 1u);
    EXPECT_EQ(stateValue("Condition"), "0x3e");

    switch_->bus().clearFaults();
    changeProfiles();
    EXPECT_EQ(stateValue("Condition"), "0x3f");
    switch_->tick();
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeConfig, aPendingChangeWhoseReadsCannotBeSentIsServedOnceAndEnds) {
    startReady();
    switch_->bus().hold(answers(DsCode::BULK_REPLY, 11));
    changeProfiles();
    for (int i = 0; i < 3; ++i) {
        changeProfiles();
    }
    ASSERT_EQ(stateValue("Config"), "0x10");
    ASSERT_EQ(stateValue("ConfigRequestsPending"), "3");
    const std::size_t reads = count("OrvCHMesgQ readConfig: Entry");
    const std::size_t judged = count("OrvCallHome validateCallHomeSetup: Entry");
    switch_->bus().clearFaults();
    refuseRequest("");
    switch_->bus().release();
    switch_->pump();

    EXPECT_EQ(count("OrvCHMesgQ readConfig: Entry"), reads + 1);
    EXPECT_EQ(count("OrvCallHome validateCallHomeSetup: Entry"), judged + 1);
    // Neither allowed nor enabled, and no profile count; servers and sender are what they were.
    EXPECT_THAT(state(), ElementsAre("ReadyForMessage = 1", "SwitchOperState = Online", "NumOfProfiles = 1",
                                     "Condition = 0x2c", "Config = 0", "ConfigRequestsPending = 0"));
}

TEST_F(OrvCallHomeConfig, anInitialProfileReadThatCannotBeSentEndsTheCycle) {
    startWithoutSending();
    addProfile({.name = "Second"});
    setProfile(0, {.name = "First"});
    std::size_t expected = 0;
    for (const char* const key : {"Global.CallhomeDB.ProfileList.0", "Global.CallhomeDB.ProfileList.1"}) {
        SCOPED_TRACE(key);
        switch_->forgetEventLog();
        refuseRequest(key);
        changeProfiles();
        switch_->bus().clearFaults();

        EXPECT_THAT(switch_->eventLog(),
                    Contains(LogLine{15, kId, "readInitialConfigConfig() - flushBulkGetSameComp() error"}).Times(1));
        EXPECT_THAT(state(), ElementsAre("ReadyForMessage = 1", "SwitchOperState = Online", "NumOfProfiles = 2",
                                         "Condition = 0x3f", "Config = 0", "ConfigRequestsPending = 0"));
        // The active profiles stay.
        switch_->publishLog(0, 0x00010002 + static_cast<unsigned>(expected), "Blade fault");
        ASSERT_EQ(queued(), ++expected);
        EXPECT_EQ(profilesOf(before_ + expected - 1), "Operators ");
    }
    changeProfiles();
    switch_->publishLog(0, 0x00010009, "Blade fault afterwards");
    ASSERT_EQ(queued(), ++expected);
    EXPECT_EQ(profilesOf(before_ + expected - 1), "First Second ");
}

}  // namespace
