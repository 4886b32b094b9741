#include "testing/smtp/ClientFixture.h"

#include "Dispatcher.h"
#include "Timeval.h"

#include <algorithm>
#include <chrono>

OrvCHMesg& TestQueue::add(std::unique_ptr<OrvCHMesg> message) {
    entries_.push_back({std::move(message)});
    return *entries_.back().message;
}

std::list<TestQueue::Entry>::iterator TestQueue::find(const OrvCHMesg* message) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.message.get() == message; });
}

std::uint32_t TestQueue::openCount() const {
    return static_cast<std::uint32_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const Entry& entry) { return entry.open; }));
}

OrvCHMesg* TestQueue::peekOpen() {
    const auto entry =
        std::find_if(entries_.begin(), entries_.end(), [](const Entry& each) { return !each.open && !each.postponed; });
    if (locked_ || entry == entries_.end()) {
        return nullptr;
    }
    entry->open = true;
    calls_.push_back("open " + entry->message->Text);
    return entry->message.get();
}

int TestQueue::peekClose(OrvCHMesg* message) {
    const auto entry = find(message);
    EXPECT_TRUE(entry != entries_.end() && entry->open);
    entry->open = false;
    calls_.push_back("close " + entry->message->Text);
    return 0;
}

int TestQueue::postpone(OrvCHMesg* message, std::uint32_t seconds) {
    const auto entry = find(message);
    EXPECT_TRUE(entry != entries_.end() && entry->open);
    entry->open = false;
    entry->postponed = seconds != 0;
    calls_.push_back("postpone " + entry->message->Text + " " + std::to_string(seconds));
    return 0;
}

int TestQueue::peekDelete(OrvCHMesg* message, int result) {
    const auto entry = find(message);
    EXPECT_TRUE(entry != entries_.end() && entry->open);
    entry->open = false;
    calls_.push_back("delete " + entry->message->Text + " " + std::to_string(result));
    finished_.push_back(std::move(entry->message));
    entries_.erase(entry);
    return 0;
}

ClientTest::ClientTest() {
    applyIdentity();
    completed_.clear();
    recording_.takeSent();
    recording_.takeTraces();
}

int ClientTest::configure(const std::vector<DsEntry>& entries) {
    return client_.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0));
}

std::vector<DsEntry> serverEntries(const std::string& primary, unsigned primaryPort, const std::string& secondary,
                                   unsigned secondaryPort) {
    const auto address = [](const std::string& value) { return value.empty() ? std::string("0-") : value; };
    const auto enabled = [](const std::string& value) { return std::string(value.empty() ? "False" : "True"); };
    return {{"Global.Callhome.SMTPGatewayEnable", 1, "True"},
            {"Global.Callhome.NF-SMTPAddr", 1, address(primary)},
            {"Global.Callhome.SMTPPort", 2, std::to_string(primaryPort)},
            {"Global.Callhome.SMTPEnable", 1, enabled(primary)},
            {"Global.Callhome.NF-SMTPAddr1", 1, address(secondary)},
            {"Global.Callhome.SMTPPort1", 2, std::to_string(secondaryPort)},
            {"Global.Callhome.SMTPEnable1", 1, enabled(secondary)}};
}

void ClientTest::useBothServers() {
    configure(serverEntries("1-127.0.0.1", serverA_.port(), "2-::1", serverB_.port()));
    recording_.takeSent();
}

void ClientTest::useServerA() {
    configure(serverEntries("1-127.0.0.1", serverA_.port(), "", 0));
    recording_.takeSent();
}

void ClientTest::setIdentity(const OrvIdentity& identity) {
    identityValues_ = identity;
    applyIdentity();
}

void ClientTest::applyIdentity() {
    const std::vector<DsEntry> entries{
        {"Global.Callhome.FromAddr", 1, identityValues_.From},
        {"Config.Switch.SymName", 1, identityValues_.SymName},
        {"Global.Network.Eth.0.NF-IPAddress", 1, identityValues_.IPv4Address},
    };
    EXPECT_EQ(identity_.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0)), 0);
}

void ClientTest::startSending() {
    EXPECT_EQ(client_.startThread(), 0);
    client_.switchAddressChanged();
    serveUntil([&] { return client_.running(); });
}

OrvCHMesg& ClientTest::queueMail(const std::string& text, const std::vector<std::string>& recipients) {
    auto message = portEvent();
    message->Text = text;
    addEnvelope(*message, "noc", recipients, "ShortText");
    return queue_.add(std::move(message));
}

void ClientTest::tick(int seconds) {
    for (int i = 0; i < seconds; ++i) {
        client_.oneSecondTick();
        serveUntil([&] { return !client_.sendOutstanding(); });
    }
}

void ClientTest::serveUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "nothing happened";
        const Timeval limit(0, 5000);
        ASSERT_GE(Dispatcher::instance()->handle_events(&limit), 0);
    }
}

int ClientTest::secondsUntilNextSend(int limit) {
    for (int seconds = 1; seconds <= limit; ++seconds) {
        client_.oneSecondTick();
        if (client_.sendOutstanding()) {
            serveUntil([&] { return !client_.sendOutstanding(); });
            return seconds;
        }
    }
    return -1;
}

std::vector<std::string> takeLogOf(RecordingSwitch& recording) {
    std::vector<std::string> lines;
    for (const std::string& line : recording.takeSent()) {
        if (line.starts_with("log ") || line.starts_with("alarm ")) {
            lines.push_back(line.substr(line.find(' ') + 1));
        }
    }
    return lines;
}

std::vector<std::string> ClientTest::takeOutcomeTraces() {
    std::vector<std::string> lines = recording_.takeTraces();
    std::erase_if(lines, [](const std::string& line) {
        return !line.starts_with("OrvCHClient handleFailMesg: ") &&
               !line.starts_with("OrvCHClient handleSucceedMesg: ");
    });
    return lines;
}

std::string ClientTest::encountered(const ScriptedMailServer& server, const std::string& reason,
                                    const std::string& text, const std::string& reply) const {
    return logLine(orv_log::kSendFailed, server.address().c_str(), static_cast<int>(server.port()), reason.c_str(),
                   text.c_str(), reply.c_str());
}

std::string ClientTest::willRetry(const ScriptedMailServer& server, int seconds) const {
    return logLine(orv_log::kRetryLater, server.address().c_str(), static_cast<int>(server.port()), seconds);
}

std::string ClientTest::willRetryNow(const ScriptedMailServer& server) const {
    return logLine(orv_log::kRetryNow, server.address().c_str(), static_cast<int>(server.port()));
}
