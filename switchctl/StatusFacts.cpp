#include "switchctl/StatusFacts.h"

#include "switchctl/Attributes.h"
#include "switchctl/Errors.h"
#include "switchctl/Management.h"
#include "switchctl/ProbeTrace.h"
#include "switchctl/ProfileTable.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>

namespace {

const std::vector<std::string> KEYS = {
    "Default.Mfg.AllowCallhome",
    "Global.Services.CallhomeEnable",
    "Global.Callhome.NF-SMTPAddr",
    "Global.Callhome.SMTPPort",
    "Global.Callhome.SMTPEnable",
    "Global.Callhome.NF-SMTPAddr1",
    "Global.Callhome.SMTPPort1",
    "Global.Callhome.SMTPEnable1",
    "Global.Callhome.FromAddr",
    "Global.CallhomeDB.NumberOfProfiles",
    "Global.Callhome.FileSystemSpaceAllowed",
    "Global.Callhome.FilesAllowed",
    "Oper.Callhome.NF-ActiveSMTPAddr",
    "Oper.Callhome.ActiveSMTPPort",
};

// "0x3f", or "0" alone.
std::uint32_t bits(const std::map<std::string, std::string>& values, const char* key) {
    const auto found = values.find(key);
    return found == values.end() ? 0 : static_cast<std::uint32_t>(std::strtoul(found->second.c_str(), nullptr, 16));
}

void askDaemon(Session& session, StatusFacts& facts) {
    facts.queue = Management::queue(session);
    try {
        const std::string probe = ProbeTrace::ask(session);
        const auto state = ProbeTrace::valuesIn(probe, ProbeTrace::STATE);
        facts.probe = StatusFacts::Probe{bits(state, "Condition"), bits(state, "Config"),
                                         ProbeTrace::valuesIn(probe, ProbeTrace::STATISTICS)};
    } catch (const Refused& error) {
        facts.noProbe = error.what();
    }
}

}  // namespace

StatusFacts StatusFacts::gather(Session& session) {
    StatusFacts facts;
    facts.components = OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS)).components;
    facts.attributes = Attributes::get(session, KEYS);
    const ProfileTable table(Attributes::list(session, ProfileTable::PREFIX));
    for (const auto& profile : table.profiles()) {
        facts.profiles.push_back(profile.name);
    }
    facts.log = LogDigest::read(session);
    if (facts.daemon() == nullptr) {
        return facts;
    }
    try {
        askDaemon(session, facts);
    } catch (const NoAnswer& error) {
        facts.noAnswer = error.what();
    } catch (const Refused& error) {
        facts.noAnswer = error.what();
    }
    return facts;
}

const ComponentList::Component* StatusFacts::daemon() const {
    const auto found = std::ranges::find_if(components, [](const ComponentList::Component& component) {
        return strcasecmp(component.name.c_str(), Management::DAEMON) == 0;
    });
    return found == components.end() ? nullptr : &*found;
}

std::string StatusFacts::attribute(const std::string& key) const {
    const auto found = attributes.find(key);
    return found == attributes.end() ? "" : found->second;
}
