#include "switchctl/status/StatusFacts.h"

#include "platform/posix/Clock.h"
#include "switchctl/client/Attributes.h"
#include "switchctl/client/Management.h"
#include "switchctl/input/ProfileTable.h"
#include "switchctl/status/StatusWatch.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/ProbeTrace.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

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
    "Global.Callhome.DiscardPeriod",
    "Global.Network.Eth.0.NF-IPAddress",
    "Global.Network.Eth.0.IPv6IPAddress",
    "Global.Network.DNSClientEnable",
    "Global.Network.DNSLocalHostname",
    "Oper.Callhome.NF-ActiveSMTPAddr",
    "Oper.Callhome.ActiveSMTPPort",
};

using Values = std::map<std::string, std::string>;

// "0x3f", or "0" alone.
std::optional<std::uint32_t> bits(const Values& values, const char* key) {
    const auto found = values.find(key);
    const auto number = found == values.end() ? std::nullopt : Text::number(found->second, 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

// "100 (files)", or the number alone.
std::optional<std::uint32_t> count(const Values& values, const char* key) {
    const auto found = values.find(key);
    const auto number = found == values.end()
                            ? std::nullopt
                            : Text::number(found->second.substr(0, found->second.find(' ')), 0, UINT32_MAX);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

std::optional<bool> flag(const Values& values, const char* key) {
    const auto found = values.find(key);
    const bool known = found != values.end() && (found->second == "true" || found->second == "false");
    return known ? std::optional(found->second == "true") : std::nullopt;
}

StatusFacts::Probe probeOf(const std::string& probe) {
    const Values state = ProbeTrace::valuesIn(probe, DaemonWords::STATE);
    const Values queue = ProbeTrace::valuesIn(probe, DaemonWords::QUEUE);
    const Values captures = ProbeTrace::valuesIn(probe, DaemonWords::CAPTURES);
    const Values identity = ProbeTrace::valuesIn(probe, DaemonWords::PROBE_ENDS);
    const Values dialogue = ProbeTrace::valuesIn(probe, DaemonWords::DIALOGUE);
    return {bits(state, DaemonWords::CONDITION),
            bits(state, DaemonWords::CONFIG),
            flag(queue, DaemonWords::QUEUE_OPEN),
            flag(queue, DaemonWords::QUEUE_SETTINGS_READ),
            ProbeTrace::valuesIn(probe, DaemonWords::STATISTICS),
            count(queue, DaemonWords::PARKED),
            count(queue, DaemonWords::FILES_ALLOWED),
            count(queue, DaemonWords::SPACE_ALLOWED),
            count(captures, DaemonWords::CAPTURES_RUNNING).value_or(0),
            identity.contains(DaemonWords::SENDER) ? identity.at(DaemonWords::SENDER) : "",
            queue,
            dialogue.contains(DaemonWords::DIALOGUE_NAME) ? dialogue.at(DaemonWords::DIALOGUE_NAME) : "required"};
}

void askProbe(Session& session, StatusFacts& facts) {
    try {
        const std::string probe = ProbeTrace::ask(session);
        facts.probe = probeOf(probe);
        facts.traces.process = ProbeTrace::processOf(probe);
    } catch (const Refused& error) {
        facts.noProbe = error.what();
    }
}

// A daemon that cannot send its responses still answers a probe; whoever has been waited for in vain gets a second
// more.
void askDaemon(Session& session, StatusFacts& facts) {
    try {
        facts.queue = Management::queue(session);
    } catch (const SwitchdSilent&) {
        throw;
    } catch (const NoAnswer& error) {
        const auto patience = session.client.timeout();
        session.client.timeout(std::min<OperatorClient::Milliseconds>(patience, std::chrono::seconds(1)));
        facts.noAnswer = error.what();
        askProbe(session, facts);
        session.client.timeout(patience);
        facts.noResponse = std::exchange(facts.noAnswer, "");
        return;
    }
    askProbe(session, facts);
}

void askSwitch(Session& session, StatusFacts& facts) {
    facts.components = OperatorClient::decode<ComponentList>(session.client.call(OperatorCode::COMPONENTS)).components;
    facts.attributes = Attributes::get(session, KEYS);
    facts.profiles = ProfileTable(Attributes::list(session, ProfileTable::PREFIX)).profiles();
    facts.log = LogDigest::read(session);
}

// What is known without a question.
void readHere(StatusFacts& facts) {
    facts.traces = DaemonTraces::read(facts.traces.process);
    facts.flash = FlashFacts::read();
    const char* const unit = std::getenv("ORV_UNIT");
    facts.unit = unit != nullptr ? unit : "";
    const timeval now = hostClock().calendar();
    facts.now = std::int64_t{now.tv_sec} * 1000000 + now.tv_usec;
}

}  // namespace

StatusFacts StatusFacts::gather(Session& session, Ask ask) {
    StatusFacts facts;
    askSwitch(session, facts);
    if (facts.daemon() != nullptr && ask == Ask::DAEMON) {
        try {
            askDaemon(session, facts);
        } catch (const SwitchdSilent& error) {
            facts.noSwitchd = facts.noAnswer = error.what();
        } catch (const NoAnswer& error) {
            facts.noAnswer = facts.noAnswer.empty() ? error.what() : facts.noAnswer;
        } catch (const Refused& error) {
            facts.noAnswer = error.what();
        }
    }
    readHere(facts);
    if (ask == Ask::PASSIVE && facts.traces.system.stopped) {
        facts.noAnswer = "orvApp is stopped";
    }
    return facts;
}

StatusFacts lookAgain(Session& session, const std::optional<StatusFacts>& before) {
    StatusFacts facts;
    askSwitch(session, facts);
    const bool quiet = before && before->queue && before->log.latest == facts.log.latest;
    if (facts.daemon() != nullptr && quiet) {
        facts.queue = before->queue;
    } else if (facts.daemon() != nullptr) {
        try {
            facts.queue = Management::queue(session);
        } catch (const SwitchdSilent&) {
            throw;
        } catch (const std::runtime_error& error) {
            facts.noAnswer = error.what();
        }
    }
    readHere(facts);
    return facts;
}

Colour::Shade shadeOf(const StatusProblems& problems) {
    const ProblemState state = stateOf(problems);
    if (!canSend(state)) {
        return Colour::Shade::RED;
    }
    return state == ProblemState::NOTICE ? Colour::Shade::GREEN : Colour::Shade::YELLOW;
}

StatusFacts::Count StatusFacts::count(LogDigest::Trouble trouble) const {
    Count count;
    for (const LogDigest::Sign& sign : log.signs) {
        if (sign.trouble == trouble && sign.time >= traces.started.value_or(0)) {
            ++count.times;
            count.last = sign.time;
        }
    }
    return count;
}

const ComponentList::Component* StatusFacts::daemon() const {
    const auto found = std::ranges::find_if(
        components, [](const ComponentList::Component& component) { return Management::isDaemon(component.name); });
    return found == components.end() ? nullptr : &*found;
}

std::string StatusFacts::attribute(const std::string& key) const {
    const auto found = attributes.find(key);
    return found == attributes.end() ? "" : found->second;
}
