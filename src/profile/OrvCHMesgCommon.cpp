#include "profile/OrvCHMesgCommon.h"

#include "MessageCodes.h"
#include "base/OrvSteps.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "profile/OrvAddressText.h"
#include "profile/OrvDsStatus.h"
#include "profile/OrvSwitchAddresses.h"

#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgCommon";

using Converter = std::string (*)(const std::string& value);

std::string asItStands(const std::string& value) {
    return value;
}

// The text between the first two section signs; the whole value when there are none or nothing is between them.
std::string unwrap(const std::string& value) {
    constexpr std::string_view kSectionSign = "\xC2\xA7";
    const std::size_t first = value.find(kSectionSign);
    if (first == std::string::npos) {
        return value;
    }
    const std::size_t begin = first + kSectionSign.size();
    const std::size_t end = value.find(kSectionSign, begin);
    return end == std::string::npos || end == begin ? value : value.substr(begin, end - begin);
}

std::string withoutFirstTwo(const std::string& value) {
    return value.size() < 2 ? "" : value.substr(2);
}

std::string addressText(const std::string& value) {
    return orvAddressText(value);
}

// Who else is told a value.
enum class Tell { kNobody, kAddress, kWwn };

struct IdentityKey {
    const char* name;
    std::string OrvIdentity::*field;  // null: the one flag
    Converter convert;
    Tell tell;
};

// In the order of the request.
constexpr std::array kKeys{
    IdentityKey{"Global.Callhome.EmailAddr", &OrvIdentity::ContactEmail, unwrap, Tell::kNobody},
    IdentityKey{"Global.Callhome.FromAddr", &OrvIdentity::From, unwrap, Tell::kNobody},
    IdentityKey{"Global.Callhome.ReplyToAddr", &OrvIdentity::ReplyTo, unwrap, Tell::kNobody},
    IdentityKey{"Global.Callhome.PhoneNumber", &OrvIdentity::PhoneNumber, asItStands, Tell::kNobody},
    IdentityKey{"Global.Callhome.StreetAddr", &OrvIdentity::StreetAddress, unwrap, Tell::kNobody},
    IdentityKey{"Global.Snmp.Contact", &OrvIdentity::ContactName, asItStands, Tell::kNobody},
    IdentityKey{"Global.Snmp.Location", &OrvIdentity::Location, asItStands, Tell::kNobody},
    IdentityKey{"Config.Switch.SymName", &OrvIdentity::SymName, asItStands, Tell::kNobody},
    IdentityKey{"Global.Network.Eth.0.NF-IPAddress", &OrvIdentity::IPv4Address, addressText, Tell::kAddress},
    IdentityKey{"Global.Network.Eth.0.IPv6IPAddress", &OrvIdentity::IPv6Address, addressText, Tell::kAddress},
    IdentityKey{"Global.Network.DNSLocalHostname", &OrvIdentity::Hostname, withoutFirstTwo, Tell::kNobody},
    IdentityKey{"Global.Network.DNSClientEnable", nullptr, nullptr, Tell::kNobody},
    IdentityKey{"Global.Switch.WWN", &OrvIdentity::WWN, asItStands, Tell::kWwn},
    IdentityKey{"Config.Mfg.ChassisSerialNum", &OrvIdentity::SerialNum, asItStands, Tell::kNobody},
};

constexpr char kReadConfig[] = "readConfig";

// Kept: the place that the entry about an unknown attribute names.
constexpr int kUnknownAttributeLine = 299;

std::vector<std::string> announcedKeys() {
    auto names = orvPersistently(orvIdentityKeys);
    for (const std::string& name : names) {
        orvLog(orv_log::kBuildDetailRequest, name.c_str());
    }
    return names;
}

}  // namespace

std::vector<std::string> orvIdentityKeys() {
    std::vector<std::string> names;
    for (const IdentityKey& key : kKeys) {
        names.emplace_back(key.name);
    }
    return names;
}

bool orvIsDefaultSender(const std::string& address) {
    return address.empty() || address == kOrvDefaultSender;
}

OrvCHMesgCommon::OrvCHMesgCommon(dsClient& store, OrvConfigListener& config, OrvIdentityListener& addresses)
    : store_(store), config_(config), addresses_(addresses) {
}

int OrvCHMesgCommon::readConfig() {
    return orvCompleteUnlessSent(config_, OrvConfigListener::kIdentity, [this] { return request(); });
}

int OrvCHMesgCommon::request() {
    const std::vector<std::string> names = announcedKeys();
    setReadOutstanding(true);
    if (store_.bulkGetAttrReq(DsRequestId::IDENTITY, names) == 0) {
        return 0;
    }
    setReadOutstanding(false);  // first: nobody may wait for an answer that never comes
    orvTrace(kTraceModule, kReadConfig, "Error readng DS bulk data entries\n");
    orvLog(orv_log::kIdentityUnread, kTraceModule, kReadConfig);
    return -1;
}

int OrvCHMesgCommon::processConfigBulk(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    // The read ends before it is reported: the report may start the next cycle, which asks again.
    return orvCompleteAfter(config_, OrvConfigListener::kIdentity, [&] { return applyAnswer(entries, statuses); });
}

// Minus the number of unknown keys. The identity changes as a whole or not at all.
int OrvCHMesgCommon::applyAnswer(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    const ReadEnd end(*this);
    OrvIdentity identity = orvPersistently([this] { return own(); });
    const int result = orvTakeAnswer(kTraceModule, kUnknownAttributeLine, entries, statuses,
                                     [&](const DsEntry& entry) { return apply(entry, identity); });
    const Mt::Lock lock(lock_);
    identity_ = std::move(identity);
    return result;
}

bool OrvCHMesgCommon::apply(const DsEntry& entry, OrvIdentity& identity) {
    for (const IdentityKey& key : kKeys) {
        if (entry.name != key.name) {
            continue;
        }
        if (key.field == nullptr) {
            identity.DNSClientEnable = entry.value == "True";
            return true;
        }
        std::string& field = identity.*key.field;
        field = orvPersistently([&] { return key.convert(entry.value); });
        if (key.tell == Tell::kAddress) {
            addresses_.identityAddressRead(field);
        } else if (key.tell == Tell::kWwn) {
            addresses_.identityWwnRead(field);
        }
        return true;
    }
    return false;
}

int OrvCHMesgCommon::processConfig(const std::string& name, std::uint32_t type, const std::string& value) {
    ORV_TRACE("name = %s, type = %d, value = %s\n", name.c_str(), static_cast<int>(type), value.c_str());
    return 0;
}

void OrvCHMesgCommon::abandonRead() {
    setReadOutstanding(false);
}

int OrvCHMesgCommon::setSwitchAddr(std::span<const std::uint8_t> countAndAddresses) {
    orvTakeSwitchAddresses(countAndAddresses, [this](int family, const char* text) {
        const Mt::Lock lock(lock_);
        (family == AF_INET ? identity_.IPv4Address : identity_.IPv6Address) = text;
    });
    return 0;
}

void OrvCHMesgCommon::setHostname(const std::string& text) {
    constexpr std::string_view kHostNamePrefix = "3-";
    Mt::Lock lock(lock_);
    identity_.Hostname = text.starts_with(kHostNamePrefix) ? withoutFirstTwo(text) : text;
}

void OrvCHMesgCommon::probe() const {
    const OrvIdentity& identity = own();
    ORV_TRACE(
        "  From = %s\n  ReplyTo = %s\n  ContactName = %s\n  ContactEmail = %s\n  PhoneNumber = %s\n"
        "  StreetAddress = %s\n  Location = %s\n",
        identity.From.c_str(), identity.ReplyTo.c_str(), identity.ContactName.c_str(), identity.ContactEmail.c_str(),
        identity.PhoneNumber.c_str(), identity.StreetAddress.c_str(), identity.Location.c_str());
}

OrvIdentity OrvCHMesgCommon::current() const {
    return own();
}

void OrvCHMesgCommon::setReadOutstanding(bool outstanding) {
    Mt::Lock lock(lock_);
    readOutstanding_ = outstanding;
    if (!outstanding) {
        readDone_.broadcast();
    }
}

OrvCHMesgCommon::Reader::Reader(const OrvCHMesgCommon& common) : common_(common) {
    common.lock_.lock();
    while (common.readOutstanding_) {
        common.readDone_.wait(common.lock_);
    }
}

OrvCHMesgCommon::Reader::~Reader() {
    common_.lock_.unlock();
}
