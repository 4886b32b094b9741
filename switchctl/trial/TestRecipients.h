// What becomes of a test message, recipient by recipient, by what the daemon writes into the event log.
//
// Entries name the profile and not the message: what is told of a mail that was before it in the queue counts too.
#pragma once

#include "switchctl/text/Json.h"
#include "switchd/services/OperatorWire.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct OrvCatalogueMatch;

class TestRecipients {
public:
    TestRecipients(std::string profile, const std::vector<std::string>& addresses);

    // The next entry of the daemon. What it means, as a person reads it; "" for nothing.
    std::string take(const LogEntry& entry);
    // The result is there: whoever is not known to be refused was taken, when anybody was.
    void end(bool passed);

    // Whom the mail has not reached, each with the server's words; "" for nobody that is known.
    std::string notReached() const;
    // It was mailed, and to nobody.
    bool nobody() const { return refusedByAll_ && recipients_.empty(); }
    // When the daemon tries again, and through which server, in microseconds since 1970; nothing when it is not known.
    struct Try {
        std::string server;
        std::int64_t time = 0;
    };
    const std::optional<Try>& nextTry() const { return nextTry_; }
    Json json() const;

private:
    enum class State { WAITING, TAKEN, PUT_OFF, REFUSED };
    struct Recipient {
        std::string address;
        State state = State::WAITING;
        std::string server;
        std::string words;
    };

    Recipient& recipient(const std::string& address);
    std::string takeRecipient(const OrvCatalogueMatch& entry);
    std::string takeServer(const OrvCatalogueMatch& entry, const LogEntry& whole);

    const std::string profile_;
    std::vector<Recipient> recipients_;
    std::optional<Try> nextTry_;
    bool refusedByAll_ = false;
};
