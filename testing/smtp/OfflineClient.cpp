#include "testing/smtp/OfflineClient.h"

#include "Dispatcher.h"
#include "Timeval.h"
#include "testing/smtp/ClientFixture.h"
#include "testing/smtp/MailFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

OrvCHMesg& OfflineQueue::add(std::unique_ptr<OrvCHMesg> message) {
    entries_.emplace_back().message = std::move(message);
    return *entries_.back().message;
}

OfflineQueue::Entry& OfflineQueue::find(const OrvCHMesg* message) {
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& each) { return each.message.get() == message; });
    EXPECT_TRUE(entry != entries_.end() && entry->open);
    return *entry;
}

std::uint32_t OfflineQueue::sendCount() const {
    return static_cast<std::uint32_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const Entry& entry) { return entry.gone == 0; }));
}

std::uint32_t OfflineQueue::openCount() const {
    return static_cast<std::uint32_t>(
        std::count_if(entries_.begin(), entries_.end(), [](const Entry& entry) { return entry.open; }));
}

OrvCHMesg* OfflineQueue::peekOpen() {
    for (Entry& entry : entries_) {
        if (!entry.open && entry.gone == 0 && entry.postponedUntil <= now) {
            entry.open = true;
            return entry.message.get();
        }
    }
    return nullptr;
}

int OfflineQueue::postpone(OrvCHMesg* message, std::uint32_t seconds) {
    Entry& entry = find(message);
    entry.open = false;
    entry.postponedUntil = now + seconds;
    return 0;
}

int OfflineQueue::peekDelete(OrvCHMesg* message, int result) {
    Entry& entry = find(message);
    entry.open = false;
    entry.gone = now;
    entry.result = result;
    return 0;
}

OfflineClient::OfflineClient(const OrvSMTPDialogue& dialogue)
    : client_(recording_.store(), queue_, identity_, *this, {}, system_, dialogue) {
    const std::vector<DsEntry> entries{{"Global.Callhome.FromAddr", 1, "switch@example.com"},
                                       {"Global.Network.Eth.0.NF-IPAddress", 1, "10.1.2.3"}};
    EXPECT_EQ(identity_.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0)), 0);
    EXPECT_EQ(client_.startThread(), 0);
    client_.switchAddressChanged();
    serveUntil([this] { return client_.running(); });
}

void OfflineClient::useServers(const std::string& primary, const std::string& secondary) {
    const std::vector<DsEntry> entries = serverEntries(primary, 25, secondary, 25);
    EXPECT_EQ(client_.processConfigBulk(entries, std::vector<std::int32_t>(entries.size(), 0)), 0);
    takeLog();
}

OrvCHMesg& OfflineClient::queueMail(const std::string& text, const std::vector<std::string>& recipients) {
    auto message = portEvent();
    message->Text = text;
    addEnvelope(*message, "noc", recipients, "ShortText");
    return queue_.add(std::move(message));
}

void OfflineClient::run(std::uint32_t seconds) {
    for (; seconds > 0 && queue_.sendCount() > 0; --seconds) {
        tick();
    }
}

void OfflineClient::tick() {
    client_.oneSecondTick();
    serveUntil([this] { return !client_.sendOutstanding(); });
    ++queue_.now;
}

std::vector<std::string> OfflineClient::takeLog() {
    return takeLogOf(recording_);
}

std::vector<std::string> OfflineClient::probed() {
    recording_.takeTraces();
    client_.probe();
    return recording_.takeTraces();
}

void OfflineClient::serveUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "nothing happened";
        const Timeval limit(0, 1000);
        ASSERT_GE(Dispatcher::instance()->handle_events(&limit), 0);
    }
}
