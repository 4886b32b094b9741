// What the daemon writes into the event log from now on: the reasons for what it answers.
//
// The switch passes its entries on in the order in which the daemon's messages came: those that it wrote before a
// response are here when the response is.
#pragma once

#include "switchctl/Session.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class DaemonLog {
public:
    // Message numbers of the daemon's entries for operators.
    static constexpr std::uint32_t CHANGEOVER_REFUSAL = 0x8b00000b;
    static constexpr std::uint32_t PROCESSED_REFUSAL = 0x8b00000a;
    // Entries up to this level are meant for operators.
    static constexpr std::int32_t OPERATOR_LEVEL = 3;

    explicit DaemonLog(Session& session);

    bool has(std::uint32_t number) const;
    // The text of the latest entry for operators; "" when there is none. What the daemon writes about a request for its
    // profiles that it cannot answer now is left out: we have caused it ourselves.
    std::string lastText() const;
    // The text of the latest one that refuses to test exactly this profile.
    std::string testRefusal(const std::string& profile) const;

private:
    std::shared_ptr<std::vector<LogEntry>> entries_ = std::make_shared<std::vector<LogEntry>>();
};
