// What becomes of events: the intake, the conditions, and the matching with profiles.
#include "testing/callhome/ControllerFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OrvCallHomeMessages : public ControllerFixture {
protected:
    // A daemon on a switch without any address, with one event waiting.
    void startWithoutAddresses() {
        switch_->set("Global.Network.Eth.0.NF-IPAddress", "0-");
        switch_->set("Global.Network.Eth.0.IPv6IPAddress", "");
        startReady();
        switch_->publishLog(0, 0x00010002, "Blade fault without an address");
    }
    void sendsNothingUntilThisAddressComes(const std::string& address, const std::string& greeting) {
        startWithoutAddresses();
        switch_->tick(10);
        EXPECT_EQ(primary_.connections(), 0u);

        switch_->publishAddresses({address});
        switch_->tick();

        EXPECT_TRUE(waitForMails(primary_, 1));
        EXPECT_NE(primary_.received(0).find(greeting), std::string::npos);
    }
};

TEST_F(OrvCallHomeMessages, takesLogTypes0And2And3Only) {
    addProfile({.name = "All", .level = "Info"});
    startWithoutSending();
    for (const int kind : {-1, 1, 4, 5, 15, 16, 17, 31}) {
        switch_->publishLog(kind, 0x00010000u + static_cast<unsigned>(kind), "of kind " + std::to_string(kind));
        EXPECT_EQ(queued(), 0u) << kind;
    }
    std::size_t expected = 0;
    for (const int kind : {0, 2, 3}) {
        switch_->publishLog(kind, 0x00010000, "of kind " + std::to_string(kind));
        EXPECT_EQ(queued(), ++expected) << kind;
    }
}

TEST_F(OrvCallHomeMessages, neverMailsTheDaemonsOwnEntries) {
    startWithoutSending();

    switch_->publishLog(0, 0x00010002, "Blade fault of our own", 4096);
    EXPECT_EQ(queued(), 0u);
    switch_->publishLog(0, 0x00010002, "Blade fault of somebody else", 4097);
    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCallHomeMessages, ignoresAnEventThatIsTooShortToBeARecord) {
    startWithoutSending();

    switch_->publishEvent(1, 0, std::vector<std::uint8_t>(311, 0));
    switch_->publishEvent(1, 0, {});

    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, dropsEventsUnlessEveryConditionHolds) {
    struct Missing {
        const char* key;
        const char* value;
    };
    startWithoutSending();
    for (const Missing& missing :
         {Missing{"Default.Mfg.AllowCallhome", "False"}, Missing{"Global.Services.CallhomeEnable", "False"},
          Missing{"Global.Callhome.SMTPEnable", "False"}, Missing{"Global.Callhome.FromAddr", "<undefined>"},
          Missing{"Global.CallhomeDB.NumberOfProfiles", "0"}}) {
        SCOPED_TRACE(missing.key);
        const std::optional<std::string> good = switch_->attribute(missing.key);
        switch_->set(missing.key, missing.value);
        changeProfiles();
        switch_->publishLog(0, 0x00010002, std::string("without ") + missing.key);
        EXPECT_EQ(queued(), 0u);
        switch_->set(missing.key, *good);
        changeProfiles();
    }
    switch_->publishLog(0, 0x00010002, "with everything");
    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCallHomeMessages, keepsEventsThatArriveBeforeTheFirstConfiguration) {
    primary_.refuseConnections();
    enableCallHome();
    useServer("", primary_);
    addProfile({});
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::CONNECTED));
    startDaemon();

    switch_->publishLog(0, 0x00010002, "Blade fault before anything was read");
    EXPECT_EQ(entries().size(), 0u);
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    switch_->tick();

    EXPECT_THAT(entries(), SizeIs(1));
    EXPECT_NE(entry(0).find("Blade fault before anything was read"), std::string::npos);
}

TEST_F(OrvCallHomeMessages, keepsEventsDuringAReadCycleAndMatchesThemWithTheNewProfiles) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    setProfile(0, {.name = "Newcomers"});
    changeProfiles();

    switch_->publishLog(0, 0x00010002, "Blade fault while reading");
    EXPECT_EQ(queued(), 0u);
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    switch_->tick();

    ASSERT_EQ(queued(), 1u);
    EXPECT_NE(entry(before_).find("<Profile>\nNewcomers\n"), std::string::npos);
}

TEST_F(OrvCallHomeMessages, queuesWhatWaitsForTheNextTickWhenTheDaemonStops) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    switch_->publishLog(0, 0x00010002, "Blade fault while reading");
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    ASSERT_EQ(queued(), 0u);

    app_->finishMail();

    ASSERT_EQ(queued(), 1u);
    EXPECT_NE(entry(before_).find("Blade fault while reading"), std::string::npos);
}

TEST_F(OrvCallHomeMessages, queuesWhatWaitsBehindRefusedTestsWhenTheDaemonStops) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    switch_->testProfile("Operators");
    switch_->testProfile("Operators");
    switch_->publishLog(0, 0x00010002, "Blade fault behind the tests");
    switch_->set("Global.Callhome.SMTPEnable", "False");
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    ASSERT_EQ(queued(), 0u);

    app_->finishMail();

    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCallHomeMessages, queuesThePowerUpMessageForProfilesOfItsLevel) {
    addProfile({.name = "All", .level = "Warn"});
    primary_.refuseConnections();
    startReady();

    ASSERT_THAT(entries(), SizeIs(2));  // and the first state that was read
    EXPECT_NE(entry(0).find("<ID>\n8B00.0003\n</->\n"), std::string::npos);
    EXPECT_NE(entry(0).find("<Text>\nThe switch has powered up and it is operational\n</->\n"), std::string::npos);
}

TEST_F(OrvCallHomeMessages, addsOneEnvelopeForEachProfileWhoseLevelIsReached) {
    addProfile({.name = "All", .level = "Info"});
    addProfile({.name = "Faults", .level = "Fault"});
    addProfile({.name = "Nobody", .level = "Info", .emails = {}});
    startWithoutSending();  // and the fourth, "Operators", of level Alarm

    switch_->publishLog(2, 0x00010002, "critical");
    switch_->publishLog(0, 0x00010003, "an alarm");
    switch_->publishLog(0, 0x00010004, "system FAULT of some kind");

    ASSERT_EQ(queued(), 3u);
    EXPECT_EQ(profilesOf(before_), "All ");
    EXPECT_EQ(profilesOf(before_ + 1), "All Operators ");
    EXPECT_EQ(profilesOf(before_ + 2), "All Faults Operators ");
}

TEST_F(OrvCallHomeMessages, deletesAnEventThatNoProfileWants) {
    startWithoutSending();

    switch_->publishLog(3, 0x00010002, "only a warning");

    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, mailsAChangeOfTheSwitchStateOnce) {
    addProfile({.name = "All", .level = "Info"});
    startWithoutSending();

    switch_->publishState("Offline");
    switch_->publishState("Offline");

    ASSERT_EQ(queued(), 1u);
    EXPECT_NE(entry(before_).find("<Text>\nThe switch operational state has changed to Offline\n</->\n"),
              std::string::npos);
    switch_->publishState("Diagnostics");
    EXPECT_EQ(queued(), 2u);
}

TEST_F(OrvCallHomeMessages, mailsNoStateWhileTheServiceIsDisabled) {
    addProfile({.name = "All", .level = "Info"});
    startWithoutSending();
    switch_->set("Global.Services.CallhomeEnable", "False");
    changeProfiles();

    switch_->publishState("Offline");
    switch_->set("Global.Services.CallhomeEnable", "True");
    changeProfiles();
    switch_->publishState("Offline");

    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, ignoresAStateEventWithoutData) {
    startWithoutSending();

    switch_->publishEvent(66, 3, {});

    EXPECT_THAT(traced("buildSwitchStateData"), SizeIs(testing::Le(1u)));
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, deletesWaitingMessagesWhenCallHomeIsNotAllowed) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY));
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    switch_->set("Default.Mfg.AllowCallhome", "False");
    changeProfiles();
    switch_->publishLog(0, 0x00010002, "Blade fault that waits");
    switch_->bus().clearFaults();
    switch_->bus().release();
    switch_->pump();
    switch_->tick();
    EXPECT_THAT(traced("OrvCallHome clearIncomingMesgQ: Entry"), SizeIs(1));
    EXPECT_EQ(queued(), 0u);

    switch_->set("Default.Mfg.AllowCallhome", "True");
    changeProfiles();
    switch_->tick();
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, refusesHostnameAndAddressEventsWithoutData) {
    startWithoutSending();

    switch_->publishEvent(90, 0, {});
    switch_->publishEvent(2, 56, {});

    EXPECT_THAT(traced("OrvCallHome setSwitchHostname: Invalid hostname data received!"), SizeIs(1));
    EXPECT_THAT(traced("OrvCallHome setSwitchAddr: Invalid address data received!"), SizeIs(1));
}

TEST_F(OrvCallHomeMessages, ignoresAnAddressEventWhoseLeadingWordsDiffer) {
    startWithoutSending();

    switch_->publishEvent(2, 56, {0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0});
    EXPECT_THAT(traced("CMON_IF_CHANGED"), IsEmpty());
    switch_->publishEvent(2, 56, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0});
    EXPECT_THAT(traced("CMON_IF_CHANGED event sent 0 IP addresses count"), SizeIs(1));
}

TEST_F(OrvCallHomeMessages, takesAnAddressEventThatEndsAfterItsLeadingWordsAsOneWithoutAddresses) {
    startWithoutSending();
    const auto result = [this](std::vector<std::uint8_t> data) { return app_->callHome().setSwitchAddr(data); };

    EXPECT_EQ(result({0, 0, 0, 1, 0, 0, 0, 2, 0}), 0);
    EXPECT_THAT(traced("CMON_IF_CHANGED"), IsEmpty());
    EXPECT_EQ(result({0, 0, 0, 1, 0, 0, 0, 1}), 0);
    EXPECT_EQ(result({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 9}), 0);
    EXPECT_THAT(traced("CMON_IF_CHANGED event sent 0 IP addresses count"), SizeIs(2));
    EXPECT_EQ(result({0, 0, 0, 1, 0, 0, 0}), -1);
    EXPECT_THAT(traced("OrvCallHome setSwitchAddr: Invalid address data received!"), SizeIs(1));
}

TEST_F(OrvCallHomeMessages, startsSendingOnceAnAddressOfTheSwitchIsKnown) {
    sendsNothingUntilThisAddressComes("192.0.2.7", "EHLO [192.0.2.7]\r\n");
}

TEST_F(OrvCallHomeMessages, startsSendingOnceAnIPv6AddressAloneIsKnown) {
    sendsNothingUntilThisAddressComes("2001:db8::7", "EHLO [IPv6:2001:db8::7]\r\n");
}

TEST_F(OrvCallHomeMessages, doesNotStartSendingOnAnAddressEventThatLeavesBothTextsEmpty) {
    primary_.answer(MailStage::kGreeting, ScriptedReply::silence());  // what is taken for sending stays open
    startWithoutAddresses();
    const auto openEntries = [this] {
        switch_->takeManagementReplies();
        switch_->manage(ManagementCode::MESG_Q_INFO);
        const std::vector<ManagementReply> replies = switch_->takeManagementReplies();
        return replies.size() == 1 && replies[0].payload.size() == 28 ? int{replies[0].payload[27]} : -1;
    };

    switch_->publishAddresses({});
    switch_->tick(10);
    EXPECT_THAT(traced("CMON_IF_CHANGED event sent 0 IP addresses count"), SizeIs(1));
    EXPECT_EQ(openEntries(), 0);

    switch_->publishAddresses({"192.0.2.7"});
    switch_->tick();
    EXPECT_TRUE(switch_->runUntil([&] { return openEntries() == 1; }));
    primary_.answer(MailStage::kGreeting, ScriptedReply::hangUp());
}

TEST_F(OrvCallHomeMessages, drainsTheEventRingAlthoughItIsAlwaysEmpty) {
    startWithoutSending();

    app_->callHome().processIncomingLogEventQ();

    const std::vector<std::string> lines = traced("OrvCallHome processIncomingLogEventQ: incomingLogEventQ[");
    ASSERT_THAT(lines, SizeIs(13));
    EXPECT_EQ(lines.front(), "OrvCallHome processIncomingLogEventQ: incomingLogEventQ[1]");
    EXPECT_EQ(lines.back(), "OrvCallHome processIncomingLogEventQ: incomingLogEventQ[0]");
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, takesAStateUpToItsFirstNulOrItsEnd) {
    addProfile({.name = "All", .level = "Info"});
    startWithoutSending();

    switch_->publishEvent(66, 3, {'O', 'f', 'f', 'l', 'i', 'n', 'e', '\0', 'x', 'y'});
    EXPECT_EQ(stateValue("SwitchOperState"), "Offline");
    switch_->publishEvent(66, 3, {'D', 'o', 'w', 'n'});
    EXPECT_EQ(stateValue("SwitchOperState"), "Down");

    ASSERT_EQ(queued(), 2u);
    EXPECT_NE(entry(before_).find("<Text>\nThe switch operational state has changed to Offline\n</->\n"),
              std::string::npos);
    EXPECT_NE(entry(before_ + 1).find("<Text>\nThe switch operational state has changed to Down\n</->\n"),
              std::string::npos);
}

TEST_F(OrvCallHomeMessages, deletesWaitingMessagesWhenTheServiceIsNotEnabled) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY));
    switch_->set("Global.Services.CallhomeEnable", "Never");
    changeProfiles();
    switch_->publishLog(0, 0x00010002, "Blade fault that waits");
    releaseAll();
    switch_->tick();

    EXPECT_EQ(count("OrvCallHome clearIncomingMesgQ: Entry"), 1u);
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCallHomeMessages, keepsWaitingMessagesWhenTheServicesReadFails) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    switch_->faults().add({FaultKind::BAD_STATUS, FaultOperation::GET, "Global.Services.CallhomeEnable", 1, 0, 3});
    switch_->publishLog(0, 0x00010002, "Blade fault before the read");
    const std::size_t queuedBefore = queued();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::ATTRIBUTE_REPLY));
    changeProfiles();
    switch_->publishLog(0, 0x00010003, "Blade fault during the read");
    releaseAll();
    switch_->tick();

    EXPECT_EQ(count("OrvCallHome clearIncomingMesgQ: Entry"), 0u);
    EXPECT_EQ(queued(), queuedBefore + 1);
}

TEST_F(OrvCallHomeMessages, deletesAStateMessageWhenThereAreNoProfiles) {
    enableCallHome();
    useServer("", primary_);
    primary_.refuseConnections();
    startDaemon();
    switch_->tick();
    ASSERT_THAT(entries(), IsEmpty());
    switch_->publishState("Offline");

    addProfile({.name = "All", .level = "Info"});
    changeProfiles();
    switch_->tick();
    EXPECT_THAT(entries(), IsEmpty());
    switch_->publishState("Online");
    EXPECT_THAT(entries(), SizeIs(1));
}

TEST_F(OrvCallHomeMessages, tracesEveryThousandthMessageThatWaitsForTheConfiguration) {
    startWithoutSending();
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    Sw_Log_Type record;
    record.text = "Blade fault that waits";
    const std::vector<std::uint8_t> data = record.encode();
    const auto waiting = [this] { return traced("messages are waiting for the configuration"); };

    for (int i = 1; i < 1000; ++i) {
        ASSERT_EQ(app_->callHome().takeLogEvent(data), 0);
    }
    EXPECT_THAT(waiting(), IsEmpty());
    for (int i = 1000; i <= 2000; ++i) {
        ASSERT_EQ(app_->callHome().takeLogEvent(data), 0);
        if (i == 1000) {
            EXPECT_THAT(waiting(), ElementsAre("OrvCallHome submit: 1000 messages are waiting for the configuration"));
        }
    }
    EXPECT_THAT(waiting(), Contains("OrvCallHome submit: 2000 messages are waiting for the configuration"));
}

// Kept: what carries no profile name is no test, but a message like any other, of a level above all profiles'.
TEST_F(OrvCallHomeMessages, aTestWithoutANameGoesToEveryProfile) {
    addProfile({.name = "Faults", .level = "Fault"});
    addProfile({.name = "All", .level = "Info"});
    startWithoutSending();

    switch_->testProfile("");

    ASSERT_EQ(queued(), 1u);
    EXPECT_EQ(profilesOf(before_), "Faults All Operators ");
    EXPECT_NE(entry(before_).find("<Text>\nCALLHOME TEST PROFILE MESSAGE\n</->\n"), std::string::npos);
}

}  // namespace
