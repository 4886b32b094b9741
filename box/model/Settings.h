// What the daemon makes of the switch's attributes: identity, mail servers, quotas, profiles.
//
// Each reader tells the event log what the daemon tells while it reads. Rules: docs/behaviour.md, "Configuration".
#pragma once

#include "box/model/Message.h"
#include "box/model/Records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace model {

struct Identity {
    std::string from, replyTo, contactName, contactEmail, phone, street, location;
    std::string name, ipv4, ipv6, hostname, wwn, serial;
    bool useHostname = false;

    bool hasSender() const { return !from.empty() && from != kUndefined; }
    bool hasAddress() const { return !ipv4.empty() || !ipv6.empty(); }
};

struct Servers {
    Server primary, secondary;

    bool usable() const { return primary.valid() || secondary.valid(); }
    bool both() const { return primary.valid() && secondary.valid(); }
};

struct Quotas {
    bool throttle = true;
    std::uint32_t throttlePeriod = 15;
    std::uint32_t discardPeriod = 86400;
    std::uint32_t space = 5120000;
    std::uint32_t files = 100;
};

struct Profile {
    std::string name;
    unsigned level = 3;
    std::string format = "FullText";
    std::uint32_t maxSize = 2000000;
    std::string subject;
    std::vector<std::string> addresses;
    std::uint32_t processed = 0;
    std::string lastProcessed = "NotApplicable";
};

// Each group is announced key by key when it is asked for, and read when it is answered.
void announceServers(Outside& outside);
void announceIdentity(Outside& outside);
void announceQuotas(Outside& outside);
void announceProfile(Outside& outside);
void readServers(Outside& outside, Servers& servers);
void readIdentity(Outside& outside, Identity& identity);
Quotas readQuotas(Outside& outside);
Profile readProfile(Outside& outside, unsigned index);

// A host name as an event gives it.
std::string hostnameOf(const std::string& text);

// A single attribute; false and an entry in the event log when there is none of this name.
bool readSingle(Outside& outside, const std::string& key, const char* what, std::string& value);

}  // namespace model
