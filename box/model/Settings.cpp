#include "box/model/Settings.h"

#include <arpa/inet.h>

#include <algorithm>

namespace model {
namespace {

// The status that the attribute store gives for an attribute that it does not have.
constexpr std::uint32_t kMissing = 0xFFFFFFFE;

const std::vector<std::string> kServerKeys{"Global.Callhome.SMTPGatewayEnable", "Global.Callhome.NF-SMTPAddr",
                                           "Global.Callhome.SMTPPort",          "Global.Callhome.SMTPEnable",
                                           "Global.Callhome.NF-SMTPAddr1",      "Global.Callhome.SMTPPort1",
                                           "Global.Callhome.SMTPEnable1"};
const std::vector<std::string> kIdentityKeys{"Global.Callhome.EmailAddr",
                                             "Global.Callhome.FromAddr",
                                             "Global.Callhome.ReplyToAddr",
                                             "Global.Callhome.PhoneNumber",
                                             "Global.Callhome.StreetAddr",
                                             "Global.Snmp.Contact",
                                             "Global.Snmp.Location",
                                             "Config.Switch.SymName",
                                             "Global.Network.Eth.0.NF-IPAddress",
                                             "Global.Network.Eth.0.IPv6IPAddress",
                                             "Global.Network.DNSLocalHostname",
                                             "Global.Network.DNSClientEnable",
                                             "Global.Switch.WWN",
                                             "Config.Mfg.ChassisSerialNum"};
const std::vector<std::string> kQuotaKeys{"Global.Callhome.ThrottleDupsEnable", "Global.Callhome.ThrottleDupsPeriod",
                                          "Global.Callhome.DiscardPeriod", "Global.Callhome.FileSystemSpaceAllowed",
                                          "Global.Callhome.FilesAllowed"};

void announce(Outside& outside, int level, const std::vector<std::string>& keys) {
    for (const std::string& key : keys) {
        outside.tell(level, kPlain, "build request for " + key);
    }
}

bool find(const Outside& outside, const std::string& key, std::string& value) {
    const auto found = outside.attributes.find(key);
    value = found == outside.attributes.end() ? "" : found->second;
    return found != outside.attributes.end();
}

// For each key: hand its value over, or tell that it is missing and at which place.
template <typename Take>
void readEach(Outside& outside, const std::vector<std::string>& keys, const Take& take) {
    for (std::size_t at = 0; at < keys.size(); ++at) {
        std::string value;
        if (find(outside, keys[at], value)) {
            take(keys[at], value);
        } else {
            outside.tell(15, kPlain,
                         printed("Error getting Message Queue Config from DS - bad status array[%d] = %#08x", int(at),
                                 kMissing));
        }
    }
}

// Hexadecimal digits of an address become its usual text; anything else stays.
std::string plainAddress(const std::string& text, unsigned kind) {
    const std::size_t size = kind == 1 ? 4 : 16;
    if (text.size() != 2 * size || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return text;
    }
    unsigned char bytes[16];
    for (std::size_t at = 0; at < size; ++at) {
        bytes[at] = static_cast<unsigned char>(std::stoul(text.substr(2 * at, 2), nullptr, 16));
    }
    char plain[INET6_ADDRSTRLEN] = "";
    inet_ntop(kind == 1 ? AF_INET : AF_INET6, bytes, plain, sizeof plain);
    return plain;
}

void parseServer(const std::string& value, Server& server) {
    const std::string prefix = value.substr(0, 2), rest = value.size() < 2 ? "" : value.substr(2);
    if (prefix == "0-") {
        server.kind = 1;
        server.address = "0.0.0.0";
        server.stored = "00000000";
    } else if (prefix == "1-" || prefix == "2-") {
        server.kind = prefix == "1-" ? 1 : 2;
        server.address = plainAddress(rest, server.kind);
        server.stored = rest;
    } else if (prefix == "3-") {
        server.kind = 3;
        server.address = rest;
        server.stored = "";
    }
}

std::string switchAddress(const std::string& value) {
    const std::string prefix = value.substr(0, 2);
    if (prefix == "0-") {
        return "";
    }
    return prefix == "1-" || prefix == "2-" ? plainAddress(value.substr(2), prefix == "1-" ? 1 : 2) : value;
}

// Text between two section signs stands for the whole value.
std::string unwrapped(const std::string& value) {
    const std::string sign = "\xC2\xA7";
    const std::size_t first = value.find(sign);
    const std::size_t second = first == std::string::npos ? first : value.find(sign, first + 2);
    return second == std::string::npos || second == first + 2 ? value : value.substr(first + 2, second - first - 2);
}

bool endsWith(const std::string& key, const char* word) {
    return key.ends_with(std::string(".") + word);
}

void setMaxSize(Profile& profile, const std::string& value) {
    const std::size_t digits = !value.empty() && (value[0] == '-' || value[0] == '+') ? 1 : 0;
    if (value.find_first_not_of("0123456789", digits) == std::string::npos) {
        profile.maxSize = std::uint32_t(std::clamp(toSigned(value), 650, 2000000));
    }
}

void setUpTo(std::size_t limit, std::string& field, const std::string& value) {
    if (value.size() <= limit) {
        field = value;
    }
}

}  // namespace

void announceServers(Outside& outside) {
    announce(outside, 17, kServerKeys);
}
void announceIdentity(Outside& outside) {
    announce(outside, 17, kIdentityKeys);
}
void announceQuotas(Outside& outside) {
    announce(outside, 31, kQuotaKeys);
}
void announceProfile(Outside& outside) {
    outside.tell(31, kPlain, "reading 8 DS bulk data entries");
}

std::string hostnameOf(const std::string& text) {
    return text.starts_with("3-") ? text.substr(2) : text;
}

bool readSingle(Outside& outside, const std::string& key, const char* what, std::string& value) {
    const bool found = find(outside, key, value);
    if (!found) {
        outside.tell(15, kPlain, printed("Error getting %s from DS %x", what, kMissing));
    }
    return found;
}

void readServers(Outside& outside, Servers& servers) {
    readEach(outside, kServerKeys, [&](const std::string& key, const std::string& value) {
        Server& server = key.ends_with('1') ? servers.secondary : servers.primary;
        const std::string plain = key.ends_with('1') ? key.substr(0, key.size() - 1) : key;
        if (endsWith(plain, "NF-SMTPAddr")) {
            parseServer(value, server);
        } else if (endsWith(plain, "SMTPPort")) {
            server.port = toUnsigned(value);
        } else if (endsWith(plain, "SMTPEnable")) {
            server.enabled = value == "True";
        }
    });
}

void readIdentity(Outside& outside, Identity& identity) {
    readEach(outside, kIdentityKeys, [&](const std::string& key, const std::string& value) {
        const std::pair<const char*, std::string*> wrapped[] = {{"EmailAddr", &identity.contactEmail},
                                                                {"FromAddr", &identity.from},
                                                                {"ReplyToAddr", &identity.replyTo},
                                                                {"StreetAddr", &identity.street}};
        const std::pair<const char*, std::string*> plain[] = {
            {"PhoneNumber", &identity.phone}, {"Contact", &identity.contactName},
            {"Location", &identity.location}, {"SymName", &identity.name},
            {"WWN", &identity.wwn},           {"ChassisSerialNum", &identity.serial}};
        const std::pair<const char*, std::string*> addresses[] = {{"NF-IPAddress", &identity.ipv4},
                                                                  {"IPv6IPAddress", &identity.ipv6}};
        for (const auto& [word, field] : wrapped) {
            *field = endsWith(key, word) ? unwrapped(value) : *field;
        }
        for (const auto& [word, field] : plain) {
            *field = endsWith(key, word) ? value : *field;
        }
        for (const auto& [word, field] : addresses) {
            *field = endsWith(key, word) ? switchAddress(value) : *field;
        }
        if (endsWith(key, "DNSLocalHostname")) {
            identity.hostname = value.size() < 2 ? "" : value.substr(2);
        } else if (endsWith(key, "DNSClientEnable")) {
            identity.useHostname = value == "True";
        }
    });
}

Quotas readQuotas(Outside& outside) {
    Quotas quotas;
    bool outOfRange = false;  // once set, it spoils every later number of this answer
    for (std::size_t at = 0; at < kQuotaKeys.size(); ++at) {
        const std::string& key = kQuotaKeys[at];
        std::string value;
        const bool found = find(outside, key, value);
        if (!found) {
            outside.tell(15, kPlain,
                         printed("Error getting Message Queue Config from DS - bad status array[%d]", int(at)));
        }
        const std::uint32_t number = endsWith(key, "ThrottleDupsEnable") ? 0 : toUnsigned(value, &outOfRange);
        if (!found || (outOfRange && !endsWith(key, "ThrottleDupsEnable"))) {
            continue;
        }
        if (endsWith(key, "ThrottleDupsEnable")) {
            quotas.throttle = value == "True";
        } else if (endsWith(key, "ThrottleDupsPeriod")) {
            quotas.throttlePeriod = number;
        } else if (endsWith(key, "DiscardPeriod")) {
            quotas.discardPeriod = number;
        } else if (endsWith(key, "FileSystemSpaceAllowed")) {
            quotas.space = number;
        } else {
            quotas.files = number;
        }
    }
    return quotas;
}

Profile readProfile(Outside& outside, unsigned index) {
    Profile profile;
    const std::string base = printed("Global.CallhomeDB.Profile.%u.", index);
    const std::vector<std::string> keys{printed("Global.CallhomeDB.ProfileList.%u", index),
                                        base + "Level",
                                        base + "Format",
                                        base + "MaxSize",
                                        base + "EmailSubject",
                                        base + "NumberOfEmails",
                                        base + "CaptureEnable",
                                        base + "CaptureEntries"};
    std::uint32_t addresses = 0;
    for (std::size_t at = 0; at < keys.size(); ++at) {
        std::string value;
        if (!find(outside, keys[at], value)) {
            outside.tell(15, kPlain,
                         printed("Error getting Profile Initial Config from DS - bad status array[%d]", int(at)));
            continue;
        }
        switch (at) {
            case 0:
                setUpTo(32, profile.name, value);
                break;
            case 1:
                profile.level = levelNumber(value);
                break;
            case 2:
                setUpTo(32, profile.format, value);
                break;
            case 3:
                setMaxSize(profile, value);
                break;
            case 4:
                setUpTo(64, profile.subject, value);
                break;
            case 5:
                addresses = toUnsigned(value);
                break;
            default:
                break;
        }
        if (at == 5 && addresses > 0) {
            outside.tell(31, kPlain, printed("reading %u DS bulk data entries", std::min(addresses, 64u)));
        }
    }
    for (unsigned at = 0; at < std::min(addresses, 64u); ++at) {
        std::string address;
        if (!find(outside, base + printed("EmailList.%u", at), address)) {
            outside.tell(15, kPlain, printed("Error getting Profile Email Config from DS - bad status array[%u]", at));
        } else if (profile.addresses.size() < 10) {
            profile.addresses.push_back(address);
        }
    }
    return profile;
}

}  // namespace model
