#include "switchctl/status/StatusReport.h"

#include "orv_version.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/JsonTime.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"
#include "switchctl/traces/DaemonWords.h"

#include <algorithm>
#include <iterator>

namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr std::size_t SCREEN = 80;  // columns
constexpr const char* SPACE_QUOTA = "Global.Callhome.FileSystemSpaceAllowed";
constexpr const char* FILES_QUOTA = "Global.Callhome.FilesAllowed";

// Counters of the daemon's probe, since its start.
struct Loss {
    const char* key;   // in the probe
    const char* name;  // in JSON
    const char* text;
};

constexpr Loss LOSSES[] = {
    {DaemonWords::DELETED_FOR_SPACE, "space", " for space, "},
    {DaemonWords::DELETED_FOR_FILE_LIMIT, "fileLimit", " for the file limit, "},
    {DaemonWords::DELETED_FOR_TIME, "age", " for age, "},
    {DaemonWords::DELETED_FOR_CLEAR, "cleared", " cleared, "},
    {DaemonWords::NOT_ADDED, "notAdded", " not added"},
};

std::int64_t secondsUntil(const LogDigest::Retry& retry, std::int64_t now) {
    return std::max<std::int64_t>(0, (retry.due - now + SECOND - 1) / SECOND);
}

std::string numbered(const StatusProblems& problems) {
    std::string text;
    for (std::size_t number = 0; number < problems.size(); ++number) {
        text += "  " + std::to_string(number + 1) + ". " + problems[number].text + "\n       " +
                problems[number].remedy + "\n";
    }
    return text;
}

StatusProblems only(const StatusProblems& problems, bool (*wanted)(const StatusProblem&)) {
    StatusProblems result;
    std::ranges::copy_if(problems, std::back_inserter(result), wanted);
    return result;
}

bool needsAPerson(const StatusProblem& problem) {
    return problem.state != ProblemState::NOTICE;
}

std::string heading(const StatusProblems& problems) {
    const ProblemState state = stateOf(problems);
    const char* const title = !canSend(state) ? "CallHome cannot send. What to mend, in this order:\n"
                              : state == ProblemState::NOTICE
                                  ? "CallHome can send.\n"
                                  : "CallHome can send.\nSomething is failing. What to mend, in this order:\n";
    return title + numbered(only(problems, needsAPerson));
}

// What nobody has to mend stands last.
std::string noticeLines(const StatusProblems& problems) {
    const auto notices = only(problems, [](const StatusProblem& one) { return !needsAPerson(one); });
    return notices.empty() ? "" : "worth knowing\n" + numbered(notices);
}

std::string componentWords(const StatusFacts& facts) {
    std::string text;
    for (const auto& component : facts.components) {
        text += (text.empty() ? "" : ", ") + Text::oneLine(component.name) + " " + stateName(component.state) + " (" +
                std::to_string(component.node) + "." + std::to_string(component.process) + ")";
    }
    return text.empty() ? "none" : text;
}

std::string serverWords(const StatusServer& server) {
    return server.address.empty()
               ? "none"
               : Text::oneLine(server.address + ":" + server.port) + (server.enabled ? "" : " (off)");
}

// Words and negative numbers mean none.
std::int64_t numberOfProfiles(const StatusFacts& facts) {
    return Text::number(facts.attribute("Global.CallhomeDB.NumberOfProfiles"), 0, INT32_MAX).value_or(0);
}

std::string senderWords(const StatusFacts& facts) {
    constexpr std::size_t ROOM = 60;
    const std::string sender = Text::oneLine(Text::trim(facts.attribute("Global.Callhome.FromAddr")));
    if (sender.empty() || sender == "<undefined>") {
        return "none";
    }
    return sender.size() > ROOM ? sender.substr(0, ROOM) + "..." : sender;
}

// "3 of 100", "(full)" behind it when there is no more room.
std::string used(std::uint32_t number, const std::string& quota, const std::string& unit) {
    const auto allowed = Text::number(quota, 0, UINT32_MAX);
    const std::string full = allowed && number >= *allowed ? " (full)" : "";
    return std::to_string(number) + (allowed ? " of " + std::to_string(*allowed) : "") + " " + unit + full;
}

std::string queueWords(const StatusFacts& facts) {
    if (!facts.queue) {
        return "not known";
    }
    const std::uint32_t parked = facts.probe ? facts.probe->parked.value_or(0) : 0;
    const std::string kept = !facts.noProbe.empty() ? "how many are kept to count repeats not known, "
                             : parked == 0          ? ""
                                                    : std::to_string(parked) + " mailed and kept to count repeats, ";
    return used(facts.queue->waiting, facts.attribute(FILES_QUOTA), "waiting") + ", " +
           std::to_string(facts.queue->open) + " open, " + kept +
           used(facts.queue->bytesInUse, facts.attribute(SPACE_QUOTA), "bytes");
}

std::string retryWords(const StatusFacts& facts, std::int64_t now) {
    const LogDigest::Retry* retry = pendingRetry(facts);
    if (retry == nullptr) {
        return "none";
    }
    const std::int64_t seconds = secondsUntil(*retry, now);
    return (seconds == 0 ? "due" : "in " + std::to_string(seconds) + " s") + " through " + Text::oneLine(retry->server);
}

std::string stampOf(const LogDigest::Failure& failure) {
    return Text::timestamp(failure.time / SECOND, static_cast<std::int32_t>(failure.time % SECOND));
}

std::string failureWords(const StatusFacts& facts) {
    const auto& failure = facts.log.lastFailure;
    return failure ? stampOf(*failure) + (failure->recovered ? ", recovered since" : "") : "none";
}

std::string lossWords(const StatusFacts& facts) {
    if (!facts.probe) {
        return facts.noProbe.empty() ? "not known" : "not known: " + facts.noProbe;
    }
    std::string text;
    for (const Loss& loss : LOSSES) {
        const auto found = facts.probe->statistics.find(loss.key);
        text += (found == facts.probe->statistics.end() ? "?" : found->second) + loss.text;
    }
    return text;
}

std::string clockWords(const StatusFacts& facts) {
    return momentText(facts.now) + (facts.traces.zone.empty() ? "" : ", orvApp's zone is " + facts.traces.zone);
}

std::string givenUpWords(const LogDigest& log) {
    return std::to_string(log.recipientsGivenUp) + " recipients, " + std::to_string(log.mailsGivenUp) + " mails, " +
           std::to_string(log.messagesNotQueued) + " messages not queued";
}

Json json(const StatusServer& server) {
    Json object;
    object.set("address", server.address).setNull("port").set("enabled", server.enabled);
    if (const auto port = Text::number(server.port, 0, UINT16_MAX)) {
        object.set("port", *port);
    }
    return object;
}

Json problemsJson(const StatusProblems& problems) {
    Json list = Json::array();
    for (const StatusProblem& problem : problems) {
        list.add(Json()
                     .set("cause", problem.cause)
                     .set("text", problem.text)
                     .set("remedy", problem.remedy)
                     .set("id", problem.id)
                     .set("state", nameOf(problem.state)));
    }
    return list;
}

Json componentsJson(const StatusFacts& facts) {
    Json list = Json::array();
    for (const auto& component : facts.components) {
        list.add(Json()
                     .set("name", component.name)
                     .set("state", stateName(component.state))
                     .set("node", component.node)
                     .set("process", component.process));
    }
    return list;
}

void addNumber(Json& object, const std::string& name, const std::string& text) {
    if (const auto number = Text::number(text, INT32_MIN, UINT32_MAX)) {
        object.set(name, *number);
    } else {
        object.setNull(name);
    }
}

Json queueJson(const StatusFacts& facts) {
    Json object;
    object.set("bytesInUse", facts.queue->bytesInUse)
        .set("waiting", facts.queue->waiting)
        .set("open", facts.queue->open);
    addNumber(object, "bytesAllowed", facts.attribute(SPACE_QUOTA));
    addNumber(object, "messagesAllowed", facts.attribute(FILES_QUOTA));
    return object;
}

Json discardedJson(const StatusFacts::Probe& probe) {
    Json object;
    for (const Loss& loss : LOSSES) {
        const auto found = probe.statistics.find(loss.key);
        addNumber(object, loss.name, found == probe.statistics.end() ? "" : found->second);
    }
    return object;
}

void addLog(Json& object, const StatusFacts& facts, std::int64_t now) {
    const LogDigest::Retry* retry = pendingRetry(facts);
    const auto& failure = facts.log.lastFailure;
    object.setNull("retry").setNull("lastFailure");
    if (retry != nullptr) {
        object.set("retry", Json().set("server", retry->server).set("seconds", secondsUntil(*retry, now)));
    }
    if (failure) {
        object.set("lastFailure", Json()
                                      .set("time", jsonTime(stampOf(*failure)))
                                      .set("text", failure->text)
                                      .set("recovered", failure->recovered));
    }
    object.set("givenUp", Json()
                              .set("recipients", facts.log.recipientsGivenUp)
                              .set("mails", facts.log.mailsGivenUp)
                              .set("notQueued", facts.log.messagesNotQueued));
}

void addMore(Json& object, const StatusFacts& facts) {
    object.setNull("parked").setNull("zone").setNull("dialogue");
    if (facts.probe && facts.probe->parked) {
        object.set("parked", *facts.probe->parked);
    }
    if (!facts.traces.zone.empty()) {
        object.set("zone", facts.traces.zone);
    }
    if (facts.probe) {
        object.set("dialogue", facts.probe->dialogue);
    }
}

}  // namespace

std::string statusLines(const StatusFacts& facts, const StatusProblems& problems) {
    Rows rows = {
        {"components", componentWords(facts)},
        {"mail servers",
         serverWords(StatusServer::configured(facts, "")) + ", " + serverWords(StatusServer::configured(facts, "1"))},
        {"active", serverWords(StatusServer::active(facts))},
        {"sender", senderWords(facts)},
        {"profiles", std::to_string(numberOfProfiles(facts))},
        {"queue", queueWords(facts)},
        {"retry", retryWords(facts, facts.now)},
        {"discarded", lossWords(facts)},
        {"given up", givenUpWords(facts.log)},
        {"clock", clockWords(facts)},
        {"version", ORV_VERSION},
        {"last failure", failureWords(facts)},
    };
    // Nothing of the one that everybody expects.
    if (facts.probe && facts.probe->dialogue != "required") {
        rows.insert(rows.begin() + 3, {"dialogue", Text::oneLine(facts.probe->dialogue)});
    }
    const auto& failure = facts.log.lastFailure;
    return heading(problems) + Text::table(rows) +
           (failure ? Text::folded(Text::oneLine(failure->text), SCREEN, "    ") : "") + noticeLines(problems);
}

Json statusJson(const StatusFacts& facts, const StatusProblems& problems) {
    const ProblemState state = stateOf(problems);
    Json object;
    object.set("canSend", canSend(state))
        .set("problems", problemsJson(only(problems, needsAPerson)))
        .set("components", componentsJson(facts))
        .set("primary", json(StatusServer::configured(facts, "")))
        .set("secondary", json(StatusServer::configured(facts, "1")))
        .set("active", json(StatusServer::active(facts)))
        .set("sender", facts.attribute("Global.Callhome.FromAddr"));
    object.set("profiles", numberOfProfiles(facts));
    object.setNull("queue").setNull("discarded");
    if (facts.queue) {
        object.set("queue", queueJson(facts));
    }
    if (facts.probe) {
        object.set("discarded", discardedJson(*facts.probe));
    }
    addLog(object, facts, facts.now);
    object.set("warnings", problemsJson(only(problems, [](const StatusProblem& one) { return canSend(one.state); })));
    object.set("state", statusWord(state));
    addMore(object, facts);
    object.set("version", ORV_VERSION);
    return object;
}

void endWithStatus(const StatusFacts& facts, const StatusProblems& problems) {
    for (const std::string& silence : {facts.noAnswer, facts.noResponse}) {
        if (!silence.empty()) {
            throw NoAnswer(silence);
        }
    }
    if (stateOf(problems) != ProblemState::NOTICE) {
        throw NeedsAPerson();
    }
}
