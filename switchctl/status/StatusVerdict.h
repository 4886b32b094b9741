// Whether CallHome can send, and what has to be mended when it cannot, in the order in which one would mend it.
#pragma once

#include "switchctl/status/Problems.h"
#include "switchctl/status/StatusFacts.h"

#include <string>

// Everything that is wrong or worth knowing. Nothing blocked and nothing down: it can send.
StatusProblems statusProblems(const StatusFacts& facts);
// What all of it comes to: the worst of them, NOTICE where there is none.
ProblemState stateOf(const StatusProblems& problems);
// "ok", "failing", "blocked" or "down".
const char* statusWord(ProblemState state);
bool canSend(ProblemState state);

// What it is put together from, a theme each.
StatusProblems daemonProblems(const StatusFacts& facts);
StatusProblems setupProblems(const StatusFacts& facts);
StatusProblems outsideProblems(const StatusFacts& facts);  // nothing where nobody was asked
StatusProblems serverProblems(const StatusFacts& facts);
StatusProblems recipientProblems(const StatusFacts& facts);
StatusProblems queueProblems(const StatusFacts& facts);
StatusProblems flashProblems(const StatusFacts& facts);
StatusProblems captureProblems(const StatusFacts& facts);
StatusProblems clockProblems(const StatusFacts& facts);

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
    // Address and port as one writes them.
    std::string text() const;

    // Whether a text is about the secondary alone.
    static bool isSecondary(const StatusFacts& facts, const std::string& text);
    // What is wrong with the secondary, with the option that sets this one.
    static StatusProblem ofSecondary(StatusProblem found);
};

// A retry is over when nothing is left to be sent, and forgotten by a daemon that has started since. Null: none.
const LogDigest::Retry* pendingRetry(const StatusFacts& facts);

// A component's state in a word.
std::string stateName(ComponentState state);
// As a person says how long: "40 s", "12 min", "3 h", "2 days".
std::string durationText(std::int64_t microseconds);
// A moment as the event log shows it.
std::string momentText(std::int64_t microseconds);
// Its time of day alone: "12:34:56".
std::string timeOfDay(std::int64_t microseconds);
