#include "testing/app/DaemonFixture.h"

#include <algorithm>

DaemonFixture::DaemonFixture() : switch_(std::make_unique<LoopbackSwitch>(root_)) {
}

DaemonFixture::~DaemonFixture() {
    killDaemon();
}

void DaemonFixture::startDaemon() {
    logger_ = std::make_unique<OrvDbg>("orv.out.Main");
    ASSERT_EQ(OrvDbg::setOfThread(logger_.get()), 0);
    app_ = std::make_unique<OrvApp>();
    switch_->pump();
}

void DaemonFixture::killDaemon() {
    if (app_ != nullptr) {
        switch_->leaveBus();
        // A dialogue that is under way comes to its end, and with it the send thread.
        primary_.breakConnections();
        secondary_.breakConnections();
        app_.reset();
        switch_->joinBus();
    }
    ASSERT_EQ(OrvDbg::setOfThread(nullptr), 0);
    logger_.reset();
}

void DaemonFixture::restartSwitch() {
    killDaemon();
    std::vector<Attribute> attributes;
    ASSERT_EQ(switch_->store().list("", attributes), 0);
    switch_.reset();
    switch_ = std::make_unique<LoopbackSwitch>(root_);
    for (const Attribute& attribute : attributes) {
        switch_->set(attribute.key, attribute.value);
    }
}

void DaemonFixture::enableCallHome() {
    switch_->set("Global.Services.CallhomeEnable", "True");
    switch_->set("Global.Callhome.FromAddr", "switch@example.com");
}

void DaemonFixture::useServer(const std::string& suffix, const ScriptedMailServer& server) {
    switch_->set("Global.Callhome.NF-SMTPAddr" + suffix, "1-" + server.address());
    switch_->set("Global.Callhome.SMTPPort" + suffix, std::to_string(server.port()));
    switch_->set("Global.Callhome.SMTPEnable" + suffix, "True");
}

void DaemonFixture::addProfile(const ProfileSettings& settings) {
    setProfile(profiles_++, settings);
    switch_->set("Global.CallhomeDB.NumberOfProfiles", std::to_string(profiles_));
}

void DaemonFixture::setProfile(unsigned index, const ProfileSettings& settings) {
    const std::string key = "Global.CallhomeDB.Profile." + std::to_string(index) + ".";
    switch_->set("Global.CallhomeDB.ProfileList." + std::to_string(index), settings.name);
    switch_->set(key + "Level", settings.level);
    switch_->set(key + "Format", settings.format);
    switch_->set(key + "MaxSize", settings.maxSize);
    switch_->set(key + "EmailSubject", settings.subject);
    switch_->set(key + "NumberOfEmails", std::to_string(settings.emails.size()));
    for (std::size_t i = 0; i < settings.emails.size(); ++i) {
        switch_->set(key + "EmailList." + std::to_string(i), settings.emails[i]);
    }
    switch_->set(key + "CaptureEnable", "False");
    switch_->set(key + "CaptureEntries", "0");
}

void DaemonFixture::startReady() {
    enableCallHome();
    useServer("", primary_);
    addProfile({});
    startDaemon();
    switch_->tick();
}

std::vector<std::string> DaemonFixture::mainTrace() const {
    std::vector<std::string> all;
    for (const char* const generation : {".5", ".4", ".3", ".2", ".1", ""}) {
        const std::vector<std::string> lines = switch_->trace(std::string("orv.out.Main") + generation);
        all.insert(all.end(), lines.begin(), lines.end());
    }
    return all;
}

std::vector<std::string> DaemonFixture::traced(const std::string& text) {
    std::vector<std::string> found;
    for (const std::string& line : mainTrace()) {
        if (line.find(text) != std::string::npos) {
            // Date, time zone and time, two blanks, process id, and then the module.
            std::size_t start = line.find("  ");
            start = start == std::string::npos ? start : line.find(' ', start + 2);
            found.push_back(start == std::string::npos ? line : line.substr(start + 1));
        }
    }
    return found;
}

std::vector<LogLine> DaemonFixture::operatorLog() {
    std::vector<LogLine> lines = switch_->eventLog();
    std::erase_if(lines, [](const LogLine& line) { return line.level > 4; });
    return lines;
}

bool DaemonFixture::waitForMails(const ScriptedMailServer& server, std::size_t count) {
    return switch_->runUntil([&] { return server.mailsTaken().size() >= count; });
}

bool DaemonFixture::waitForLog(const std::string& text) {
    return switch_->runUntil([&] {
        const std::vector<LogLine> lines = switch_->eventLog();
        return std::any_of(lines.begin(), lines.end(),
                           [&](const LogLine& line) { return line.text.find(text) != std::string::npos; });
    });
}
