// What is wrong with the mail servers by what they said when they were asked.
#include "switchctl/status/ReplyVerdict.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace {

using Kind = VisitStage::Kind;
using Outcome = VisitStage::Outcome;

// A stage that has had less of the time than this part was not given a chance.
constexpr std::int64_t FAIR_PART = 4;
constexpr const char* SMTPS_PORT = ":465";

std::string whole(std::int64_t milliseconds) {
    return std::to_string((milliseconds + 500) / 1000);
}

std::string waitedFor(const VisitStage& stage) {
    return stage.kind == Kind::GREETING ? "the greeting" : "the reply to " + stage.asked;
}

// Remedies name the first server.
StatusProblem ofServer(const ServerVisit& visit, StatusProblem found) {
    return visit.second ? StatusServer::ofSecondary(std::move(found)) : found;
}

StatusProblem timeOver(const OutsideFacts& outside, const ServerVisit& visit, const VisitStage& stage) {
    const std::string at = stage.asked.empty() ? stage.name() : stage.asked;
    return problem::kVisitUnfinished(visit.server, at, std::to_string(outside.seconds * 6));
}

StatusProblem unconnected(const ServerVisit& visit, const VisitStage& stage) {
    if (stage.outcome == Outcome::TIMED_OUT) {
        return problem::kServerUnreachable(visit.server,
                                           "nothing has come back in " + whole(stage.milliseconds) +
                                               " s; the machine is off, or a firewall drops what is sent there");
    }
    const bool refused = stage.words == std::strerror(ECONNREFUSED);
    return problem::kServerUnreachable(
        visit.server, stage.words + (refused ? "; the machine is there, and nothing listens at that port" : ""));
}

StatusProblem unresolved(const ServerVisit& visit, const VisitStage& stage) {
    if (!visit.byName) {
        return problem::kServerAddress(visit.server, stage.words);
    }
    return problem::kServerUnresolved(visit.server,
                                      stage.outcome == Outcome::TIMED_OUT
                                          ? "the name service has not answered for " + whole(stage.milliseconds) + " s"
                                          : stage.words);
}

// One that says nothing at the port for encrypted connections waits for the encryption to begin.
StatusProblem silent(const ServerVisit& visit, const VisitStage& stage) {
    if (stage.kind == Kind::GREETING && visit.server.ends_with(SMTPS_PORT)) {
        return problem::kEncryptionWanted(visit.server, "it says nothing; port 465 is for encrypted connections");
    }
    return problem::kServerSilent(waitedFor(stage), visit.server, whole(stage.milliseconds), "300");
}

StatusProblem problemOf(const StatusFacts& facts, const ServerVisit& visit, const VisitStage& stage) {
    const bool early = stage.milliseconds * FAIR_PART < facts.outside->seconds * 1000;
    if (stage.outcome == Outcome::TIMED_OUT && early) {
        return timeOver(*facts.outside, visit, stage);
    }
    switch (stage.kind) {
        case Kind::NAME:
            return unresolved(visit, stage);
        case Kind::ROUTE:
            return problem::kServerUnroutable(visit.server, stage.words);
        case Kind::CONNECT:
            return unconnected(visit, stage);
        default:
            break;
    }
    switch (stage.outcome) {
        case Outcome::TIMED_OUT:
            return silent(visit, stage);
        case Outcome::CLOSED:
            return problem::kServerBreaksOff(visit.server, "it closed it instead of sending " + waitedFor(stage));
        case Outcome::FAILED:
            return problem::kServerFails(visit.server, stage.words);
        default:
            return ReplyVerdict::of({visit.server, stage.kind == Kind::GREETING ? "" : stage.asked, stage.words,
                                     facts.attribute("Global.Callhome.FromAddr")});
    }
}

bool otherWorks(const StatusFacts& facts, const ServerVisit& visit) {
    return std::ranges::any_of(facts.outside->visits,
                               [&](const ServerVisit& other) { return other.server != visit.server && other.works(); });
}

void addFailure(const StatusFacts& facts, const ServerVisit& visit, StatusProblems& problems) {
    const VisitStage* const stage = visit.failure();
    if (stage == nullptr) {
        return;
    }
    problems.push_back(ofServer(visit, problemOf(facts, visit, *stage)));
    if (problems.back().state == ProblemState::BLOCKED && otherWorks(facts, visit)) {
        problems.back().state = ProblemState::FAILING;
    }
}

void addPieces(const ServerVisit& visit, StatusProblems& problems) {
    constexpr std::size_t ROOM = 60;
    if (!visit.pieces) {
        return;
    }
    const auto& [asked, count, first, unasked] = *visit.pieces;
    const std::string where = asked.empty() ? "its greeting" : "its reply to " + asked.substr(0, ROOM);
    const std::string what = unasked ? "sends more than it is asked for with " + where
                                     : "sends " + where + " in " + std::to_string(count) + " pieces";
    std::string taken = first.substr(0, ROOM);
    std::erase(taken, '\r');
    taken.erase(taken.find_last_not_of('\n') + 1);
    problems.push_back(problem::kRepliesInPieces(visit.server, what, taken));
}

void addSizeLimit(const StatusFacts& facts, const ServerVisit& visit, StatusProblems& problems) {
    constexpr std::int64_t PRESET = 2000000;
    for (std::size_t number = 0; visit.largestMail && number < facts.profiles.size(); ++number) {
        const ProfileTable::Profile& profile = facts.profiles[number];
        const auto size = Text::number(profile.field("MaxSize"), 0, INT64_MAX).value_or(PRESET);
        if (!profile.name.empty() && static_cast<std::uint64_t>(size) > *visit.largestMail) {
            const std::string limit = std::to_string(*visit.largestMail);
            problems.push_back(problem::kMailSizeLimit(visit.server, limit, profile.name, std::to_string(size),
                                                       std::to_string(number), limit));
        }
    }
}

// Nobody at all would get a mail, by any server.
void addAllRefused(const StatusFacts& facts, StatusProblems& problems) {
    const auto& visits = facts.outside->visits;
    const bool refuses = std::ranges::any_of(
        visits, [](const ServerVisit& visit) { return visit.failure() == nullptr && !visit.works(); });
    if (refuses && std::ranges::none_of(visits, &ServerVisit::works)) {
        problems.push_back(problem::kAllRefused());
    }
}

std::string addressIn(const VisitStage& stage) {
    const std::size_t begin = stage.asked.find('<') + 1;
    return stage.asked.substr(begin, stage.asked.rfind('>') - begin);
}

// Its profile's number and its own, as the attributes have them.
std::pair<std::string, std::string> placeOf(const StatusFacts& facts, const VisitStage& stage) {
    for (std::size_t number = 0; number < facts.profiles.size(); ++number) {
        const auto addresses = facts.profiles[number].emails();
        const auto found = std::ranges::find(addresses, addressIn(stage));
        if (facts.profiles[number].name == stage.profile && found != addresses.end()) {
            return {std::to_string(number), std::to_string(found - addresses.begin())};
        }
    }
    return {};
}

StatusProblem refusedRecipient(const StatusFacts& facts, const ServerVisit& visit, const VisitStage& stage) {
    const auto [number, position] = placeOf(facts, stage);
    return ofServer(visit, ReplyVerdict::ofRecipient(
                               {visit.server, stage.profile, addressIn(stage), number, position, stage.words}));
}

// Each text once: a server that wants a login says so of every recipient.
void addRecipients(const StatusFacts& facts, const ServerVisit& visit, StatusProblems& problems) {
    for (const VisitStage& stage : visit.stages) {
        if (stage.kind != Kind::RECIPIENT || stage.outcome != Outcome::REFUSED || &stage == visit.failure()) {
            continue;
        }
        StatusProblem found = refusedRecipient(facts, visit, stage);
        if (std::ranges::find(problems, found.text, &StatusProblem::text) == problems.end()) {
            problems.push_back(std::move(found));
        }
    }
}

}  // namespace

StatusProblems outsideProblems(const StatusFacts& facts) {
    StatusProblems problems;
    if (!facts.outside) {
        return problems;
    }
    for (const ServerVisit& visit : facts.outside->visits) {
        addFailure(facts, visit, problems);
        addPieces(visit, problems);
        addSizeLimit(facts, visit, problems);
    }
    addAllRefused(facts, problems);
    for (const ServerVisit& visit : facts.outside->visits) {
        addRecipients(facts, visit, problems);
    }
    return problems;
}
