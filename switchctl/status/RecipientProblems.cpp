// Recipients that a mail server has refused, as long as both are configured and it has not taken them since.
#include "switchctl/status/ReplyVerdict.h"
#include "switchctl/status/StatusVerdict.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

using Refusal = MailFailures::Recipient;

// Where an address stands: its profile's number and its own; nothing when it is not there any more.
std::optional<std::pair<std::size_t, std::size_t>> placeOf(const StatusFacts& facts, const Refusal& refusal) {
    for (std::size_t number = 0; number < facts.profiles.size(); ++number) {
        const auto addresses = facts.profiles[number].emails();
        const auto found = std::ranges::find(addresses, refusal.address);
        if (facts.profiles[number].name == refusal.profile && found != addresses.end()) {
            return std::pair(number, static_cast<std::size_t>(found - addresses.begin()));
        }
    }
    return std::nullopt;
}

bool isConfigured(const StatusFacts& facts, const std::string& server) {
    return StatusServer::configured(facts, "").text() == server ||
           StatusServer::configured(facts, "1").text() == server;
}

bool wasTakenSince(const StatusFacts& facts, const Refusal& refusal) {
    const SendTrace::Reply* const reply = facts.traces.send.about(refusal.address);
    return reply != nullptr && reply->text.starts_with('2') && reply->time > refusal.time;
}

// The server has just said anew what it makes of it.
bool isAsked(const StatusFacts& facts, const Refusal& refusal) {
    const ServerVisit* const visit = facts.outside ? facts.outside->find(refusal.server) : nullptr;
    return visit != nullptr && std::ranges::any_of(visit->stages, [&](const VisitStage& stage) {
               return stage.kind == VisitStage::Kind::RECIPIENT && stage.asked == "RCPT TO:<" + refusal.address + ">";
           });
}

StatusProblem problemOf(const StatusFacts& facts, const Refusal& refusal, std::pair<std::size_t, std::size_t> place) {
    auto found =
        ReplyVerdict::ofRecipient({refusal.server, refusal.profile, refusal.address, std::to_string(place.first),
                                   std::to_string(place.second), refusal.response});
    return StatusServer::isSecondary(facts, refusal.server) ? StatusServer::ofSecondary(std::move(found)) : found;
}

std::size_t recipientsOf(const StatusFacts& facts) {
    std::size_t count = 0;
    for (const auto& profile : facts.profiles) {
        count += profile.emails().size();
    }
    return count;
}

}  // namespace

StatusProblems recipientProblems(const StatusFacts& facts) {
    StatusProblems problems;
    std::size_t refused = 0;
    for (const Refusal& refusal : facts.log.mail.recipients()) {
        const auto place = placeOf(facts, refusal);
        if (place && isConfigured(facts, refusal.server) && !wasTakenSince(facts, refusal) &&
            !isAsked(facts, refusal)) {
            ++refused;
            StatusProblem found = problemOf(facts, refusal, *place);
            // Each text once: a server that wants a login says so of every recipient.
            if (std::ranges::find(problems, found.text, &StatusProblem::text) == problems.end()) {
                problems.push_back(std::move(found));
            }
        }
    }
    if (refused != 0 && refused == recipientsOf(facts)) {
        problems.insert(problems.begin(), problem::kAllRefused());
    }
    return problems;
}
