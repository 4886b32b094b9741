#include "switchctl/StatusVerdict.h"

#include "switchctl/MailServer.h"
#include "switchctl/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

// In the order of ComponentState.
constexpr std::array<const char*, 5> STATE_NAMES = {"absent", "registered", "ready", "configured", "started"};
constexpr const char* DEFAULT_SENDER = "<undefined>";

bool isTrue(const StatusFacts& facts, const char* key) {
    return facts.attribute(key) == "True";
}

bool isAllowed(const StatusFacts& facts) {
    return isTrue(facts, "Default.Mfg.AllowCallhome");
}

bool isEnabled(const StatusFacts& facts) {
    return isTrue(facts, "Global.Services.CallhomeEnable");
}

bool hasServer(const StatusFacts& facts) {
    return StatusServer::configured(facts, "").usable() || StatusServer::configured(facts, "1").usable();
}

bool hasSender(const StatusFacts& facts) {
    const std::string sender = Text::trim(facts.attribute("Global.Callhome.FromAddr"));
    return !sender.empty() && sender != DEFAULT_SENDER;
}

bool hasProfiles(const StatusFacts& facts) {
    return std::ranges::any_of(facts.profiles, [](const std::string& name) { return !name.empty(); });
}

// What the daemon looks at, each with its bit in the daemon's own view.
struct Condition {
    std::uint32_t bit;
    bool (*holds)(const StatusFacts&);
    const char* cause;
    const char* text;
    const char* remedy;
};

constexpr Condition CONDITIONS[] = {
    {1, isAllowed, "feature", "the switch's factory settings do not allow CallHome",
     "switchctl attr set Default.Mfg.AllowCallhome=True"},
    {2, isEnabled, "service", "CallHome is switched off", "switchctl callhome setup --enable"},
    {4, hasServer, "server", "no mail server is configured and switched on",
     "switchctl callhome setup --smtp KIND-ADDRESS:PORT"},
    {8, hasSender, "sender", "there is no sender address", "switchctl callhome setup --from ADDRESS"},
    {16, hasProfiles, "profiles", "there are no profiles: nobody receives anything",
     "switchctl profile add NAME --level L --format F --email ADDRESS"},
};

}  // namespace

std::string stateName(ComponentState state) {
    const auto number = static_cast<std::size_t>(state);
    return number < STATE_NAMES.size() ? STATE_NAMES[number] : std::to_string(number);
}

StatusServer StatusServer::configured(const StatusFacts& facts, const std::string& suffix) {
    return {MailServer::shown(facts.attribute("Global.Callhome.NF-SMTPAddr" + suffix)),
            facts.attribute("Global.Callhome.SMTPPort" + suffix),
            isTrue(facts, ("Global.Callhome.SMTPEnable" + suffix).c_str())};
}

bool StatusServer::usable() const {
    return enabled && !address.empty() && Text::number(port, 1, UINT16_MAX).has_value();
}

StatusServer StatusServer::active(const StatusFacts& facts) {
    return {MailServer::shown(facts.attribute("Oper.Callhome.NF-ActiveSMTPAddr")),
            facts.attribute("Oper.Callhome.ActiveSMTPPort"), true};
}

// A condition fails when the attributes fail it. Where they do not and the daemon still says so, it has not read them.
std::vector<StatusProblem> statusProblems(const StatusFacts& facts) {
    std::vector<StatusProblem> problems;
    if (auto problem = daemonProblem(facts)) {
        problems.push_back(std::move(*problem));
    }
    bool unread = false;
    for (const Condition& condition : CONDITIONS) {
        if (!condition.holds(facts)) {
            problems.push_back({condition.cause, condition.text, condition.remedy});
        } else {
            unread =
                unread || (facts.probe && facts.probe->condition && (*facts.probe->condition & condition.bit) == 0);
        }
    }
    if (facts.probe && facts.probe->config.value_or(0) != 0) {
        problems.push_back({"unread", "orvApp is reading its configuration; look again", "switchctl status"});
    } else if (unread) {
        problems.push_back(
            {"unread", "orvApp has not read the attributes as they are now", "switchctl callhome profile-change"});
    }
    return problems;
}
