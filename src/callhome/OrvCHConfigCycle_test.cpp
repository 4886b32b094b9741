// The configuration read cycle: what is asked for, what each failure does, and when the set-up is judged.
#include "base/OrvText.h"
#include "testing/callhome/ConfigFixture.h"

#include <random>
#include <stdexcept>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

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

// Kept: of the statuses of a write only 0 is good.
TEST_F(OrvCallHomeConfig, aMarkerStatusOf52StopsTheCycleToo) {
    addProfile({});
    failReply("Oper.Callhome.MarkerData", 0x34, FaultOperation::SET);
    startDaemon();

    EXPECT_THAT(switch_->eventLog(), Contains(LogLine{15, kId, "Error setting DS_SET_CALLHOME_WRITE_MARKER in DS 34"}));
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

// The answer that ends the cycle is judged before it is taken.
// Kept: the part counts as read before its value is stored.
TEST_F(OrvCallHomeConfig, judgesTheSetUpBeforeItTakesTheLastAnswer) {
    useServer("", primary_);
    startDaemon();
    const auto senderMissing = [this] {
        return switch_->runUntil([] { return true; }) && !operatorLog().empty() ? operatorLog().back().id : 0u;
    };
    switch_->set("Global.Services.CallhomeEnable", "True");
    switch_->bus().hold(answers(DsCode::ATTRIBUTE_REPLY, 7));
    changeProfiles();
    ASSERT_EQ(stateValue("Config"), "0x2");
    releaseAll();

    EXPECT_EQ(stateValue("Config"), "0");
    EXPECT_EQ(stateValue("Condition"), "0x27");
    EXPECT_EQ(senderMissing(), 0u);
    changeProfiles();
    EXPECT_EQ(senderMissing(), 0x8b00000cu);
}

// Kept: the next cycle begins before the value of the answer that ended this one is taken.
TEST_F(OrvCallHomeConfig, beginsTheNextCycleBeforeItTakesTheLastAnswer) {
    startReady();
    switch_->set("Default.Mfg.AllowCallhome", "False");
    switch_->bus().hold(answers(DsCode::ATTRIBUTE_REPLY, 6));
    changeProfiles();
    changeProfiles();
    ASSERT_EQ(stateValue("Config"), "0x1");

    switch_->bus().releaseOne(0);
    switch_->pump();

    const std::vector<std::string> lines = traced("OrvCallHome ");
    const auto last = [&lines](const std::string& line) {
        return std::find(lines.rbegin(), lines.rend(), line);  // nearer to the beginning: later
    };
    EXPECT_LT(last("OrvCallHome clearIncomingMesgQ: Entry"), last("OrvCallHome readConfig: Entry"));
    // The second cycle waits for the same answer; the first one's value is there.
    EXPECT_EQ(stateValue("Config"), "0x1");
    EXPECT_EQ(stateValue("ConfigRequestsPending"), "0");
    EXPECT_EQ(stateValue("Condition"), "0x3e");
    releaseAll();
    EXPECT_EQ(stateValue("Config"), "0");
}

TEST_F(OrvCallHomeConfig, aPartAboveFiveThrows) {
    startReady();
    for (const unsigned bit : {6u, 7u, 0xFFFFFFFFu}) {
        try {
            app_->callHome().configComplete(bit);
            ADD_FAILURE() << bit;
        } catch (const std::out_of_range& exception) {
            EXPECT_THAT(exception.what(), testing::StartsWith("bitset::reset"));
        }
    }
    EXPECT_EQ(traced("OrvCallHome configComplete:").back(), "OrvCallHome configComplete: Entry - in = 0xffffffff");
    EXPECT_EQ(stateValue("Config"), "0");
}

TEST_F(OrvCallHomeConfig, refusesAnswersUnderIdsThatItDoesNotKnow) {
    startReady();
    for (const std::uint32_t id : {6u, 10u, 12u, 13u, 0xFFFFFFFFu}) {
        DsBulkReply reply;
        reply.id = id;
        switch_->forgetEventLog();
        EXPECT_EQ(app_->callHome().processConfigBulk(reply), -1);
        switch_->pump();

        const std::string text = orvFormat("unhandled id 0x%8.8x", id);
        EXPECT_EQ(traced("OrvCallHome processConfigBulk:").back(), "OrvCallHome processConfigBulk: " + text);
        // Kept: the line feed.
        EXPECT_THAT(switch_->eventLog(),
                    ElementsAre(LogLine{15, kId, "OrvCallHome::processConfigBulk() " + text + "\n"}));
    }
    for (const std::uint32_t id : {0u, 5u, 10u, 11u, 13u, 0xFFFFFFFFu}) {
        DsAttrReply reply;
        reply.id = id;
        switch_->forgetEventLog();
        EXPECT_EQ(app_->callHome().processConfig(reply), -1);
        switch_->pump();

        const std::string text = orvFormat("unhandled id 0x%8.8x", id);
        EXPECT_EQ(traced("OrvCallHome processConfig:").back(), "OrvCallHome processConfig: " + text);
        EXPECT_THAT(switch_->eventLog(), ElementsAre(LogLine{15, kId, "OrvCallHome::processConfig() " + text}));
    }
    for (const std::uint32_t id : {0u, 9u, 11u, 13u, 0xFFFFFFFFu}) {
        DsStatusReply reply;
        reply.id = id;
        switch_->forgetEventLog();
        EXPECT_EQ(app_->callHome().processDsStatus(reply), -1);
        switch_->pump();

        const std::string text = orvFormat("unhandled id 0x%8.8x", id);
        EXPECT_EQ(traced("OrvCallHome processDsStatus:").back(), "OrvCallHome processDsStatus: " + text);
        EXPECT_THAT(switch_->eventLog(), ElementsAre(LogLine{15, kId, "OrvCallHome::processDsStatus() " + text}));
    }
}

// The send thread waits for the identity that is being read; it must not wait for an answer that nobody can read.
TEST_F(OrvCallHomeConfig, releasesTheIdentityWhenABulkAnswerCannotBeDecoded) {
    startReady();
    switch_->publishLog(0, 0x00010002, "Blade fault during a broken read");
    switch_->bus().drop(answers(DsCode::BULK_REPLY, 0));
    changeProfiles();
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil([this] { return primary_.connections() == 1; }));

    switch_->send(MessageFormat::DS, DsCode::BULK_REPLY, {0, 0, 0});

    EXPECT_TRUE(waitForMails(primary_, 1));
    // Kept: the cycle stays open.
    EXPECT_EQ(stateValue("Config"), "0x8");
}

TEST_F(OrvCallHomeConfig, takesTheStoresAnswersInAnyOrder) {
    startReady();
    addProfile({.name = "Second"});
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::minstd_rand random(seed);
        switch_->bus().hold([](const Hsb_Message& message) {
            return message.format() == MessageFormat::DS && message.source().node == 0;
        });
        changeProfiles();
        for (int left = 1000; switch_->bus().held() > 0 && left > 0; --left) {
            switch_->bus().releaseOne(random() % switch_->bus().held());
            switch_->pump();
        }
        switch_->bus().clearFaults();

        EXPECT_THAT(state(), ElementsAre("ReadyForMessage = 1", "SwitchOperState = Online", "NumOfProfiles = 2",
                                         "Condition = 0x3f", "Config = 0", "ConfigRequestsPending = 0"));
    }
}

}  // namespace
