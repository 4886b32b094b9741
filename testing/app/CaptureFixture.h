// A daemon whose profiles have captures, for tests of captures from the attribute store to the mail.
//
// The switch's clock starts on Tuesday 2023-11-14 at 22:13:20. Checks fall on 22:14:20, 22:15:20 and so on, the first
// one only computing what is due when. The support command is a shell script of the test's; shell and compressor are
// the machine's own. Main thread only.
#pragma once

#include "testing/app/DaemonFixture.h"

#include <map>
#include <string>
#include <vector>

class CaptureFixture : public DaemonFixture {
protected:
    static constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";
    static constexpr char kSendQueue[] = "/ostrel/conf/orv/callHome/queues/send";
    static constexpr char kSequence[] = "/ostrel/conf/orv/callHome/capture.seq";

    CaptureFixture();
    // Lets a capture that a test holds go on, or its thread would be waited for.
    ~CaptureFixture() override { letGoOn(); }

    // Puts this script in the support command's place; $root is the switch's root, and `report TEXT` leaves the text as
    // the capture's output.
    void support(const std::string& script);
    // A script that says when it runs, and goes on when told to.
    void supportThatWaits();
    [[nodiscard]] bool waitUntilItRuns();
    void letGoOn();

    // A profile with one weekly capture, on Tuesday at 22:15 unless said otherwise.
    void addCaptureProfile(const std::string& name, const std::string& time = "22:15", const std::string& day = "Tue");
    void setCapture(unsigned profile, const std::string& day, const std::string& time);
    // The configuration changes while the daemon runs, and it is told.
    void tellOfChanges();

    // A configured daemon with its first check behind it: 22:14:20.
    void startWithCaptures();
    // A minute with its check at the end.
    void tickToCheck() { switch_->tick(60); }
    [[nodiscard]] bool waitForResults(std::size_t count);
    // Ticks until so many mails have come, retries included. What has been started comes to its end first: the hour
    // that this may take on the switch's clock passes faster than a capture.
    [[nodiscard]] bool tickUntilMails(std::size_t count);
    // Ticks until no attachment is left: all is sent, and what was sent is not kept any more to recognise repeats by.
    [[nodiscard]] bool tickUntilNothingIsKept();

    // How many captures the main thread has started.
    std::size_t started() { return traced("OrvCHCapture pushExecMesg: Entry").size(); }
    // What probes show of the schedule: "PROFILE NEXT-RUN" of each item.
    std::vector<std::string> scheduled();

    // The staged files, decoded by base64: the compressed files, by their attachments' names.
    std::map<std::string, std::string> stagedFiles();
    // The mail and the compressed files that it should carry go to the judges. What they say; "" when all is well.
    std::string judged(const std::string& mail, const std::map<std::string, std::string>& files,
                       const std::string& options = "");
};
