// What a mail server's refusal means: the problem behind its words.
#pragma once

#include "switchctl/status/Problems.h"

#include <optional>
#include <string>
#include <string_view>

namespace ReplyVerdict {

struct Refusal {
    std::string server;
    // What was refused: "" before the greeting, "." for a mail; nothing where it is not known.
    std::optional<std::string> command;
    std::string reply;
    std::string sender;  // of the switch's mails
};

// Whether it begins as a mail server's replies do.
bool hasCode(std::string_view reply);
// What the server's words say, whatever they were said to: a login or encryption that it wants, a mail too large.
std::optional<StatusProblem> policy(const std::string& server, const std::string& reply);
// Of anything but a recipient.
StatusProblem of(const Refusal& refusal);

// A recipient that was refused: where its address stands among the attributes, and what the server said.
struct RefusedRecipient {
    std::string server;
    std::string profile;
    std::string address;
    std::string profileNumber;
    std::string position;
    std::string reply;
};
// Nothing that is about one recipient holds up the others' mails.
StatusProblem ofRecipient(const RefusedRecipient& refused);

}  // namespace ReplyVerdict
