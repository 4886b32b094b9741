#include "switchctl/StatusVerdict.h"
#include "switchctl/Text.h"

#include <span>

namespace {

using Trouble = LogDigest::Trouble;

constexpr const char* CAUSE = "daemon";
constexpr const char* RESTART = "restart orvApp";

// A start that something has ended for good.
struct BrokenStart {
    Trouble trouble;
    const char* text;
};

// Of a daemon that has not come as far as to start its threads.
constexpr BrokenStart HALF_WAY[] = {
    {Trouble::READY_UNSENT, "orvApp could not say that it is ready, so it is never told to read its configuration"},
    {Trouble::CONFIGURED_UNSENT, "orvApp could not say that it has read its configuration, so its threads never start"},
};

constexpr BrokenStart STARTED[] = {
    {Trouble::NO_SEND_THREAD, "orvApp could not start its send thread: no mail leaves"},
    {Trouble::NO_LOG_EVENTS, "orvApp could not subscribe to the switch's log: no event becomes a mail"},
};

constexpr BrokenStart WARNINGS[] = {
    {Trouble::NO_STATE_EVENTS, "orvApp could not subscribe to the switch's state: no mail tells of its changes"},
    {Trouble::NO_ADDRESS_EVENTS,
     "orvApp could not subscribe to the switch's addresses: it does not notice their changes"},
    {Trouble::NO_HOSTNAME_EVENTS,
     "orvApp could not subscribe to the switch's host name: it does not notice its changes"},
    {Trouble::NO_CAPTURE_THREAD, "orvApp could not start its capture thread: no capture is made"},
    {Trouble::QUEUE_NOT_RESTORED, "orvApp could not restore a queue: what it holds on flash is not mailed"},
};

struct Shortage {
    Trouble trouble;
    const char* what;
    const char* consequence;
    const char* remedy;
};

constexpr Shortage SHORTAGES[] = {
    {Trouble::OUT_OF_MEMORY, "memory", "events may be lost", "give orvApp more memory, then restart orvApp"},
    {Trouble::OUT_OF_DESCRIPTORS, "file descriptors", "mails may wait, and messages may not be kept on flash",
     "raise orvApp's limit of open files (ulimit -n), then restart orvApp"},
};

StatusProblem restart(const std::string& text) {
    return {CAUSE, text, RESTART};
}

std::string timeOf(std::int64_t microseconds) {
    constexpr std::int64_t SECOND = 1000000;
    return Text::timestamp(microseconds / SECOND, static_cast<std::int32_t>(microseconds % SECOND));
}

// Only what is known to be of this start keeps it from sending: the daemon may have been restarted since.
std::optional<StatusProblem> firstOf(std::span<const BrokenStart> table, const StatusFacts& facts) {
    for (const BrokenStart& one : table) {
        if (facts.traces.started && facts.count(one.trouble).times != 0) {
            return restart(one.text);
        }
    }
    return std::nullopt;
}

// With the time, where it may be of an earlier start.
void addAll(std::span<const BrokenStart> table, const StatusFacts& facts, std::vector<StatusProblem>& warnings) {
    for (const BrokenStart& one : table) {
        const auto count = facts.count(one.trouble);
        if (count.times != 0) {
            warnings.push_back(facts.traces.started
                                   ? restart(one.text)
                                   : StatusProblem{CAUSE, timeOf(count.last) + ": " + one.text,
                                                   std::string(RESTART) + ", unless it was restarted since"});
        }
    }
}

StatusProblem absence(const DaemonTraces& traces) {
    if (traces.alive) {
        return restart("orvApp runs (process " + std::to_string(traces.process) + "), but has not registered");
    }
    const std::string why =
        traces.failedStart.empty() ? "" : ": its last start ended with \"" + Text::oneLine(traces.failedStart) + "\"";
    return {CAUSE, "orvApp does not run" + why, "orvApp"};
}

StatusProblem halfWay(const StatusFacts& facts) {
    if (facts.traces.lookupsUnsent) {
        return restart("orvApp could not ask where the switch's services are, so it never reads its configuration");
    }
    if (facts.traces.readyUnsent) {
        return restart(HALF_WAY[0].text);
    }
    if (auto problem = firstOf(HALF_WAY, facts)) {
        return std::move(*problem);
    }
    return {CAUSE, "orvApp is starting: it is " + stateName(facts.daemon()->state), "switchctl wait orvApp started"};
}

// It opens at the first second after both: the settings were read, and the event server has answered the start.
std::optional<StatusProblem> closedQueue(const StatusFacts& facts) {
    if (!facts.probe || facts.probe->queueOpen != false || facts.probe->config != 0u) {
        return std::nullopt;
    }
    if (facts.probe->queueSettingsRead == false) {
        return StatusProblem{CAUSE, "orvApp has not opened its queue: it could not read the queue's settings",
                             "switchctl callhome profile-change"};
    }
    return StatusProblem{CAUSE, "orvApp has not opened its queue: the event server has not answered it so far",
                         "switchctl status; where it still says so after some seconds, restart orvApp"};
}

}  // namespace

std::optional<StatusProblem> daemonProblem(const StatusFacts& facts) {
    if (facts.daemon() == nullptr) {
        return absence(facts.traces);
    }
    if (!facts.noAnswer.empty()) {
        return restart(facts.noAnswer);
    }
    if (facts.daemon()->state != ComponentState::STARTED) {
        return halfWay(facts);
    }
    if (facts.traces.sendThread == DaemonTraces::SendThread::ENDED) {
        return restart("orvApp's send thread has ended: no mail leaves");
    }
    if (facts.traces.clockStopped) {
        return restart("orvApp could not start its clock: no mail leaves");
    }
    if (auto problem = firstOf(STARTED, facts)) {
        return problem;
    }
    return closedQueue(facts);
}

std::vector<StatusProblem> daemonWarnings(const StatusFacts& facts) {
    std::vector<StatusProblem> warnings;
    if (!facts.traces.started) {
        addAll(HALF_WAY, facts, warnings);
        addAll(STARTED, facts, warnings);
    }
    addAll(WARNINGS, facts, warnings);
    for (const Shortage& shortage : SHORTAGES) {
        const auto count = facts.count(shortage.trouble);
        const bool traced = shortage.trouble == Trouble::OUT_OF_DESCRIPTORS && facts.traces.outOfDescriptors;
        if (count.times != 0 || traced) {
            const std::string when = count.times == 0 ? "" : ", last at " + timeOf(count.last);
            warnings.push_back({CAUSE,
                                std::string("orvApp ran out of ") + shortage.what + when + ": " + shortage.consequence,
                                shortage.remedy});
        }
    }
    if (facts.traces.sendThread == DaemonTraces::SendThread::SILENT && facts.daemon() != nullptr &&
        facts.daemon()->state == ComponentState::STARTED) {
        warnings.push_back({CAUSE, "orvApp's send thread has traced nothing so far: it may not run",
                            "switchctl callhome test NAME; where nothing is sent, restart orvApp"});
    }
    if (!facts.noResponse.empty()) {
        warnings.push_back(restart("orvApp answers its probe and no request: it does not know where its answers go"));
    }
    if (facts.traces.repliesOutOfStep) {
        warnings.push_back(
            {"server",
             "the mail server sends its replies in pieces, or more than it is asked for: orvApp may take "
             "a refused mail for a delivered one",
             "look into the mail server's log for what it took; let it send each reply at once"});
    }
    return warnings;
}
