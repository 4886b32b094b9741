// Profiles that change while a capture waits, runs, or is due.
#include "testing/app/CaptureFixture.h"

#include "switchd/services/FaultRule.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kNextWeek[] = " Tue, 21  Nov  2023  22:15:00  +0000";

class CaptureChanges : public CaptureFixture {
protected:
    // The capture of "Ops" runs until it is let go on; it was started at 22:15:20.
    void startRunningCapture() {
        addCaptureProfile("Ops");
        startWithCaptures();
        supportThatWaits();
        tickToCheck();
        ASSERT_TRUE(waitUntilItRuns());
        ASSERT_EQ(started(), 1u);
    }
    // A daemon whose checks fall on full minutes, with the one at 22:14:00 behind it.
    void startOnFullMinutes() {
        switch_->clock().setCalendar(1699999980);  // 22:13:00
        startWithCaptures();
    }
    // An hour later, nothing more has been started, and no file is left behind.
    void expectNothingMore(std::size_t captures) {
        ASSERT_TRUE(waitForResults(captures));
        switch_->tick(3600);
        EXPECT_EQ(started(), captures);
        EXPECT_TRUE(tickUntilNothingIsKept());
        EXPECT_THAT(root_.list("/ostrel/conf/orv/callHome/attachments.stage"), IsEmpty());
    }
    std::vector<std::string> dropped(const std::string& profile) {
        return traced("Profile " + profile + " deleted or renamed, cannot retreive envelope for message, deleting...!");
    }
};

TEST_F(CaptureChanges, aRenamedProfileLosesTheCaptureThatRuns) {
    startRunningCapture();
    switch_->set("Global.CallhomeDB.ProfileList.0", "Operations");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(dropped("Ops"), SizeIs(1));
    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
    EXPECT_THAT(scheduled(), ElementsAre(std::string("Operations") + kNextWeek));
    expectNothingMore(1);
    EXPECT_THAT(primary_.mailsTaken(), IsEmpty());
}

TEST_F(CaptureChanges, aRemovedProfileLosesTheCaptureThatRuns) {
    startRunningCapture();
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(dropped("Ops"), SizeIs(1));
    EXPECT_THAT(scheduled(), IsEmpty());
    expectNothingMore(1);
    EXPECT_THAT(primary_.mailsTaken(), IsEmpty());
}

TEST_F(CaptureChanges, aProfileOfTheSameNameGetsTheCaptureThatRanWhenItWasRemoved) {
    startRunningCapture();
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    tellOfChanges();
    setProfile(0, {.name = "Ops", .emails = {"new@example.com"}});
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "1");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(tickUntilMails(1));

    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("new@example.com"));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aNewScheduleLeavesTheCaptureThatRunsAsItWas) {
    startRunningCapture();
    setCapture(0, "Wed", "12:00");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(tickUntilMails(1));

    EXPECT_THAT(primary_.mailsTaken()[0].text, HasSubstr("DayOfWeek:      Tue\r\nTimeOfDay:      22:15\r\n"));
    EXPECT_THAT(scheduled(), ElementsAre("Ops Wed, 15  Nov  2023  12:00:00  +0000"));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aScheduleMovedIntoTheNextMinutesRunsOnceMore) {
    startRunningCapture();
    setCapture(0, "Tue", "22:17");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(waitForResults(1));
    switch_->tick(180);
    ASSERT_TRUE(waitForResults(2));

    ASSERT_TRUE(tickUntilMails(2));
    expectNothingMore(2);
}

TEST_F(CaptureChanges, aDisabledCaptureThatRunsIsMailed) {
    startRunningCapture();
    switch_->set("Global.CallhomeDB.Profile.0.CaptureEnable", "False");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(tickUntilMails(1));

    EXPECT_THAT(scheduled(), IsEmpty());
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aProfileRenamedWhileItsCaptureWaitsLosesThatOneOnly) {
    addCaptureProfile("First");
    addCaptureProfile("Second");
    addCaptureProfile("Third");
    startWithCaptures();
    supportThatWaits();
    tickToCheck();
    ASSERT_TRUE(waitUntilItRuns());
    switch_->set("Global.CallhomeDB.ProfileList.1", "Renamed");
    tellOfChanges();
    letGoOn();
    ASSERT_TRUE(waitForResults(3));
    ASSERT_TRUE(tickUntilMails(2));

    EXPECT_THAT(dropped("Second"), SizeIs(1));
    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("First@example.com"));
    EXPECT_THAT(primary_.mailsTaken()[1].recipients, ElementsAre("Third@example.com"));
    expectNothingMore(3);
    EXPECT_THAT(primary_.mailsTaken(), SizeIs(2));
}

// Its envelope was made when it was queued.
TEST_F(CaptureChanges, aProfileRemovedWhileItsCaptureWaitsOnTheQueueGetsItsMail) {
    addCaptureProfile("Ops");
    primary_.refuseConnections();
    startWithCaptures();
    tickToCheck();
    ASSERT_TRUE(waitForResults(1));
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    tellOfChanges();
    primary_.acceptConnections();
    ASSERT_TRUE(tickUntilMails(1));

    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("Ops@example.com"));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aReadInTheMinuteBeforeTheCheckLosesNoCapture) {
    addCaptureProfile("Ops");
    startWithCaptures();
    switch_->tick(45);  // 22:15:05, the check comes at 22:15:20
    tellOfChanges();
    switch_->tick(15);

    EXPECT_EQ(started(), 1u);
    ASSERT_TRUE(tickUntilMails(1));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aReadInTheSecondOfTheCheckDoublesNoCapture) {
    addCaptureProfile("Ops");
    startOnFullMinutes();
    tickToCheck();  // 22:15:00
    EXPECT_EQ(started(), 1u);
    tellOfChanges();

    EXPECT_THAT(scheduled(), ElementsAre(std::string("Ops") + kNextWeek));
    ASSERT_TRUE(tickUntilMails(1));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aReadInTheSecondBeforeTheCheckNeitherLosesNorDoublesACapture) {
    addCaptureProfile("Ops");
    startOnFullMinutes();
    switch_->tick(59);
    tellOfChanges();
    switch_->tick(1);

    EXPECT_EQ(started(), 1u);
    ASSERT_TRUE(tickUntilMails(1));
    expectNothingMore(1);
}

// Kept: under its new name it is another capture, whose time has passed.
TEST_F(CaptureChanges, aProfileRenamedInTheMinuteBeforeTheCheckLosesThisWeeksCapture) {
    addCaptureProfile("Ops");
    startWithCaptures();
    switch_->tick(45);
    switch_->set("Global.CallhomeDB.ProfileList.0", "Operations");
    tellOfChanges();

    EXPECT_THAT(scheduled(), ElementsAre(std::string("Operations") + kNextWeek));
    expectNothingMore(0);
}

TEST_F(CaptureChanges, aProfileRemovedInTheMinuteBeforeTheCheckIsNotCaptured) {
    addCaptureProfile("Ops");
    startWithCaptures();
    switch_->tick(45);
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    tellOfChanges();

    expectNothingMore(0);
}

TEST_F(CaptureChanges, aReadThatTakesLongerThanTheMinuteNeitherLosesNorDoublesACapture) {
    addCaptureProfile("Ops");
    startWithCaptures();
    switch_->faults().add({.kind = FaultKind::HOLD, .pattern = "Global.CallhomeDB.Profile.0.Level"});
    tellOfChanges();
    tickToCheck();
    EXPECT_EQ(started(), 1u);
    ASSERT_TRUE(waitForResults(1));
    tickToCheck();
    switch_->faults().release();
    switch_->pump();

    EXPECT_THAT(scheduled(), ElementsAre(std::string("Ops") + kNextWeek));
    ASSERT_TRUE(tickUntilMails(1));
    expectNothingMore(1);
}

TEST_F(CaptureChanges, aReadThatFailsLeavesTheScheduleAsItWas) {
    addCaptureProfile("Ops");
    startWithCaptures();
    switch_->faults().add({.kind = FaultKind::SILENT, .pattern = "Global.CallhomeDB.Profile.0.Level"});
    tellOfChanges();
    tickToCheck();
    EXPECT_EQ(started(), 1u);
    ASSERT_TRUE(waitForResults(1));

    EXPECT_THAT(scheduled(), ElementsAre(std::string("Ops") + kNextWeek));
}

TEST_F(CaptureChanges, aKillWhileACaptureRunsLeavesNoFileBehindAtTheNextStart) {
    startRunningCapture();
    root_.write(std::string(kAttachments) + "/logfile.gz", "half");
    root_.write(std::string(kAttachments) + "/logfile.gz.1", "half");
    letGoOn();
    restartSwitch();
    startDaemon();
    switch_->tick();

    EXPECT_THAT(root_.list(kAttachments), IsEmpty());
    EXPECT_THAT(root_.list("/ostrel/conf/orv/callHome/attachments.stage"), IsEmpty());
}

}  // namespace
