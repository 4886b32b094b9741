// What came of asking a mail server, stage by stage, what it would say to the switch's mails. Plain data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct VisitStage {
    enum class Kind { NAME, ROUTE, CONNECT, GREETING, HELLO, SENDER, RECIPIENT, RESET, QUIT };
    enum class Outcome {
        PASSED,
        REFUSED,   // the server said no
        FAILED,    // the system, or the resolver
        CLOSED,    // the server hung up
        TIMED_OUT  // nothing came until the time was over
    };

    Kind kind = Kind::NAME;
    Outcome outcome = Outcome::PASSED;
    std::string asked;    // the name, the address or the command line
    std::string words;    // the server's, else the system's
    std::string profile;  // whose recipient
    std::int64_t milliseconds = 0;

    bool passed() const { return outcome == Outcome::PASSED; }
    // As a person calls it: "name", "connect", "RCPT TO".
    const char* name() const;
    // Likewise: "passed", "refused", "failed", "closed", "timed out".
    const char* outcomeName() const;
};

struct ServerVisit {
    // A reply that did not come as one, whole and alone.
    struct Pieces {
        std::string asked;  // the command that it answers; "" for the greeting
        std::size_t count = 0;
        std::string first;     // what the daemon would have taken for the whole reply
        bool unasked = false;  // It answered nothing.
    };

    std::string server;  // address and port
    bool second = false;
    bool byName = false;
    std::vector<VisitStage> stages;
    std::optional<Pieces> pieces;              // the first time
    std::optional<std::uint64_t> largestMail;  // that it says it takes, in bytes

    // The first stage that keeps every mail from leaving; null where there is none.
    const VisitStage* failure() const;
    std::size_t recipientsTaken() const;
    std::size_t recipientsAsked() const;
    // A mail would get through to somebody, as far as it was asked.
    bool works() const { return failure() == nullptr && (recipientsAsked() == 0 || recipientsTaken() != 0); }
};

// What doctor has asked outside.
struct OutsideFacts {
    std::vector<ServerVisit> visits;
    std::int64_t seconds = 0;  // that it had for it

    // Null for one that was not asked.
    const ServerVisit* find(const std::string& server) const;
};
