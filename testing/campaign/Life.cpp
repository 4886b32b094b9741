#include "testing/campaign/Life.h"

#include "platform/client/HostPlatform.h"
#include "testing/campaign/MailHost.h"
#include "thread/OrvThreadExit.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>

namespace {

constexpr char kSendQueue[] = "/ostrel/conf/orv/callHome/queues/send";

}  // namespace

Life::Life(Board& board, TempRoot& root, std::uint16_t mailPort, const Settings& settings)
    : board_(board),
      root_(root),
      settings_(settings),
      switch_(std::make_unique<LoopbackSwitch>(root)),
      transport_(switch_->bus()) {
    configure(mailPort);
    useQuietTransport();
}

void Life::configure(std::uint16_t mailPort) {
    switch_->set("Global.Services.CallhomeEnable", "True");
    switch_->set("Global.Callhome.FromAddr", "switch@example.com");
    switch_->set("Global.Callhome.NF-SMTPAddr", "1-127.0.0.1");
    switch_->set("Global.Callhome.SMTPPort", std::to_string(mailPort));
    switch_->set("Global.Callhome.SMTPEnable", "True");
    switch_->set("Global.Callhome.FilesAllowed", std::to_string(settings_.filesAllowed));
    configureProfile();
}

void Life::useQuietTransport() {
    switch_->leaveBus();
    HostPlatform::useTransport(&transport_);
    switch_->joinBus();
    switch_->bus().watchDeliveries([this](bool begins) {
        delivering_.reset();
        if (begins) {
            delivering_.emplace();
        }
    });
}

void Life::configureProfile() {
    const std::string key = "Global.CallhomeDB.Profile.0.";
    const unsigned recipients = settings_.twoRecipients ? 2 : 1;
    switch_->set("Global.CallhomeDB.ProfileList.0", "Operators");
    switch_->set(key + "Level", "Alarm");
    switch_->set(key + "Format", "FullText");
    switch_->set(key + "MaxSize", "2000000");
    switch_->set(key + "EmailSubject", "Lab switch");
    switch_->set(key + "NumberOfEmails", std::to_string(recipients));
    for (unsigned i = 0; i < recipients; ++i) {
        switch_->set(key + "EmailList." + std::to_string(i), campaignRecipient(i));
    }
    switch_->set(key + "CaptureEnable", settings_.captures ? "True" : "False");
    switch_->set(key + "CaptureEntries", settings_.captures ? "1" : "0");
    if (settings_.captures) {
        switch_->set(key + "Capture.0.Type", "Cron");
        switch_->set(key + "Capture.0.DayOfWeek", "Tue");
        switch_->set(key + "Capture.0.TimeOfDay", "22:15");
        switch_->set(key + "Capture.0.Interval", "1");
    }
    switch_->set("Global.CallhomeDB.NumberOfProfiles", "1");
}

void Life::start() {
    std::signal(SIGPIPE, SIG_IGN);
    {
        const MemoryFaults::Pause pause;
        orvPrepareThreadExit();
    }
    logger_ = std::make_unique<OrvDbg>("orv.out.Main");
    if (OrvDbg::setOfThread(logger_.get()) != 0) {
        end(kLoopEnded, "no trace log");
    }
    app_ = std::make_unique<OrvApp>();
    switch_->pump();
    switch_->tick();
}

void Life::publish(unsigned event) {
    Sw_Log_Type record;
    record.kind = 0;
    record.number = 0x00010000 + event;
    record.seconds = LoopbackSwitch::START_SECONDS;
    {
        const MemoryFaults::Pause pause;
        record.text = campaignEventText(event);
        static_cast<void>(switch_->services().happenings().logRecord(record, true));
    }
    switch_->pump();
}

void Life::accept(unsigned event) {
    publish(event);
    switch_->tick();
    // What comes while memory is short may be dropped.
    board_.accepted[event] = !(board_.memory.watched && board_.memory.hit);
}

void Life::manage(std::uint16_t code) {
    {
        const MemoryFaults::Pause pause;
        const Components::Component* const daemon = switch_->components().named("OrvApp");
        if (daemon != nullptr) {
            switch_->services().management().request(daemon->address, code, std::vector<std::uint8_t>(8),
                                                     [](const Hsb_Message*) {});
        }
    }
    switch_->pump();
}

void Life::runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto quiet = [&condition] {
        const MemoryFaults::Pause pause;
        return condition();
    };
    static_cast<void>(switch_->runUntil(std::cref(quiet), limit));
}

void Life::waitFor(const char* what, const std::function<bool()>& condition, LifeEnd otherwise) {
    constexpr unsigned kMostTicks = 5400;
    for (unsigned second = 0; second < kMostTicks; ++second) {
        bool holds = false;
        runUntil([&] { return holds = condition(); }, std::chrono::milliseconds(0));
        if (holds) {
            return;
        }
        switch_->tick();
        // The threads get their time, above all while a dialogue is under way: the clock stands still meanwhile.
        const auto patience = std::chrono::milliseconds(second % 8 == 0 ? 2 : 0);
        runUntil(condition, patience);
        runUntil([this] { return board_.openConnections == 0; }, std::chrono::seconds(20));
    }
    end(otherwise, what);
}

void Life::mailAll(unsigned furtherEvent) {
    board_.refusing = false;
    board_.deferring = false;
    accept(furtherEvent);
    waitFor(
        "the further event was not mailed", [&] { return mailed(furtherEvent); }, kDeaf);
    waitFor("not everything was mailed", [this] { return allMailed(); });
    waitFor("the queue is not empty", [this] { return queueEmpty(); });
}

void Life::end(LifeEnd how, const std::string& complaint) {
    std::snprintf(board_.complaint.data(), board_.complaint.size(), "%s", complaint.c_str());
    ::_exit(how);
}

bool Life::mailedTo(unsigned event, unsigned recipient) const {
    return board_.mails[event][recipient] > 0;
}

bool Life::mailed(unsigned event) const {
    return mailedTo(event, 0) && (!settings_.twoRecipients || mailedTo(event, 1));
}

bool Life::allMailed() const {
    for (unsigned event = 0; event < Board::kEvents; ++event) {
        if (board_.accepted[event] && !mailed(event)) {
            return false;
        }
    }
    return true;
}

bool Life::queueEmpty() const {
    const std::vector<std::string> names = root_.list(kSendQueue);
    // An empty file is what a kill leaves of an entry that was not accepted yet.
    const auto isEntry = [this](const std::string& name) {
        struct stat status {};
        const std::string path = root_.at(std::string(kSendQueue) + "/" + name);
        return name.starts_with("m") && ::lstat(path.c_str(), &status) == 0 &&
               (!S_ISREG(status.st_mode) || status.st_size > 0);
    };
    const auto entries = std::count_if(names.begin(), names.end(), isEntry);
    return static_cast<std::size_t>(entries) <= board_.filesLeft;
}
