// What the daemon writes into the event log from now on: the reasons for what it answers.
//
// The switch passes its entries on in the order in which the daemon's messages came: those that it wrote before a
// response are here when the response is.
#pragma once

#include "catalogue/OrvLogEntries.h"
#include "switchctl/client/Session.h"

#include <memory>
#include <string>
#include <vector>

class DaemonLog {
public:
    explicit DaemonLog(Session& session);

    bool has(const OrvLogKind& kind) const;
    // Those for operators, in order.
    const std::vector<LogEntry>& entries() const { return *entries_; }
    // The text of the latest entry for operators; "" when there is none. What the daemon writes about a request for its
    // profiles that it cannot answer now is left out: we have caused it ourselves.
    std::string lastText() const;
    // The text of the latest one that refuses to test exactly this profile.
    std::string testRefusal(const std::string& profile) const;

private:
    std::shared_ptr<std::vector<LogEntry>> entries_ = std::make_shared<std::vector<LogEntry>>();
};
