// Test support: what mails are made of, and a place to make them: a file tree, a calendar that stands still, a trace,
// and an identity that a test sets directly.
#pragma once

#include "dbg/OrvDbg.h"
#include "dsClient.h"
#include "mesg/OrvCHMesg.h"
#include "platform/posix/Clock.h"
#include "profile/OrvCHMesgCommon.h"
#include "testing/TempRoot.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

// The identity of a switch that has everything.
OrvIdentity fullIdentity();

// Holds an identity as if the attribute store had answered it.
class TestIdentity final : private OrvConfigListener, private OrvIdentityListener {
public:
    explicit TestIdentity(const OrvIdentity& identity) { set(identity); }

    void set(const OrvIdentity& identity);
    const OrvCHMesgCommon& common() const { return common_; }

private:
    void configComplete(unsigned /*bit*/) override {}
    void identityAddressRead(const std::string& /*address*/) override {}
    void identityWwnRead(const std::string& /*wwn*/) override {}

    dsClient store_;
    OrvCHMesgCommon common_{store_, *this, *this};
};

// A log event about a port, with one field of each kind filled.
std::unique_ptr<OrvCHMesg> portEvent();
// A capture with sequence 17 and these attachments, which nobody has staged.
std::unique_ptr<OrvCHMesg> captureOf(const std::vector<std::string>& attachments);
// What a mail about that event consists of, for the profile "noc" of the full identity, presented as 10.1.2.3, on the
// test's calendar day. The four parts are the whole of the short format.
inline constexpr char kMailHead[] =
    "Date: Tue, 14  Nov  2023  22:13:20  +0000\r\n"
    "From: switch@example.com\r\n"
    "Bcc:  \r\n"
    "Reply-To: ops@example.com\r\n"
    "Subject: [CallHome: noc] Switch event\r\n"
    "\r\n\r\n";
inline constexpr char kMailSwitch[] =
    "SwitchName:     sw-core-1\r\n"
    "SwitchIP:       10.1.2.3\r\n"
    "SwitchWWN:      10:00:00:05:1e:00:00:01\r\n"
    "Text:           Port 5 went down\r\n"
    "ID:             0123.4567\r\n";
inline constexpr char kMailTime[] = "Time:           Tue Nov 14 22:13:19.123 UTC 2023\r\n";
inline constexpr char kMailDetails[] =
    "Level:          Critical\r\n"
    "Blade:          Blade: 1\r\n"
    "ASIC:           2.5\r\n"
    "Port:           5\r\n"
    "vFabric:        128\r\n"
    "Application:    Eport\r\n"
    "Component:      chassis:1.2.3\r\n";
// Those four in one.
std::string shortMail();

// Adds an envelope for these recipients and returns it.
OrvCHEnvelope& addEnvelope(OrvCHMesg& message, const std::string& profile, const std::vector<std::string>& recipients,
                           const std::string& format = "Tsc1", std::uint32_t maxSize = 1000000);

// 2023-11-14 22:13:20 UTC, a file tree of the test's own, and the trace of the test's thread.
class MailTest : public testing::Test {
protected:
    MailTest();
    ~MailTest() override;

    // "function: text" of each line traced since the last call; lines within a text count on their own.
    std::vector<std::string> takeTraces();

    TempRoot root_;
    ManualClock clock_{1700000000};

private:
    std::unique_ptr<OrvDbg> logger_;
    std::size_t taken_ = 0;
};
