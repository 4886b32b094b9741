// What is wrong with the mail servers: one that says nothing, and what those that have failed said.
#include "switchctl/Second.h"
#include "switchctl/StatusVerdict.h"
#include "switchctl/Text.h"

#include <netdb.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string_view>

namespace {

using Failure = MailFailures::Server;

// A server may think about a reply for so long.
constexpr std::int64_t PATIENCE = 5 * SECOND;

// How long the daemon waits, by what the command begins with.
struct Limit {
    std::string_view command;
    const char* seconds;
};
constexpr Limit LIMITS[] = {{"DATA", "120"}, {".", "600"}, {"QUIT", "5"}, {"", "300"}};

std::string lower(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

bool holds(const std::string& text, std::initializer_list<std::string_view> words) {
    return std::ranges::any_of(words, [&](std::string_view word) { return text.find(word) != std::string::npos; });
}

bool hasCode(std::string_view reply) {
    return reply.size() >= 3 && std::ranges::all_of(reply.substr(0, 3), [](char c) { return c >= '0' && c <= '9'; });
}

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

// By what the server says, whatever it was said to.
std::optional<StatusProblem> policy(const Failure& failure) {
    const std::string words = lower(failure.response);
    if (holds(words, {"starttls", "encrypt", " tls"})) {
        return problem::kEncryptionWanted(failure.server, failure.response);
    }
    if (words.starts_with("530") || words.starts_with("535") || holds(words, {"authentic", "log in", "login"})) {
        return problem::kLoginWanted(failure.server, failure.response);
    }
    if (words.starts_with("552") || holds(words, {"5.3.4", "5.2.3", "too large", "too big", "exceeds"})) {
        return problem::kMailTooLarge(failure.server, failure.response);
    }
    return std::nullopt;
}

StatusProblem refusal(const StatusFacts& facts, const Failure& failure) {
    if (!hasCode(failure.response)) {
        return problem::kServerNone(failure.server, failure.response);
    }
    const auto command = refusedCommand(facts, failure);
    if (command && (command->empty() || command->starts_with("EHLO") || command->starts_with("HELO"))) {
        return problem::kServerDeclines(failure.server, failure.response);
    }
    if (auto problem = policy(failure)) {
        return std::move(*problem);
    }
    if (command && command->starts_with("MAIL")) {
        return problem::kSenderRefused(failure.server, facts.attribute("Global.Callhome.FromAddr"), failure.response);
    }
    return problem::kServerRefuses(failure.server, !command || *command == "." ? "a mail" : *command, failure.response);
}

StatusProblem problemOf(const StatusFacts& facts, const Failure& failure) {
    const std::string& server = failure.server;
    if (!failure.response.empty() && failure.reason == "SMTP RESPONSE Error") {
        return refusal(facts, failure);
    }
    if (failure.reason == "DNS Hostname Resolve Error") {
        return problem::kServerUnresolved(server, failure.description);
    }
    if (failure.reason == "Connect Error") {
        return problem::kServerUnreachable(server, failure.description);
    }
    if (failure.reason == "Socket Closed Error") {
        return problem::kServerBreaksOff(server,
                                         failure.description == "Success" ? "it closed it" : failure.description);
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

void addFailures(const StatusFacts& facts, StatusProblems& problems) {
    for (const Failure& failure : facts.log.mail.servers()) {
        if (failure.time < facts.traces.started.value_or(0) || isOver(facts, failure)) {
            continue;
        }
        StatusProblem found = problemOf(facts, failure);
        if (isGone(facts, found)) {
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

}  // namespace

StatusProblems serverProblems(const StatusFacts& facts) {
    StatusProblems problems;
    addSilence(facts, problems);
    addFailures(facts, problems);
    const LogDigest::Retry* const retry = pendingRetry(facts);
    if (retry != nullptr && facts.log.mail.servers().empty()) {
        problems.push_back(problem::kRetrying(retry->server));
    }
    if (facts.traces.repliesOutOfStep) {
        problems.push_back(problem::kRepliesOutOfStep());
    }
    return problems;
}
