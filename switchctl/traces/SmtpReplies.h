// Whether a mail server's replies came one for each command, each in one piece, as the daemon reads them.
//
// It takes whatever has come for the reply: what a server sends in pieces, or what it sends without being asked, is
// read as the reply of the next command, and every later reply is read one late.
#pragma once

#include "switchctl/traces/TraceRecords.h"

#include <string_view>

class SmtpReplies {
public:
    // The next record of the send thread's trace.
    void take(const TraceRecord& record);
    // Of the last dialogue.
    bool outOfStep() const { return outOfStep_; }

private:
    enum class Asked { NOTHING, COMMAND, DATA, TEXT_END };

    void takeCommand(std::string_view command);
    void takeReply(std::string_view reply);

    Asked asked_ = Asked::NOTHING;
    bool hello_ = false;    // The last command was the client's identity.
    bool oneReply_ = true;  // The last reply was one, and whole.
    bool outOfStep_ = false;
};
