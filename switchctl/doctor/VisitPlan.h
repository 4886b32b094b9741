// What to ask a mail server: as whom, for whose mails.
#pragma once

#include "smtp/OrvMailServers.h"
#include "switchctl/status/StatusFacts.h"

#include <string>
#include <vector>

struct VisitPlan {
    // As the daemon presents the switch, one after the other until the server takes one.
    struct ClientName {
        SmtpAddrMode kind;
        std::string text;
    };
    struct Profile {
        std::string name;
        std::vector<std::string> addresses;
    };

    OrvMailServer server;
    std::string shown;  // address and port
    bool second = false;
    std::vector<ClientName> names;
    std::string sender;  // "" for none: then nobody can be asked about
    std::vector<Profile> profiles;

    // Of the servers that mails go through, each once.
    static std::vector<VisitPlan> of(const StatusFacts& facts);
};
