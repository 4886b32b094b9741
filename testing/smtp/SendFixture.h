// Test support: what a dialogue or a client reports, in one list of lines.
#pragma once

#include "base/OrvText.h"
#include "smtp/OrvSendDialogue.h"
#include "testing/ScriptedMailServer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <type_traits>
#include <vector>

// The scripted server as a dialogue is told of it.
inline OrvMailServer mailServerAt(const ScriptedMailServer& server) {
    OrvMailServer settings;
    settings.Address = server.address();
    settings.Port = server.port();
    return settings;
}

// "level number text" of an entry, as everything that records entries shows it.
inline std::string entryLine(const OrvLogKind& entry, const char* text) {
    return orvFormat("%d %08x %s", entry.level, entry.id, text);
}
// The same with what is filled in.
template <typename... Arguments>
std::string logLine(const OrvLogEntry<Arguments...>& entry, std::type_identity_t<Arguments>... arguments) {
    char text[4096];
    orvFillEntry(text, entry, arguments...);
    return entryLine(entry, text);
}

class RecordingReporter final : public OrvSendReporter {
public:
    void makeRoomForEntries(std::size_t count) override { room += count; }
    void logSend(const OrvLogKind& entry, const char* text) override {
        EXPECT_GE(room, 1u) << "no room was made for: " << text;
        --room;
        lines.push_back(entryLine(entry, text));
    }
    bool isRetryPending() const override { return retryPending; }
    const std::atomic<bool>& stopping() const override { return stop; }

    std::vector<std::string> lines;  // "level id text"
    bool retryPending = false;
    std::atomic<bool> stop{false};
    std::size_t room = 0;
};

// The entries about one recipient, and about all of them.
struct LogTexts {
    const ScriptedMailServer& server;

    std::string about(const OrvLogEntry<const char*, const char*, const char*, int>& entry, const std::string& profile,
                      const std::string& recipient) const {
        return logLine(entry, profile.c_str(), recipient.c_str(), server.address().c_str(), port());
    }
    std::string retry(const std::string& profile, const std::string& recipient) const {
        return about(orv_log::kRecipientRetry, profile, recipient);
    }
    std::string retryFailed(const std::string& profile, const std::string& recipient) const {
        return about(orv_log::kRecipientRetryFailed, profile, recipient);
    }
    std::string noRetry(const std::string& profile, const std::string& recipient) const {
        return about(orv_log::kRecipientGivenUp, profile, recipient);
    }
    std::string refusal(const std::string& profile, const std::string& recipient, const std::string& reply) const {
        return logLine(orv_log::kRecipientRefused, profile.c_str(), recipient.c_str(), server.address().c_str(), port(),
                       reply.c_str());
    }
    std::string noRecipient(const std::string& profile) const {
        return logLine(orv_log::kNoRecipientAccepted, server.address().c_str(), port(), profile.c_str());
    }
    int port() const { return static_cast<int>(server.port()); }
};

inline const std::string kCriticalLine = logLine(orv_log::kProtocolFailure);
inline const std::string kRecoveryLine = logLine(orv_log::kRecovered);
