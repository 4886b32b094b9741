// Test support: what a dialogue or a client reports, in one list of lines.
#pragma once

#include "base/OrvText.h"
#include "smtp/OrvSendDialogue.h"
#include "testing/ScriptedMailServer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

class RecordingReporter final : public OrvSendReporter {
public:
    void makeRoomForEntries(std::size_t count) override { room += count; }
    void logSend(int level, std::uint32_t id, const char* text) override {
        EXPECT_GE(room, 1u) << "no room was made for: " << text;
        --room;
        lines.push_back(orvFormat("%d %08x %s", level, id, text));
    }
    bool isRetryPending() const override { return retryPending; }

    std::vector<std::string> lines;  // "level id text"
    bool retryPending = false;
    std::size_t room = 0;
};

// How the entries about one recipient begin and end; the server is shown as address and port.
struct LogTexts {
    const ScriptedMailServer& server;

    std::string about(const char* id, const std::string& profile, const std::string& recipient,
                      const std::string& outcome) const {
        return "3 8b0000" + std::string(id) + " CallHome message send for profile " + profile + " to recipient " +
               recipient + " failed on SMTP server " + server.address() + ", port " + std::to_string(server.port()) +
               ". " + outcome;
    }
    std::string retry(const std::string& profile, const std::string& recipient) const {
        return about("17", profile, recipient, "Retry will be attempted.");
    }
    std::string retryFailed(const std::string& profile, const std::string& recipient) const {
        return about("18", profile, recipient, "Retry failed, ignoring recipient.");
    }
    std::string noRetry(const std::string& profile, const std::string& recipient) const {
        return about("19", profile, recipient, "Retry will not be attempted, ignoring recipient.");
    }
    std::string refusal(const std::string& profile, const std::string& recipient, const std::string& reply) const {
        return "3 8b000015 Profile " + profile + ", " + recipient + " via SMTP Server " + server.address() + "/" +
               std::to_string(server.port()) + ", SMTP error: " + reply;
    }
    std::string noRecipient(const std::string& profile) const {
        return "2 8b000016 SMTP server " + server.address() + ", port " + std::to_string(server.port()) +
               ",  did not accept any recipients from profile " + profile +
               ". Email message will not be sent for the profile.";
    }
};

inline constexpr char kCriticalLine[] = "2 8b000012 Critical protocol failure with SMTP server";
inline constexpr char kRecoveryLine[] = "2 8b000014 Successful recovery of SMTP communications";
