// A daemon on a switch of its own: what the tests of the whole daemon share.
//
// The switch's attributes are those of the factory until a test sets others; the daemon starts when the test says
// so. Main thread only.
#pragma once

#include "app/OrvApp.h"
#include "dbg/OrvDbg.h"
#include "testing/LoopbackSwitch.h"
#include "testing/ScriptedMailServer.h"
#include "testing/TempRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

// What a profile in the attribute store says.
struct ProfileSettings {
    std::string name = "Operators";
    std::string level = "Alarm";
    std::string format = "FullText";
    std::vector<std::string> emails = {"operator@example.com"};
    std::string subject = "Lab switch";
    std::string maxSize = "2000000";
};

class DaemonFixture : public testing::Test {
protected:
    DaemonFixture();
    ~DaemonFixture() override;

    // The daemon joins the bus and goes through its start-up as far as the switch answers.
    void startDaemon();
    // As a kill would: nothing is said to anybody. The file tree stays.
    void killDaemon();
    // A new switch on the same file tree, its daemon not started.
    void restartSwitch();

    // Attributes of a switch that can send: service, sender and the servers that exist.
    void enableCallHome();
    void useServer(const std::string& suffix, const ScriptedMailServer& server);
    void addProfile(const ProfileSettings& settings);
    void setProfile(unsigned index, const ProfileSettings& settings);
    // All of the above with one profile and the primary server, then the daemon, its queue open and nothing to send.
    void startReady();

    // Lines of the main trace that hold this text, without what stands before the method's name.
    std::vector<std::string> traced(const std::string& text);
    // The main trace with its older generations, oldest line first.
    std::vector<std::string> mainTrace() const;
    // The event log's lines of levels that operators see.
    std::vector<LogLine> operatorLog();
    [[nodiscard]] bool waitForMails(const ScriptedMailServer& server, std::size_t count);
    [[nodiscard]] bool waitForLog(const std::string& text);

    TempRoot root_;
    std::unique_ptr<LoopbackSwitch> switch_;
    ScriptedMailServer primary_;
    ScriptedMailServer secondary_;
    std::unique_ptr<OrvDbg> logger_;
    std::unique_ptr<OrvApp> app_;
    unsigned profiles_ = 0;
};
