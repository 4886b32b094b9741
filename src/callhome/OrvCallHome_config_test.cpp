// The configuration read cycle: what is asked for, what each failure does, and when the set-up is judged.
#include "app/DaemonFixture.h"

#include "platform/wire/MessageCodes.h"

#include <map>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::uint32_t kId = 0x8B000001u;

class OrvCallHomeConfig : public DaemonFixture {
protected:
    // The start of a state dump taken now: from "ReadyForMessage" to "ConfigRequestsPending".
    std::vector<std::string> state() {
        switch_->send(108, 0);
        const std::vector<std::string> lines = mainTrace();
        const auto last = std::find_if(lines.rbegin(), lines.rend(), [](const std::string& line) {
            return line.find("CallHome State Information:") != std::string::npos;
        });
        return last == lines.rend() ? std::vector<std::string>()
                                    : std::vector<std::string>(last.base(), last.base() + 6);
    }
    std::string stateValue(const std::string& name) {
        for (const std::string& line : state()) {
            if (line.starts_with(name + " = ")) {
                return line.substr(name.size() + 3);
            }
        }
        return "not found";
    }
    void failReply(const std::string& key, std::int32_t status, FaultOperation operation = FaultOperation::GET) {
        switch_->faults().add({FaultKind::BAD_STATUS, operation, key, 1, 0, status});
    }
    // Refuses the daemon's requests to the store that ask for this key.
    void refuseRequest(const std::string& key) {
        switch_->bus().refuse([key](const Hsb_Message& message) {
            const std::string text(message.payload().begin(), message.payload().end());
            return message.format() == MessageFormat::DS && message.code() == DsCode::GET &&
                   text.find(key) != std::string::npos;
        });
    }
    void changeProfiles() { switch_->manage(ManagementCode::PROFILE_CHANGE); }
    std::size_t count(const std::string& trace) { return traced(trace).size(); }
};

TEST_F(OrvCallHomeConfig, asksForEveryPartInOrderAndThenForTheSwitchState) {
    std::vector<std::pair<int, int>> asked;  // code and request id
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::DS &&
            (message.code() == DsCode::GET || message.code() == DsCode::BULK_GET)) {
            asked.push_back({message.code(), message.payload()[3]});
        }
    });
    startDaemon();

    EXPECT_THAT(asked, ElementsAre(std::pair(DsCode::GET, 6), std::pair(DsCode::GET, 7), std::pair(DsCode::BULK_GET, 1),
                                   std::pair(DsCode::BULK_GET, 0), std::pair(DsCode::BULK_GET, 11),
                                   std::pair(DsCode::GET, 9), std::pair(DsCode::GET, 8)));
}

TEST_F(OrvCallHomeConfig, countsDownItsSixPartsInTheTrace) {
    startDaemon();

    EXPECT_THAT(traced("OrvCallHome configComplete:"),
                ElementsAre("OrvCallHome configComplete: Entry - in = 0", "OrvCallHome configComplete: Config: 0x3e",
                            "OrvCallHome configComplete: Entry - in = 0x1", "OrvCallHome configComplete: Config: 0x3c",
                            "OrvCallHome configComplete: Entry - in = 0x2", "OrvCallHome configComplete: Config: 0x38",
                            "OrvCallHome configComplete: Entry - in = 0x3", "OrvCallHome configComplete: Config: 0x30",
                            "OrvCallHome configComplete: Entry - in = 0x4", "OrvCallHome configComplete: Config: 0x20",
                            "OrvCallHome configComplete: Entry - in = 0x5", "OrvCallHome configComplete: Config: 0"));
    EXPECT_EQ(count("OrvCallHome validateCallHomeSetup: Entry"), 1u);
}

TEST_F(OrvCallHomeConfig, startsWithEveryConditionSetAndEndsWithWhatTheFactoryAllows) {
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::CONNECTED));
    startDaemon();
    EXPECT_EQ(stateValue("Condition"), "0x3f");
    EXPECT_EQ(stateValue("Config"), "0");
    EXPECT_EQ(stateValue("ReadyForMessage"), "0");

    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();

    // Allowed and started; no service, no server, no sender, no profile.
    EXPECT_THAT(state(), ElementsAre("ReadyForMessage = 1", "SwitchOperState = Online", "NumOfProfiles = 0",
                                     "Condition = 0x21", "Config = 0", "ConfigRequestsPending = 0"));
}

TEST_F(OrvCallHomeConfig, meetsEveryConditionOnAConfiguredSwitch) {
    startReady();

    EXPECT_EQ(stateValue("Condition"), "0x3f");
    EXPECT_EQ(stateValue("NumOfProfiles"), "1");
}

TEST_F(OrvCallHomeConfig, servesAnyNumberOfChangesDuringAReadWithOneMoreFullRead) {
    startReady();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY));
    changeProfiles();
    const std::size_t reads = count("OrvCHMesgQ readConfig: Entry");

    for (int i = 0; i < 5; ++i) {
        changeProfiles();
    }
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "5");
    EXPECT_EQ(count("OrvCHMesgQ readConfig: Entry"), reads);
    const std::size_t judged = count("OrvCallHome validateCallHomeSetup: Entry");
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();

    EXPECT_EQ(count("OrvCHMesgQ readConfig: Entry"), reads + 1);
    EXPECT_EQ(count("OrvCallHome validateCallHomeSetup: Entry"), judged + 1);
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "0");
}

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

TEST_F(OrvCallHomeConfig, aFailedFeatureFlagClearsItsConditionAndWaitingMessages) {
    enableCallHome();
    failReply("Default.Mfg.AllowCallhome", 0x1234);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(),
                Contains(LogLine{15, kId, "Error getting DS_GET_CALLHOME_FEATURE_FLAG from DS 1234"}));
    EXPECT_THAT(traced("OrvCallHome processFeatureFlag: DS error 0x1234"), SizeIs(1));
    EXPECT_THAT(traced("OrvCallHome clearIncomingMesgQ: Entry"), SizeIs(1));
    EXPECT_EQ(stateValue("Condition"), "0x2a");
}

TEST_F(OrvCallHomeConfig, aFailedServicesComponentClearsItsConditionOnly) {
    failReply("Global.Services.CallhomeEnable", -2);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(),
                Contains(LogLine{15, kId, "Error getting DS_GET_CALLHOME_SERVICES_COMPONENT from DS fffffffe"}));
    EXPECT_THAT(traced("OrvCallHome processServicesComponent: DS error 0xfffffffe"), SizeIs(1));
    EXPECT_THAT(traced("OrvCallHome clearIncomingMesgQ: Entry"), IsEmpty());
}

TEST_F(OrvCallHomeConfig, aFailedStateReadIsLogged) {
    failReply("Config.Switch.AdminState", 7);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(),
                Contains(LogLine{15, kId, "Error getting DS_GET_CALLHOME_SWITCH_OPER_STATE from DS 7"}));
    EXPECT_THAT(traced("OrvCallHome processSwitchOperState: DS error 0x7"), SizeIs(1));
    EXPECT_EQ(stateValue("SwitchOperState"), "");
}

TEST_F(OrvCallHomeConfig, takesAStatusWhoseLow16BitsAre52AsGood) {
    failReply("Default.Mfg.AllowCallhome", 0x00070034);
    failReply("Global.CallhomeDB.NumberOfProfiles", static_cast<std::int32_t>(0x80000034u));
    startDaemon();

    EXPECT_EQ(stateValue("Condition"), "0x21");
    EXPECT_EQ(stateValue("Config"), "0");
}

// Kept: nothing reports this part as ended, so every later read is only counted.
TEST_F(OrvCallHomeConfig, aFailedProfileCountKeepsTheCycleOpenForGood) {
    enableCallHome();
    failReply("Global.CallhomeDB.NumberOfProfiles", 3);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(),
                Contains(LogLine{15, kId, "Error getting DS_GET_CALLHOME_NUM_OF_PROFILES from DS 3"}));
    EXPECT_THAT(traced("OrvCallHome processNumOfProfiles: DS error 3"), SizeIs(1));
    EXPECT_EQ(stateValue("Config"), "0x20");
    EXPECT_EQ(stateValue("ReadyForMessage"), "1");
    changeProfiles();
    changeProfiles();
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "2");
    EXPECT_EQ(count("OrvCallHome validateCallHomeSetup: Entry"), 0u);
}

TEST_F(OrvCallHomeConfig, aMarkerThatCannotBeWrittenStopsTheCycle) {
    addProfile({});
    failReply("Oper.Callhome.MarkerData", 9, FaultOperation::SET);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{15, kId, "Error setting DS_SET_CALLHOME_WRITE_MARKER in DS 9"}));
    EXPECT_THAT(traced("OrvCallHome completeProfileConfig: DS error 0x9"), SizeIs(1));
    EXPECT_EQ(stateValue("Config"), "0x20");
    EXPECT_EQ(stateValue("ReadyForMessage"), "0");
}

TEST_F(OrvCallHomeConfig, writesTheMarkerOnceAProfile) {
    unsigned markers = 0;
    switch_->bus().observe([&](const Hsb_Message& message) {
        if (message.format() == MessageFormat::DS && message.code() == DsCode::SET) {
            const std::string text(message.payload().begin(), message.payload().end());
            markers += text.find("Oper.Callhome.MarkerData") != std::string::npos;
        }
    });
    addProfile({.name = "one"});
    addProfile({.name = "two"});
    addProfile({.name = "three"});
    startDaemon();

    EXPECT_EQ(markers, 3u);
    EXPECT_EQ(switch_->attribute("Oper.Callhome.MarkerData"), "OK");
}

TEST_F(OrvCallHomeConfig, noProfilesEndTheCycleAtOnce) {
    startReady();
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    changeProfiles();

    EXPECT_EQ(stateValue("Config"), "0");
    EXPECT_EQ(stateValue("Condition"), "0x2f");
    EXPECT_THAT(traced("---- there are no configured profiles ----"), SizeIs(testing::Ge(1u)));
}

TEST_F(OrvCallHomeConfig, takesAProfileCountThatIsNoNumberOrNegativeAsNone) {
    for (const char* value : {"", "three", "-4"}) {
        SCOPED_TRACE(value);
        switch_->set("Global.CallhomeDB.NumberOfProfiles", value);
        if (app_ == nullptr) {
            startDaemon();
        } else {
            changeProfiles();
        }
        EXPECT_EQ(stateValue("Config"), "0");
        EXPECT_EQ(stateValue("Condition"), "0x21");
    }
}

TEST_F(OrvCallHomeConfig, aDamagedProfileCountDoesNotEatTheMemory) {
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "2147483647");
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    startDaemon();

    EXPECT_EQ(stateValue("NumOfProfiles"), "2147483647");
    EXPECT_THAT(traced("2147483647 profiles are too many, reading the first 1024"), SizeIs(1));
}

TEST_F(OrvCallHomeConfig, tellsTheOperatorThatTheSenderIsMissing) {
    useServer("", primary_);
    switch_->set("Global.Services.CallhomeEnable", "True");
    startDaemon();

    EXPECT_THAT(operatorLog(),
                ElementsAre(LogLine{2, 0x8b00000cu,
                                    "FromEmailAddress has not been configured in the CallHome setup.  Messages cannot "
                                    "be sent to the SMTP server until this condition is corrected."}));
}

TEST_F(OrvCallHomeConfig, doesNotMissTheSenderWhileTheServiceIsOffOrNoServerIsUsable) {
    useServer("", primary_);
    startDaemon();
    EXPECT_THAT(operatorLog(), IsEmpty());

    switch_->set("Global.Services.CallhomeEnable", "True");
    switch_->set("Global.Callhome.SMTPEnable", "False");
    changeProfiles();
    EXPECT_THAT(operatorLog(), IsEmpty());
}

// Kept: the ports are not compared, although the text speaks of pairs.
TEST_F(OrvCallHomeConfig, tellsTheOperatorThatBothServersHaveTheSameAddress) {
    enableCallHome();
    useServer("", primary_);
    useServer("1", secondary_);
    startDaemon();

    EXPECT_THAT(operatorLog(), ElementsAre(LogLine{3, 0x8b00000du,
                                                   "SMTP servers in the CallHome setup are using duplicate IP address "
                                                   "and port number pairs."}));
}

TEST_F(OrvCallHomeConfig, takesAnythingButTrueAsFalse) {
    for (const char* value : {"true", "TRUE", "True ", "1", ""}) {
        SCOPED_TRACE(value);
        switch_->set("Global.Services.CallhomeEnable", value);
        if (app_ == nullptr) {
            startDaemon();
        } else {
            changeProfiles();
        }
        EXPECT_EQ(stateValue("Condition"), "0x21");
    }
}

TEST_F(OrvCallHomeConfig, aPartReportedAgainAfterTheCycleChangesNothing) {
    startReady();
    const std::size_t judged = count("OrvCallHome validateCallHomeSetup: Entry");

    // An empty bulk answer under the queue's id, unasked for.
    switch_->send(103, DsCode::BULK_REPLY, {0, 0, 0, 11, 0, 0, 0, 0});

    EXPECT_EQ(count("OrvCallHome validateCallHomeSetup: Entry"), judged);
    EXPECT_EQ(stateValue("Config"), "0");
}

TEST_F(OrvCallHomeConfig, survivesAnyTextInAnyAttribute) {
    startReady();
    std::vector<Attribute> attributes;
    ASSERT_EQ(switch_->store().list("", attributes), 0);
    const std::string texts[] = {"",   std::string(5000, 'x'), "%s%n%d",  "\n\r\x01\x7f\xff",
                                 "-1", "4294967296",           "\xc2\xa7"};
    for (const std::string& text : texts) {
        for (const Attribute& attribute : attributes) {
            switch_->set(attribute.key, text);
        }
        changeProfiles();
        switch_->tick(2);
    }
    for (const Attribute& attribute : attributes) {
        switch_->unset(attribute.key);
    }
    changeProfiles();

    bool answered = false;
    switch_->bus().observe([&](const Hsb_Message& message) { answered |= message.code() == 100; });
    switch_->send(108, 0);
    EXPECT_TRUE(answered);
}

}  // namespace
