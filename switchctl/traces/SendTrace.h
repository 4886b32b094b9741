// How far the send thread has come with its mail server, and what the server said last: from its trace.
#pragma once

#include "switchctl/traces/TraceRecords.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

class SendTrace {
public:
    // Times in microseconds since 1970; 0 where the trace has none.
    struct Reply {
        std::string command;  // "MAIL FROM:<a@b>"; "" for the greeting
        std::string text;
        std::int64_t time = 0;
    };

    // The next record of the send thread.
    void take(const TraceRecord& record);

    // Of the last record; 0 before the first.
    std::int64_t lastTime() const { return lastTime_; }
    // The command that has no reply yet. Nothing when none is out: before the greeting, too.
    const std::optional<std::string>& asked() const { return asked_; }
    // Between the greeting of a server and its farewell.
    bool inDialogue() const { return inDialogue_; }
    // The last reply that refuses, but for a recipient's; nothing after a mail was taken.
    const std::optional<Reply>& refusal() const { return refusal_; }
    // When a server took a mail last; 0 for never.
    std::int64_t lastTaken() const { return lastTaken_; }
    // What was last said about a recipient; null for one that was not asked about.
    const Reply* about(const std::string& recipient) const;

private:
    void takeReply(std::string_view text, std::int64_t time);

    std::int64_t lastTime_ = 0;
    std::int64_t lastTaken_ = 0;
    bool inDialogue_ = false;
    std::optional<std::string> asked_;
    std::optional<Reply> refusal_;
    std::map<std::string, Reply> recipients_;
};
