// What is wrong with the configuration, and whether the daemon has read it.
#include "switchctl/input/CaptureTime.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

// A read that takes longer does not end: whatever it still waits for was asked for once.
constexpr std::int64_t LONGEST_READ = 10 * SECOND;
constexpr const char* DEFAULT_SENDER = "<undefined>";
constexpr std::array<std::string_view, 6> LEVELS = {"Info", "Warn", "Critical", "Alarm", "Fault", "None"};
constexpr std::array<std::string_view, 3> FORMATS = {"FullText", "Tsc1", "Short"};

using Profile = ProfileTable::Profile;

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
    return std::ranges::any_of(facts.profiles, [](const Profile& profile) { return !profile.name.empty(); });
}

// What the daemon looks at, each with its bit in the daemon's own view.
struct Condition {
    std::uint32_t bit;
    bool (*holds)(const StatusFacts&);
    const KnownProblem<0>& kind;
};

constexpr Condition CONDITIONS[] = {
    {1, isAllowed, problem::kFeature},  {2, isEnabled, problem::kService},       {4, hasServer, problem::kNoServer},
    {8, hasSender, problem::kNoSender}, {16, hasProfiles, problem::kNoProfiles},
};

// As the daemon understands it: "0-" and a kind without anything behind it are none.
bool isAddress(const std::string& value) {
    const bool hasKind = value.size() >= 2 && value[1] == '-';
    return !value.empty() &&
           !(hasKind && (value[0] == '0' || ((value[0] == '1' || value[0] == '2') && value.size() == 2)));
}

// Also by an event, or a dialogue with a mail server: none begins without.
bool knowsItsAddress(const StatusFacts& facts) {
    return isAddress(facts.attribute("Global.Network.Eth.0.NF-IPAddress")) ||
           isAddress(facts.attribute("Global.Network.Eth.0.IPv6IPAddress")) || facts.traces.addressTold ||
           facts.traces.send.inDialogue() || facts.traces.send.lastTaken() != 0;
}

bool isOneOf(std::span<const std::string_view> names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

bool hearsNothing(const Profile& profile) {
    return profile.emails().empty() || !isOneOf(LEVELS, profile.field("Level"));
}

// Blocked where no profile is left that would get a message.
void addProfiles(const StatusFacts& facts, StatusProblems& problems) {
    const ProblemState state =
        std::ranges::all_of(facts.profiles, hearsNothing) ? ProblemState::BLOCKED : ProblemState::FAILING;
    for (std::size_t number = 0; number < facts.profiles.size(); ++number) {
        const Profile& profile = facts.profiles[number];
        const std::string text = std::to_string(number);
        if (profile.name.empty()) {
            continue;
        }
        if (profile.emails().empty()) {
            problems.push_back(problem::kProfileWithoutAddress(profile.name, text, text));
            problems.back().state = state;
        }
        const std::string level = profile.field("Level");
        if (!isOneOf(LEVELS, level)) {
            problems.push_back(problem::kProfileLevel(profile.name, level, text));
            problems.back().state = state;
        }
        const std::string format = profile.field("Format");
        if (!isOneOf(FORMATS, format)) {
            problems.push_back(problem::kProfileFormat(profile.name, format, text));
        }
    }
}

void addSameServers(const StatusFacts& facts, StatusProblems& problems) {
    const StatusServer first = StatusServer::configured(facts, "");
    const StatusServer second = StatusServer::configured(facts, "1");
    if (first.usable() && second.usable() && first.address == second.address) {
        problems.push_back(problem::kSameServers(first.address));
    }
}

// A read that is under way, or will be for ever.
StatusProblem reading(const StatusFacts& facts) {
    const auto begun = facts.traces.readBegun ? facts.traces.readBegun : facts.log.settingsRead;
    const std::int64_t age = begun ? facts.now - *begun : 0;
    const auto halted = facts.count(LogDigest::Trouble::READ_HALTED);
    const bool refused = halted.times != 0 && halted.last >= begun.value_or(0) - SECOND;
    if (age > LONGEST_READ || refused) {
        return problem::kReadHalted(age >= SECOND ? " for " + durationText(age) : "");
    }
    return problem::kReading();
}

}  // namespace

// A condition fails when the attributes fail it. Where they do not and the daemon still says so, it has not read them.
StatusProblems setupProblems(const StatusFacts& facts) {
    StatusProblems problems;
    bool unread = false;
    for (const Condition& condition : CONDITIONS) {
        if (!condition.holds(facts)) {
            problems.push_back(condition.kind());
        } else {
            unread =
                unread || (facts.probe && facts.probe->condition && (*facts.probe->condition & condition.bit) == 0);
        }
    }
    if (!knowsItsAddress(facts)) {
        problems.push_back(problem::kNoSwitchAddress());
    }
    if (hasProfiles(facts)) {
        addProfiles(facts, problems);
    }
    addSameServers(facts, problems);
    if (facts.probe && facts.probe->config.value_or(0) != 0) {
        problems.push_back(reading(facts));
    } else if (unread) {
        problems.push_back(problem::kUnread());
    }
    return problems;
}
