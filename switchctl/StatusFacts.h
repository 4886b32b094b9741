// Everything that tells whether CallHome can send: from the switch, and from the daemon where it answers.
#pragma once

#include "platform/wire/ManagementWire.h"
#include "switchctl/LogDigest.h"
#include "switchctl/Session.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct StatusFacts {
    // What the daemon said about itself.
    struct Probe {
        std::uint32_t condition = 0;
        std::uint32_t config = 0;                   // what it is still reading
        std::map<std::string, std::string> values;  // all of its trace
    };

    std::vector<ComponentList::Component> components;
    std::map<std::string, std::string> attributes;
    std::vector<std::string> profiles;  // names of those below the number of profiles; "" for one without
    LogDigest log;
    std::optional<QueueInfo> queue;
    std::optional<Probe> probe;
    std::string noProbe;   // why there is none
    std::string noAnswer;  // the daemon is there and does not answer

    // Asks for all of it. A daemon that is not there or does not answer leaves its part empty; throws when the switch
    // does not answer.
    static StatusFacts gather(Session& session);

    // Null when the daemon is not there.
    const ComponentList::Component* daemon() const;
    // "" when it is not set.
    std::string attribute(const std::string& key) const;
};
