// What is wrong with the daemon itself: whether it is there, how it has started, whether its threads work, what it ran
// out of.
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <optional>
#include <span>

namespace {

using Trouble = LogDigest::Trouble;

// A start that takes longer has come to a halt.
constexpr std::int64_t LONGEST_START = 15 * SECOND;

// A start that something has ended for good.
struct BrokenStart {
    Trouble trouble;
    const KnownProblem<0>& kind;
};

// Of a daemon that has not come as far as to start its threads.
constexpr BrokenStart HALF_WAY[] = {
    {Trouble::READY_UNSENT, problem::kReadyUnsent},
    {Trouble::CONFIGURED_UNSENT, problem::kConfiguredUnsent},
};

constexpr BrokenStart STARTED[] = {
    {Trouble::NO_SEND_THREAD, problem::kSendThreadMissing},
    {Trouble::NO_LOG_EVENTS, problem::kLogUnsubscribed},
};

constexpr BrokenStart LIMPING[] = {
    {Trouble::NO_STATE_EVENTS, problem::kStateUnsubscribed},
    {Trouble::NO_ADDRESS_EVENTS, problem::kAddressUnsubscribed},
    {Trouble::NO_HOSTNAME_EVENTS, problem::kHostnameUnsubscribed},
    {Trouble::NO_CAPTURE_THREAD, problem::kCaptureThreadMissing},
    {Trouble::QUEUE_NOT_RESTORED, problem::kQueueUnrestored},
};

// Only what is known to be of this start keeps it from sending: the daemon may have been restarted since.
std::optional<StatusProblem> firstOf(std::span<const BrokenStart> table, const StatusFacts& facts) {
    for (const BrokenStart& one : table) {
        if (facts.traces.started && facts.count(one.trouble).times != 0) {
            return one.kind();
        }
    }
    return std::nullopt;
}

// With the time, where it may be of an earlier start.
void addAll(std::span<const BrokenStart> table, const StatusFacts& facts, StatusProblems& problems) {
    for (const BrokenStart& one : table) {
        const auto count = facts.count(one.trouble);
        if (count.times == 0) {
            continue;
        }
        problems.push_back(one.kind());
        if (!facts.traces.started) {
            problems.back().state = ProblemState::FAILING;
            problems.back().text = momentText(count.last) + ": " + problems.back().text;
            problems.back().remedy += ", unless it was restarted since";
        }
    }
}

StatusProblem absence(const DaemonTraces& traces) {
    if (traces.system.alive) {
        return problem::kDaemonUnregistered(std::to_string(traces.process));
    }
    return problem::kDaemonAbsent(
        traces.failedStart.empty() ? "" : ": its last start ended with \"" + Text::oneLine(traces.failedStart) + "\"");
}

StatusProblem silence(const StatusFacts& facts) {
    if (!facts.noSwitchd.empty()) {
        return problem::kSwitchdSilent(facts.noSwitchd);
    }
    const std::string process = std::to_string(facts.traces.process);
    return facts.traces.system.stopped ? problem::kDaemonStopped(process, process)
                                       : problem::kDaemonSilent(facts.noAnswer);
}

StatusProblem halfWay(const StatusFacts& facts) {
    if (facts.traces.lookupsUnsent) {
        return problem::kLookupsUnsent();
    }
    if (facts.traces.readyUnsent) {
        return problem::kReadyUnsent();
    }
    if (auto problem = firstOf(HALF_WAY, facts)) {
        return std::move(*problem);
    }
    const std::string state = stateName(facts.daemon()->state);
    const std::int64_t age = facts.now - facts.traces.started.value_or(facts.now);
    return age > LONGEST_START ? problem::kStartHalted(durationText(age), state) : problem::kStarting(state);
}

// It opens at the first second after both: the settings were read, and the event server has answered the start.
std::optional<StatusProblem> closedQueue(const StatusFacts& facts) {
    if (!facts.probe || facts.probe->queueOpen != false || facts.probe->config != 0u) {
        return std::nullopt;
    }
    return facts.probe->queueSettingsRead == false ? problem::kQueueSettingsUnread() : problem::kEventsUnanswered();
}

// What keeps it from sending anything; nothing when it works.
std::optional<StatusProblem> standstill(const StatusFacts& facts) {
    if (facts.daemon() == nullptr) {
        return absence(facts.traces);
    }
    if (!facts.noAnswer.empty()) {
        return silence(facts);
    }
    if (facts.daemon()->state != ComponentState::STARTED) {
        return halfWay(facts);
    }
    if (facts.traces.sendThread == DaemonTraces::SendThread::ENDED) {
        return problem::kSendThreadEnded();
    }
    if (facts.traces.clockStopped) {
        return problem::kTickStopped();
    }
    if (auto problem = firstOf(STARTED, facts)) {
        return problem;
    }
    return closedQueue(facts);
}

void addShortages(const StatusFacts& facts, StatusProblems& problems) {
    const auto when = [](const StatusFacts::Count& count) {
        return count.times == 0 ? "" : ", last at " + momentText(count.last);
    };
    const auto memory = facts.count(Trouble::OUT_OF_MEMORY);
    if (memory.times != 0) {
        problems.push_back(problem::kOutOfMemory(when(memory)));
    }
    const auto descriptors = facts.count(Trouble::OUT_OF_DESCRIPTORS);
    if (descriptors.times != 0 || facts.traces.outOfDescriptors) {
        problems.push_back(problem::kOutOfDescriptors(when(descriptors)));
    }
}

}  // namespace

StatusProblems daemonProblems(const StatusFacts& facts) {
    StatusProblems problems;
    if (auto problem = standstill(facts)) {
        problems.push_back(std::move(*problem));
    }
    if (!facts.traces.started) {
        addAll(HALF_WAY, facts, problems);
        addAll(STARTED, facts, problems);
    }
    addAll(LIMPING, facts, problems);
    addShortages(facts, problems);
    if (facts.traces.sendThread == DaemonTraces::SendThread::SILENT && facts.daemon() != nullptr &&
        facts.daemon()->state == ComponentState::STARTED) {
        problems.push_back(problem::kSendThreadQuiet());
    }
    if (!facts.noResponse.empty()) {
        problems.push_back(problem::kResponsesLost());
    }
    if (facts.traces.system.alive && facts.traces.system.other != 0) {
        const std::string other = std::to_string(facts.traces.system.other);
        problems.push_back(problem::kSecondDaemon(other, other));
    }
    if (!facts.noProbe.empty()) {
        problems.push_back(problem::kFactsMissing(facts.noProbe));
    } else if (facts.probe && !facts.probe->condition) {
        problems.push_back(problem::kFactsMissing("its probe has other words than this command knows"));
    }
    return problems;
}
