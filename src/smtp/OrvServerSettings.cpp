#include "smtp/OrvServerSettings.h"

#include "MessageCodes.h"
#include "base/OrvNumber.h"
#include "base/OrvSteps.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "profile/OrvDsStatus.h"

#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHClient";  // whose part this is
constexpr char kTrue[] = "True";
// Kept: a line of the source, as the entry has always shown it.
constexpr int kUnknownAttributeLine = 86;

void setPort(OrvMailServer& server, const std::string& value) {
    server.Port = orvToUnsigned(value).value;
}

void setEnabled(OrvMailServer& server, const std::string& value) {
    server.Enabled = value == kTrue;
}

void setAddress(OrvMailServer& server, const std::string& value) {
    server.assign(value);
}

}  // namespace

// A key and what its value sets, in the order of the request.
struct OrvServerSettings::Key {
    const char* name;
    OrvMailServer OrvMailServers::*server;  // null: the gateway flag, which is no server's
    void (*apply)(OrvMailServer& server, const std::string& value);
};

constexpr OrvServerSettings::Key OrvServerSettings::kKeys[] = {
    {"Global.Callhome.SMTPGatewayEnable", nullptr, nullptr},
    {"Global.Callhome.NF-SMTPAddr", &OrvMailServers::primary, setAddress},
    {"Global.Callhome.SMTPPort", &OrvMailServers::primary, setPort},
    {"Global.Callhome.SMTPEnable", &OrvMailServers::primary, setEnabled},
    {"Global.Callhome.NF-SMTPAddr1", &OrvMailServers::secondary, setAddress},
    {"Global.Callhome.SMTPPort1", &OrvMailServers::secondary, setPort},
    {"Global.Callhome.SMTPEnable1", &OrvMailServers::secondary, setEnabled},
};

int OrvServerSettings::request() {
    const auto names = orvPersistently([] {
        std::vector<std::string> composed;
        for (const Key& key : kKeys) {
            composed.emplace_back(key.name);
        }
        return composed;
    });
    for (const std::string& name : names) {
        orvLog(orv_log::kBuildDetailRequest, name.c_str());
    }
    if (store_.bulkGetAttrReq(DsRequestId::SEND_CLIENT, names) == 0) {
        return 0;
    }
    orvTrace(kTraceModule, "readConfig", "Error reading DS bulk data entries\n");
    orvLog(orv_log::kClientConfigUnread);
    return -1;
}

int OrvServerSettings::apply(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses) {
    const Mt::Lock lock(state_.lock);
    const int result =
        orvTakeAnswer(kTraceModule, kUnknownAttributeLine, entries, statuses,
                      [this](const DsEntry& entry) ORV_REQUIRES(state_.lock) { return applyEntry(entry); });
    state_.servers.chooseActive();
    publish();
    return result;
}

// False when the key is unknown.
bool OrvServerSettings::applyEntry(const DsEntry& entry) {
    for (const Key& key : kKeys) {
        if (entry.name != key.name) {
            continue;
        }
        if (key.server == nullptr) {
            gatewayEnabled_ = entry.value == kTrue;
        } else {
            OrvMailServer& server = state_.servers.*key.server;
            server = orvPersistently([&] {
                OrvMailServer changed = server;
                key.apply(changed, entry.value);
                return changed;
            });
            ORV_TRACE("%s = %s\n", key.name, entry.value.c_str());
        }
        return true;
    }
    return false;
}

void OrvServerSettings::publish() {
    const OrvMailServers::Published published =
        orvPersistently([servers = &state_.servers] { return servers->published(); });
    const struct {
        const char* name;
        std::uint32_t type;
        const std::string& value;
    } writes[] = {
        {"Oper.Callhome.NF-ActiveSMTPAddr", dsClient::TYPE_STRING, published.nfAddress},
        {"Oper.Callhome.ActiveSMTPAddr", dsClient::TYPE_STRING, published.address},
        {"Oper.Callhome.ActiveSMTPPort", dsClient::TYPE_INTEGER, published.port},
    };
    for (const auto& write : writes) {
        if (store_.setAttrReq(DsRequestId::ACTIVE_SERVER, write.name, write.type, write.value, 1) != 0) {
            orvLog(orv_log::kActiveServerUnwritten);
        }
    }
}

int OrvServerSettings::processDsStatus(std::uint32_t id, std::int32_t status) {
    if (id != DsRequestId::ACTIVE_SERVER) {
        orvLog(orv_log::kClientIdUnknown, __func__, id);
        return -1;
    }
    if (status != 0) {
        orvLog(orv_log::kActiveServerUnwritten);
        return -1;
    }
    return 0;
}

int OrvServerSettings::changeover() {
    const Mt::Lock lock(state_.lock);
    if (state_.servers.changeover() < 0) {
        return -1;
    }
    publish();
    return 0;
}

OrvMailServers OrvServerSettings::servers() const {
    const Mt::Lock lock(state_.lock);
    return state_.servers;
}

void OrvServerSettings::probe() const {
    const OrvMailServers servers = this->servers();
    const OrvMailServer& primary = servers.primary;
    const OrvMailServer& secondary = servers.secondary;
    const OrvMailServer& active = servers.active();
    ORV_TRACE(
        "OrvCHClient probe:\n"
        "  SMTPGatewayEnabled = %u\n"
        "  PrimarySMTPAddrMode = %u\n"
        "  PrimarySMTPAddr = %s\n"
        "  PrimarySMTPPort = %u\n"
        "  PrimarySMTPEnable = %u\n"
        "  SecondarySMTPAddrMode = %u\n"
        "  SecondarySMTPAddr = %s\n"
        "  SecondarySMTPPort = %u\n"
        "  SecondarySMTPEnable = %u\n"
        "  ActiveSMTPAddrMode = %u\n"
        "  ActiveSMTPAddr = %s\n"
        "  ActiveSMTPPort = %u\n\n",
        static_cast<unsigned>(gatewayEnabled_), static_cast<unsigned>(primary.Kind), primary.Address.c_str(),
        primary.Port, static_cast<unsigned>(primary.Enabled), static_cast<unsigned>(secondary.Kind),
        secondary.Address.c_str(), secondary.Port, static_cast<unsigned>(secondary.Enabled),
        static_cast<unsigned>(active.Kind), active.Address.c_str(), active.Port);
}
