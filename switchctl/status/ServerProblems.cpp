// What is wrong with the mail servers: one that says nothing, and what those that have failed said.
#include "switchctl/status/ReplyVerdict.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <netdb.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace {

using Failure = MailFailures::Server;
using Stage = MailFailures::Stage;

// A server may think about a reply for so long.
constexpr std::int64_t PATIENCE = 5 * SECOND;

// How long the daemon waits, by what the command begins with.
struct Limit {
    std::string_view command;
    const char* seconds;
};
constexpr Limit LIMITS[] = {{"DATA", "120"}, {".", "600"}, {"QUIT", "5"}, {"", "300"}};

// The stage that the send thread waits in, when it has a message and hears nothing.
struct Waiting {
    std::string what;
    std::int64_t since = 0;
    const char* limit = "300";
};

// When the message went to the send thread. Probes soon push that out of the main trace: then it was when the message
// came, or when its next try was due.
std::optional<std::int64_t> openedAt(const StatusFacts& facts) {
    if (facts.traces.opened || !facts.flash.oldestWaiting) {
        return facts.traces.opened;
    }
    const std::int64_t due = facts.log.retry ? std::min(facts.log.retry->due, facts.now) : 0;
    return std::max({*facts.flash.oldestWaiting, due, facts.traces.started.value_or(0)});
}

std::optional<Waiting> waiting(const StatusFacts& facts) {
    const SendTrace& send = facts.traces.send;
    const auto opened = openedAt(facts);
    if (!facts.queue || facts.queue->open == 0 || !opened) {
        return std::nullopt;
    }
    const bool begun = send.lastTime() >= *opened;
    if (begun && send.asked()) {
        const auto* const limit =
            std::ranges::find_if(LIMITS, [&](const Limit& one) { return send.asked()->starts_with(one.command); });
        constexpr std::size_t ROOM = 60;
        return Waiting{"the reply to " + (*send.asked() == "." ? "the mail" : send.asked()->substr(0, ROOM)),
                       send.lastTime(), limit->seconds};
    }
    if (begun && send.inDialogue()) {
        return std::nullopt;
    }
    const auto port = Text::number(StatusServer::active(facts).port, 1, UINT16_MAX);
    const bool connects = port && DaemonProcess::connects(static_cast<std::uint16_t>(*port));
    return Waiting{connects ? "a connection" : "the greeting", std::max(send.lastTime(), *opened)};
}

void addSilence(const StatusFacts& facts, StatusProblems& problems) {
    const auto wait = waiting(facts);
    if (wait && facts.now - wait->since > PATIENCE) {
        const std::int64_t seconds = (facts.now - wait->since) / SECOND;
        problems.push_back(problem::kServerSilent(wait->what, StatusServer::active(facts).text(),
                                                  std::to_string(seconds), wait->limit));
    }
}

// The command that was refused so, "" for none before the greeting; nothing where the trace does not tell.
std::optional<std::string> refusedCommand(const StatusFacts& facts, const Failure& failure) {
    const auto& refusal = facts.traces.send.refusal();
    const bool same = refusal && refusal->text.starts_with(failure.response.substr(0, 3));
    return same ? std::optional(refusal->command) : std::nullopt;
}

StatusProblem problemOf(const StatusFacts& facts, const Failure& failure) {
    const std::string& server = failure.server;
    switch (failure.stage()) {
        case Stage::RESPONSE:
            if (failure.response.empty()) {
                break;
            }
            return ReplyVerdict::of({server, refusedCommand(facts, failure), failure.response,
                                     facts.attribute("Global.Callhome.FromAddr")});
        case Stage::RESOLVE:
            return problem::kServerUnresolved(server, failure.description);
        case Stage::CONNECT:
            return problem::kServerUnreachable(server, failure.description);
        case Stage::CLOSED:
            return problem::kServerBreaksOff(server, failure.withoutError() ? "it closed it" : failure.description);
        case Stage::OTHER:
            break;
    }
    return problem::kServerFails(server, failure.reason + ", " + failure.description);
}

// A server that has taken a mail since has not failed any more; so the trace may tell, where the log does not.
bool isOver(const StatusFacts& facts, const Failure& failure) {
    return StatusServer::active(facts).text() == failure.server && facts.traces.send.lastTaken() > failure.time;
}

// What was wrong with one mail alone is over when it is gone.
bool isGone(const StatusFacts& facts, const StatusProblem& found) {
    return found.id == std::string_view(problem::kMailTooLarge.id) && facts.queue && facts.queue->waiting == 0 &&
           facts.queue->open == 0;
}

// One that is configured and has not failed: it is tried next.
bool hasFreshServer(const StatusFacts& facts) {
    return std::ranges::any_of(std::array{"", "1"}, [&](const char* suffix) {
        const StatusServer server = StatusServer::configured(facts, suffix);
        return server.usable() && std::ranges::none_of(facts.log.mail.servers(), [&](const Failure& failure) {
                   return failure.server == server.text();
               });
    });
}

// What a server has just said counts for more than what it said before, but for mails: none was offered.
bool isAsked(const StatusFacts& facts, const Failure& failure, const StatusProblem& found) {
    const bool aboutMail =
        found.id == std::string_view(problem::kMailTooLarge.id) || found.id == problem::kServerRefuses.id;
    return !aboutMail && facts.outside && facts.outside->find(failure.server) != nullptr;
}

// The daemon notices with its next try.
void addRevival(const StatusFacts& facts, const Failure& failure, const StatusProblem& found,
                StatusProblems& problems) {
    const bool waits = facts.queue && facts.queue->waiting + facts.queue->open != 0;
    if (waits && pendingRetry(facts) != nullptr && facts.outside->find(failure.server)->works()) {
        problems.push_back(problem::kServerWorksAgain(failure.server, found.text));
    }
}

void addFailures(const StatusFacts& facts, StatusProblems& problems) {
    for (const Failure& failure : facts.log.mail.servers()) {
        if (failure.time < facts.traces.started.value_or(0) || isOver(facts, failure)) {
            continue;
        }
        StatusProblem found = problemOf(facts, failure);
        if (StatusServer::isSecondary(facts, failure.server)) {
            found = StatusServer::ofSecondary(std::move(found));
        }
        if (isGone(facts, found)) {
            continue;
        }
        if (isAsked(facts, failure, found)) {
            addRevival(facts, failure, found, problems);
            continue;
        }
        if (failure.otherWorks) {
            found = problem::kSpareServer(failure.server, found.text);
        } else if (hasFreshServer(facts)) {
            found.state = ProblemState::FAILING;
        }
        problems.push_back(std::move(found));
    }
}

bool sawPieces(const StatusFacts& facts) {
    return facts.outside && std::ranges::any_of(facts.outside->visits,
                                                [](const ServerVisit& visit) { return visit.pieces.has_value(); });
}

}  // namespace

StatusProblems serverProblems(const StatusFacts& facts) {
    StatusProblems problems;
    const ServerVisit* const visit = facts.outside ? facts.outside->find(StatusServer::active(facts).text()) : nullptr;
    // Whoever was asked and failed says more himself. One who answers us may still keep the daemon waiting.
    if (visit == nullptr || visit->failure() == nullptr) {
        addSilence(facts, problems);
    }
    addFailures(facts, problems);
    const LogDigest::Retry* const retry = pendingRetry(facts);
    if (retry != nullptr && facts.log.mail.servers().empty()) {
        problems.push_back(problem::kRetrying(retry->server));
    }
    if (facts.traces.repliesOutOfStep && !sawPieces(facts)) {
        problems.push_back(problem::kRepliesOutOfStep());
    }
    return problems;
}
