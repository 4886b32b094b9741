// What becomes of events: the intake, the conditions, and the matching with profiles.
#include "app/DaemonFixture.h"

#include "platform/wire/MessageCodes.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OrvCallHomeMessages : public DaemonFixture {
protected:
    // Nothing is sent: what is queued stays where it can be looked at.
    void startWithoutSending() {
        primary_.refuseConnections();
        startReady();
        app_->callHome();  // the power-up message is on the send queue by now
        before_ = entries();
    }
    std::vector<std::string> entries() const {
        std::vector<std::string> names = root_.list("/ostrel/conf/orv/callHome/queues/send");
        std::erase(names, "order");
        return names;
    }
    std::size_t queued() const { return entries().size() - before_.size(); }
    std::string entry(std::size_t index) const {
        return root_.read("/ostrel/conf/orv/callHome/queues/send/m" + std::to_string(index));
    }
    void changeProfiles() { switch_->manage(ManagementCode::PROFILE_CHANGE); }

    std::vector<std::string> before_;
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
    EXPECT_NE(entry(before_.size()).find("<Profile>\nNewcomers\n"), std::string::npos);
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

    const auto profilesOf = [this](std::size_t index) {
        std::string names;
        const std::string file = entry(index);
        for (std::size_t at = 0; (at = file.find("<Profile>\n", at)) != std::string::npos;) {
            at += 10;
            names += file.substr(at, file.find('\n', at) - at) + " ";
        }
        return names;
    };
    ASSERT_EQ(queued(), 3u);
    EXPECT_EQ(profilesOf(before_.size()), "All ");
    EXPECT_EQ(profilesOf(before_.size() + 1), "All Operators ");
    EXPECT_EQ(profilesOf(before_.size() + 2), "All Faults Operators ");
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
    EXPECT_NE(entry(before_.size()).find("<Text>\nThe switch operational state has changed to Offline\n</->\n"),
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

TEST_F(OrvCallHomeMessages, startsSendingOnceAnAddressOfTheSwitchIsKnown) {
    switch_->set("Global.Network.Eth.0.NF-IPAddress", "0-");
    switch_->set("Global.Network.Eth.0.IPv6IPAddress", "");
    startReady();
    switch_->publishLog(0, 0x00010002, "Blade fault without an address");
    switch_->tick(10);
    EXPECT_EQ(primary_.connections(), 0u);

    switch_->publishAddresses({"192.0.2.7"});
    switch_->tick();

    EXPECT_TRUE(waitForMails(primary_, 1));
    EXPECT_NE(primary_.received(0).find("EHLO [192.0.2.7]\r\n"), std::string::npos);
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

}  // namespace
