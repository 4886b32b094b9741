// Whether CallHome can send, and what has to be mended when it cannot, in the order in which one would mend it.
#pragma once

#include "switchctl/StatusFacts.h"

#include <optional>
#include <string>
#include <vector>

struct StatusProblem {
    std::string cause;  // one word, for programs: daemon, feature, service, server, sender, profiles, unread
    std::string text;
    std::string remedy;  // a command, or what to do
};

// None: it can send.
std::vector<StatusProblem> statusProblems(const StatusFacts& facts);

// What is wrong with the daemon itself: how it has started, whether its threads work, what it ran out of. What keeps it
// from sending anything; nothing when it works.
std::optional<StatusProblem> daemonProblem(const StatusFacts& facts);
// What keeps no mail from leaving now, and is worth knowing.
std::vector<StatusProblem> daemonWarnings(const StatusFacts& facts);

// A mail server as the attribute store has it.
struct StatusServer {
    std::string address;  // "" for none
    std::string port;
    bool enabled = false;

    // Of the attributes whose names end so: "" the primary, "1" the secondary.
    static StatusServer configured(const StatusFacts& facts, const std::string& suffix);
    // The one that mails go through; none before the daemon has said.
    static StatusServer active(const StatusFacts& facts);
    bool usable() const;
};

// A component's state in a word.
std::string stateName(ComponentState state);
