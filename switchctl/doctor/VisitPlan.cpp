#include "switchctl/doctor/VisitPlan.h"

#include "profile/OrvAddressText.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <optional>

namespace {

constexpr const char* NO_SENDER = "<undefined>";
constexpr std::size_t KIND_LENGTH = 2;  // "3-"

std::vector<VisitPlan::ClientName> namesOf(const StatusFacts& facts) {
    std::vector<VisitPlan::ClientName> names;
    const auto add = [&](SmtpAddrMode kind, const std::string& text) {
        if (!text.empty()) {
            names.push_back({kind, text});
        }
    };
    const std::string host = facts.attribute("Global.Network.DNSLocalHostname");
    if (facts.attribute("Global.Network.DNSClientEnable") == "True" && host.size() > KIND_LENGTH) {
        add(SmtpAddrMode::kHostName, host.substr(KIND_LENGTH));
    }
    add(SmtpAddrMode::kIPv4, orvAddressText(facts.attribute("Global.Network.Eth.0.NF-IPAddress")));
    add(SmtpAddrMode::kIPv6, orvAddressText(facts.attribute("Global.Network.Eth.0.IPv6IPAddress")));
    return names;
}

// The daemon's own, where it says so: what is stored may be dressed.
std::string senderOf(const StatusFacts& facts) {
    const std::string stored = facts.attribute("Global.Callhome.FromAddr");
    const bool isNone = Text::trim(stored).empty() || stored == NO_SENDER;
    const bool known = facts.probe && !facts.probe->sender.empty() && facts.probe->sender != NO_SENDER;
    return isNone ? "" : known ? facts.probe->sender : stored;
}

std::optional<VisitPlan> planFor(const StatusFacts& facts, const std::string& suffix) {
    const StatusServer server = StatusServer::configured(facts, suffix);
    if (!server.usable()) {
        return std::nullopt;
    }
    VisitPlan plan;
    plan.server.assign(facts.attribute("Global.Callhome.NF-SMTPAddr" + suffix));
    plan.server.Port = static_cast<std::uint32_t>(Text::number(server.port, 1, UINT16_MAX).value_or(0));
    plan.shown = server.text();
    plan.second = !suffix.empty();
    plan.names = namesOf(facts);
    plan.sender = senderOf(facts);
    for (const ProfileTable::Profile& profile : facts.profiles) {
        if (!profile.name.empty() && !profile.emails().empty()) {
            plan.profiles.push_back({profile.name, profile.emails()});
        }
    }
    return plan;
}

}  // namespace

std::vector<VisitPlan> VisitPlan::of(const StatusFacts& facts) {
    std::vector<VisitPlan> plans;
    for (const char* suffix : {"", "1"}) {
        auto plan = planFor(facts, suffix);
        if (plan && std::ranges::find(plans, plan->shown, &VisitPlan::shown) == plans.end()) {
            plans.push_back(std::move(*plan));
        }
    }
    return plans;
}
