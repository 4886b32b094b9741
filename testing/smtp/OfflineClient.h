// Test support: a send client between a queue in memory and played servers; its seconds are the test's ticks.
#pragma once

#include "mesgq/OrvSendQueue.h"
#include "smtp/OrvCHClient.h"
#include "testing/profile/RecordingSwitch.h"
#include "testing/smtp/PlayedSystem.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

// Mails in order; those that are postponed wait for their second.
class OfflineQueue final : public OrvSendQueue {
public:
    struct Entry {
        std::unique_ptr<OrvCHMesg> message;
        bool open = false;
        std::uint32_t postponedUntil = 0;
        std::uint32_t gone = 0;  // when it was finished; 0: not yet
        int result = -1;
    };

    OrvCHMesg& add(std::unique_ptr<OrvCHMesg> message);
    const std::list<Entry>& entries() const { return entries_; }

    std::uint32_t sendCount() const override;
    std::uint32_t openCount() const override;
    OrvCHMesg* peekOpen() override;
    int peekClose(OrvCHMesg* message) override { return postpone(message, 0); }
    int postpone(OrvCHMesg* message, std::uint32_t seconds) override;
    int peekDelete(OrvCHMesg* message, int result) override;

    std::uint32_t now = 1;

private:
    Entry& find(const OrvCHMesg* message);

    std::list<Entry> entries_;
};

class OfflineClient final : private OrvConfigListener, private OrvIdentityListener {
public:
    explicit OfflineClient(const OrvSMTPDialogue& dialogue);

    // Servers as the attribute store has them, "1-192.0.2.1" for example; an empty one is switched off.
    void useServers(const std::string& primary, const std::string& secondary);
    OrvCHMesg& queueMail(const std::string& text, const std::vector<std::string>& recipients);
    // Lets seconds pass until nothing waits, or so many have passed.
    void run(std::uint32_t seconds);
    void tick();

    PlayedSystem& system() { return system_; }
    OfflineQueue& queue() { return queue_; }
    std::vector<std::string> takeLog();
    // What the client says of itself, record by record.
    std::vector<std::string> probed();

private:
    void configComplete(unsigned /*bit*/) override {}
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}
    void serveUntil(const std::function<bool()>& condition);

    RecordingSwitch recording_;
    OfflineQueue queue_;
    PlayedSystem system_;
    OrvCHMesgCommon identity_{recording_.store(), *this, *this};
    OrvCHClient client_;
};
