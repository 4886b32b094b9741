#include "testing/app/CaptureFixture.h"

#include "MessageCodes.h"

#include <cstdlib>
#include <filesystem>

CaptureFixture::CaptureFixture() {
    support("report 'everything is well'");
}

void CaptureFixture::support(const std::string& script) {
    const std::string path = "/ostrel/bin/clish";
    root_.write(path, "#!/bin/sh\nroot='" + root_.path() +
                          "'\nreport() { echo \"$1\" > \"$root/tmp/smlCapture.txt\"; }\n" + script + "\n");
    std::filesystem::permissions(root_.at(path), std::filesystem::perms::owner_all);
}

void CaptureFixture::supportThatWaits() {
    // Half a minute at most.
    support(
        "echo start >> \"$root/tmp/runs\"\nleft=600\n"
        "while [ ! -e \"$root/tmp/go\" ] && [ $left -gt 0 ]; do left=$((left - 1)); sleep 0.05; done\n"
        "report 'everything is well'\necho end >> \"$root/tmp/runs\"");
}

bool CaptureFixture::waitUntilItRuns() {
    return switch_->runUntil([this] { return root_.exists("/tmp/runs"); });
}

void CaptureFixture::letGoOn() {
    root_.write("/tmp/go", "");
}

void CaptureFixture::addCaptureProfile(const std::string& name, const std::string& time, const std::string& day) {
    addProfile({.name = name, .emails = {name + "@example.com"}});
    setCapture(profiles_ - 1, day, time);
}

void CaptureFixture::setCapture(unsigned profile, const std::string& day, const std::string& time) {
    const std::string key = "Global.CallhomeDB.Profile." + std::to_string(profile) + ".Capture";
    switch_->set(key + "Enable", "True");
    switch_->set(key + "Entries", "1");
    switch_->set(key + ".0.Type", "Cron");
    switch_->set(key + ".0.DayOfWeek", day);
    switch_->set(key + ".0.TimeOfDay", time);
    switch_->set(key + ".0.Interval", "1");
}

void CaptureFixture::tellOfChanges() {
    switch_->manage(ManagementCode::PROFILE_CHANGE);
    switch_->pump();
}

void CaptureFixture::startWithCaptures() {
    enableCallHome();
    useServer("", primary_);
    startDaemon();
    tickToCheck();
    ASSERT_EQ(started(), 0u);
}

bool CaptureFixture::waitForResults(std::size_t count) {
    return switch_->runUntil([&] { return traced("OrvCHCapture handleMainMesg: Entry").size() >= count; });
}

bool CaptureFixture::tickUntilMails(std::size_t count) {
    if (!waitForResults(started())) {
        return false;
    }
    for (int second = 0; second < 3600 && primary_.mailsTaken().size() < count; ++second) {
        switch_->tick();
        // A dialogue that has begun is waited for; the clock stands still meanwhile.
        static_cast<void>(switch_->runUntil([&] { return primary_.openConnections() == 0; }));
    }
    return primary_.mailsTaken().size() >= count;
}

bool CaptureFixture::tickUntilNothingIsKept() {
    for (int second = 0; second < 3600 && !root_.list(kAttachments).empty(); ++second) {
        switch_->tick();
        static_cast<void>(switch_->runUntil([&] { return primary_.openConnections() == 0; }));
    }
    return root_.list(kAttachments).empty();
}

std::vector<std::string> CaptureFixture::scheduled() {
    switch_->send(MessageFormat::PROBE, 0);
    std::vector<std::string> items;
    for (const std::string& line : mainTrace()) {
        if (line.find("CronCapture Information:") != std::string::npos) {
            items.clear();
        }
        const std::size_t rhythm = line.find(", every 1 weeks, ");
        const std::size_t next = line.find("NextExecution = ");
        if (rhythm != std::string::npos && next != std::string::npos) {
            items.push_back(line.substr(2, line.find(':') - 2) + " " + line.substr(next + 16));
        }
    }
    return items;
}

std::map<std::string, std::string> CaptureFixture::stagedFiles() {
    std::map<std::string, std::string> files;
    for (const std::string& staged : root_.list(kAttachments)) {
        const std::string from = root_.at(std::string(kAttachments) + "/" + staged);
        EXPECT_EQ(std::system(("base64 -di " + from + " > " + root_.at("/tmp/decoded")).c_str()), 0);
        files[staged.substr(0, staged.rfind('.'))] = root_.read("/tmp/decoded");
    }
    return files;
}

std::string CaptureFixture::judged(const std::string& mail, const std::map<std::string, std::string>& files,
                                   const std::string& options) {
    const std::string court = "/court";
    std::filesystem::remove_all(root_.at(court));
    std::filesystem::create_directories(root_.at(court + "/files"));
    root_.write(court + "/mail", mail);
    for (const auto& [name, content] : files) {
        root_.write(court + "/files/" + name, content);
    }
    const std::string command = "/usr/bin/python3 " TOOLS_DIRECTORY "/judge_mail.py " + root_.at(court + "/mail") +
                                " " + root_.at(court + "/files") + " " + options + " > " +
                                root_.at(court + "/verdict") + " 2>&1";
    if (std::system(command.c_str()) == 0) {
        return "";
    }
    return "not accepted: " + root_.read(court + "/verdict");
}
