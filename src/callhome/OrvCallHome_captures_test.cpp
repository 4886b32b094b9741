// What the controller does for captures: whose are scheduled, and where their messages go.
#include "testing/FailingCalls.h"
#include "testing/callhome/ControllerFixture.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// A door to the shell: commands wait in front of it while it is shut. Both threads.
class Door {
public:
    void shut() { set(false); }
    void open() { set(true); }
    // 0, or an error number when nobody opened in time.
    int pass() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [this] { return open_; }) ? 0 : EIO;
    }

private:
    void set(bool open) {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
};

class OrvCallHomeCaptures : public ControllerFixture {
protected:
    OrvCallHomeCaptures() {
        const std::string shell = "/ostrel/bin/clish";
        root_.write(shell, "#!/bin/sh\n");
        std::filesystem::permissions(root_.at(shell), std::filesystem::perms::owner_all);
    }
    ~OrvCallHomeCaptures() override {
        door_.open();
        killDaemon();
    }

    // The profile's one capture: today, a bit more than a minute after the start.
    void setCapture(unsigned profile, const std::string& enabled) {
        const std::string key = "Global.CallhomeDB.Profile." + std::to_string(profile) + ".";
        switch_->set(key + "CaptureEnable", enabled);
        switch_->set(key + "CaptureEntries", "1");
        switch_->set(key + "Capture.0.Type", "Cron");
        switch_->set(key + "Capture.0.DayOfWeek", "Tue");
        switch_->set(key + "Capture.0.TimeOfDay", "22:15");
        switch_->set(key + "Capture.0.Interval", "1");
    }
    void startWithCapture() {
        primary_.refuseConnections();
        enableCallHome();
        useServer("", primary_);
        addProfile({});
        setCapture(0, "True");
        startDaemon();
        switch_->tick();
        before_ = entries().size();
    }
    std::string scheduled() {
        const std::vector<std::string> lines = dumpLines("scheduleCount = ");
        return lines.empty() ? "not found" : lines.back();
    }
    std::vector<std::string> dumpLines(const std::string& start) {
        switch_->send(MessageFormat::PROBE, ProbeCode::DUMP_STATE);
        std::vector<std::string> lines = mainTrace();
        std::erase_if(lines, [&start](const std::string& line) { return !line.starts_with(start); });
        return lines;
    }

    Door door_;
    const OnCall shells_{"posix_spawn", "", [this](const CallFaults::Made&) { return door_.pass(); }, true};
};

TEST_F(OrvCallHomeCaptures, areScheduledForAProfileThatHasThemEnabled) {
    startWithCapture();

    EXPECT_EQ(scheduled(), "scheduleCount = 1");
}

TEST_F(OrvCallHomeCaptures, areNotScheduledWhenTheyAreDisabled) {
    startWithCapture();
    setCapture(0, "False");
    changeProfiles();

    EXPECT_EQ(scheduled(), "scheduleCount = 0");
}

TEST_F(OrvCallHomeCaptures, areNotScheduledWithoutAnItem) {
    startWithCapture();
    switch_->set("Global.CallhomeDB.Profile.0.CaptureEntries", "0");
    changeProfiles();

    EXPECT_EQ(scheduled(), "scheduleCount = 0");
}

TEST_F(OrvCallHomeCaptures, areScheduledAnewByEveryReadAndNotTwice) {
    startWithCapture();
    changeProfiles();
    EXPECT_EQ(scheduled(), "scheduleCount = 1");

    addProfile({.name = "Second"});
    setCapture(1, "True");
    changeProfiles();
    EXPECT_EQ(scheduled(), "scheduleCount = 2");
}

TEST_F(OrvCallHomeCaptures, areDroppedWhenTheirProfileIsGone) {
    startWithCapture();
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "0");
    changeProfiles();

    EXPECT_EQ(scheduled(), "scheduleCount = 0");
}

TEST_F(OrvCallHomeCaptures, stayScheduledWhenAReadFails) {
    startWithCapture();
    switch_->faults().add({FaultKind::BAD_STATUS, FaultOperation::SET, "Oper.Callhome.MarkerData", 1, 0, 9});
    changeProfiles();

    EXPECT_EQ(stateValue("Config"), "0x20");
    EXPECT_EQ(scheduled(), "scheduleCount = 1");
}

TEST_F(OrvCallHomeCaptures, areQueuedForTheProfileThatOwnsThem) {
    addProfile({.name = "First", .level = "Fault"});
    startWithCapture();
    setCapture(0, "False");
    setCapture(1, "True");
    changeProfiles();
    switch_->tick(120);

    ASSERT_TRUE(switch_->runUntil([this] { return queued() == 1; }));
    EXPECT_NE(entry(before_).find("<ID>\n8B00.FFFF\n</->\n"), std::string::npos);
    EXPECT_EQ(profilesOf(before_), "Operators ");
}

TEST_F(OrvCallHomeCaptures, findTheirOwnerAmongTheActiveProfilesDuringARead) {
    startWithCapture();
    door_.shut();
    switch_->tick(120);
    EXPECT_THAT(dumpLines("executing = 1"), SizeIs(1));
    setProfile(0, {.name = "Newcomers"});
    switch_->bus().hold(LoopbackBus::messages(MessageFormat::DS, DsCode::BULK_REPLY));
    changeProfiles();
    ASSERT_EQ(stateValue("ReadyForMessage"), "0");

    door_.open();

    ASSERT_TRUE(switch_->runUntil([this] { return queued() == 1; }));
    EXPECT_EQ(profilesOf(before_), "Operators ");
    releaseAll();
}

TEST_F(OrvCallHomeCaptures, areDeletedWhenTheirOwnerHasGoneMeanwhile) {
    startWithCapture();
    door_.shut();
    switch_->tick(120);
    setProfile(0, {.name = "Newcomers"});
    changeProfiles();

    door_.open();

    ASSERT_TRUE(switch_->runUntil([this] {
        return count("Profile Operators deleted or renamed, cannot retreive envelope for message, deleting...!") == 1;
    }));
    EXPECT_EQ(queued(), 0u);
}

}  // namespace
