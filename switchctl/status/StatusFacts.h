// Everything that tells whether CallHome can send: from the switch, and from the daemon where it answers.
#pragma once

#include "platform/wire/ManagementWire.h"
#include "switchctl/client/Session.h"
#include "switchctl/input/ProfileTable.h"
#include "switchctl/log/LogDigest.h"
#include "switchctl/status/FlashFacts.h"
#include "switchctl/traces/DaemonTraces.h"
#include "switchctl/visit/ServerVisit.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct StatusFacts {
    // What the daemon said about itself.
    struct Probe {
        // Nothing where the probe has no such number.
        std::optional<std::uint32_t> condition;
        std::optional<std::uint32_t> config;  // what it is still reading
        std::optional<bool> queueOpen;
        std::optional<bool> queueSettingsRead;
        std::map<std::string, std::string> statistics;  // of its queue
        std::optional<std::uint32_t> parked;            // messages that only count their repeats
        // The quotas that hold now.
        std::optional<std::uint32_t> filesAllowed;
        std::optional<std::uint32_t> spaceAllowed;
        std::uint32_t captures = 0;                  // that have begun and not ended
        std::string sender = {};                     // of its mails; "" where it does not say
        std::map<std::string, std::string> lists{};  // how many messages each list of its queue has, and more
        std::string dialogue = "required";           // how it speaks SMTP
    };

    std::vector<ComponentList::Component> components;
    std::map<std::string, std::string> attributes;
    std::vector<ProfileTable::Profile> profiles;  // those below the number of profiles
    LogDigest log;
    std::optional<QueueInfo> queue;
    std::optional<Probe> probe;
    std::string noProbe;     // why there is none
    std::string noAnswer;    // the daemon is there and does not answer
    std::string noSwitchd;   // switchd has gone, or has gone silent, before the daemon had answered
    std::string noResponse;  // it answers the probe alone
    DaemonTraces traces;
    std::string unit;  // of the machine's service manager, that runs the daemon; "" for none
    FlashFacts flash;
    std::int64_t now = 0;                 // microseconds since 1970
    std::optional<OutsideFacts> outside;  // what the mail servers said; nothing where nobody has asked them

    // Asks for all of it. A daemon that is not there or does not answer leaves its part empty; throws when the switch
    // does not answer. PASSIVE leaves the daemon alone: nothing is asked of it, and it traces nothing.
    enum class Ask { DAEMON, PASSIVE };
    static StatusFacts gather(Session& session, Ask ask = Ask::DAEMON);

    // How often the event log tells of a trouble, and when last, in microseconds since 1970. Of troubles before the
    // daemon's start nothing, where that is known.
    struct Count {
        std::uint64_t times = 0;
        std::int64_t last = 0;
    };
    Count count(LogDigest::Trouble trouble) const;

    // Null when the daemon is not there.
    const ComponentList::Component* daemon() const;
    // "" when it is not set.
    std::string attribute(const std::string& key) const;
};
