// Test support: an OrvCHClient between a queue that a test fills, an identity it sets and two scripted servers.
#pragma once

#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvCHClient.h"
#include "testing/profile/RecordingSwitch.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/SendFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

// Keeps messages in order and writes down what the client does with them.
class TestQueue final : public OrvSendQueue {
public:
    OrvCHMesg& add(std::unique_ptr<OrvCHMesg> message);
    void clear() { entries_.clear(); }
    std::vector<std::string> takeCalls() { return std::exchange(calls_, {}); }
    // As while a standby copy runs: nothing can be opened.
    void lock(bool locked) { locked_ = locked; }
    // The messages that were deleted, as they were then.
    const std::vector<std::unique_ptr<OrvCHMesg>>& finished() const { return finished_; }

    std::uint32_t sendCount() const override { return static_cast<std::uint32_t>(entries_.size()); }
    std::uint32_t openCount() const override;
    OrvCHMesg* peekOpen() override;
    int peekClose(OrvCHMesg* message) override;
    int postpone(OrvCHMesg* message, std::uint32_t seconds) override;
    int peekDelete(OrvCHMesg* message, int result) override;

private:
    struct Entry {
        std::unique_ptr<OrvCHMesg> message;
        bool open = false;
        bool postponed = false;  // for good
    };
    std::list<Entry>::iterator find(const OrvCHMesg* message);

    std::list<Entry> entries_;
    std::vector<std::unique_ptr<OrvCHMesg>> finished_;
    std::vector<std::string> calls_;  // "open TEXT", "close TEXT", "postpone TEXT SECONDS", "delete TEXT RESULT"
    bool locked_ = false;
};

// Both servers as the store has them; an empty address leaves the server disabled at the default one.
std::vector<DsEntry> serverEntries(const std::string& primary, unsigned primaryPort, const std::string& secondary,
                                   unsigned secondaryPort);

// The event log's lines since the last call, "level id text" each; requests to the store are left out.
std::vector<std::string> takeLogOf(RecordingSwitch& recording);

// Inside a text that could not be composed QUIT is never answered.
inline OrvSMTPTimeouts impatientAfterQuit() {
    OrvSMTPTimeouts timeouts;
    timeouts.quit = std::chrono::milliseconds(1);
    return timeouts;
}

class ClientTest : public testing::Test, protected OrvConfigListener, private OrvIdentityListener {
protected:
    ClientTest();

    // The answer to a bulk request for the servers; every entry's status is good.
    int configure(const std::vector<DsEntry>& entries);
    // The scripted servers: A over IPv4 is the primary, B over IPv6 the secondary.
    void useBothServers();
    void useServerA();
    void setIdentity(const OrvIdentity& identity);
    void applyIdentity();

    // Starts the thread and lets it be told that the switch has an address.
    void startSending();
    // A message for these recipients, with one envelope of the short format.
    OrvCHMesg& queueMail(const std::string& text, const std::vector<std::string>& recipients = {"a@example.com"});
    // Lets seconds pass; after each one waits until no dialogue is running.
    void tick(int seconds = 1);
    // Serves the main thread until the condition holds; a test fails when it never does.
    void serveUntil(const std::function<bool()>& condition);
    // Ticks until the client sends; how many seconds that took.
    int secondsUntilNextSend(int limit);

    std::vector<std::string> takeLog() { return takeLogOf(recording_); }
    // What the main thread traced since the last call about outcomes and what follows them.
    std::vector<std::string> takeOutcomeTraces();

    void configComplete(unsigned bit) override { completed_.push_back(bit); }
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}

    std::string encountered(const ScriptedMailServer& server, const std::string& reason, const std::string& text,
                            const std::string& reply) const;
    std::string willRetry(const ScriptedMailServer& server, int seconds) const;
    std::string willRetryNow(const ScriptedMailServer& server) const;

    RecordingSwitch recording_;
    std::vector<unsigned> completed_;
    TestQueue queue_;
    ScriptedMailServer serverA_;
    ScriptedMailServer serverB_{ScriptedMailServer::Family::kIPv6};
    OrvIdentity identityValues_ = fullIdentity();
    OrvCHMesgCommon identity_{recording_.store(), *this, *this};
    OrvCHClient client_{recording_.store(), queue_, identity_, *this, impatientAfterQuit()};
};
