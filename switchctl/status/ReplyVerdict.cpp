#include "switchctl/status/ReplyVerdict.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <utility>

namespace ReplyVerdict {
namespace {

constexpr std::size_t CODE = 3;

std::string lower(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

bool holds(const std::string& text, std::initializer_list<std::string_view> words) {
    return std::ranges::any_of(words, [&](std::string_view word) { return text.find(word) != std::string::npos; });
}

}  // namespace

bool hasCode(std::string_view reply) {
    return reply.size() >= CODE &&
           std::ranges::all_of(reply.substr(0, CODE), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<StatusProblem> policy(const std::string& server, const std::string& reply) {
    const std::string words = lower(reply);
    if (holds(words, {"starttls", "encrypt", " tls"})) {
        return problem::kEncryptionWanted(server, reply);
    }
    if (words.starts_with("530") || words.starts_with("535") || holds(words, {"authentic", "log in", "login"})) {
        return problem::kLoginWanted(server, reply);
    }
    if (words.starts_with("552") || holds(words, {"5.3.4", "5.2.3", "too large", "too big", "exceeds"})) {
        return problem::kMailTooLarge(server, reply);
    }
    return std::nullopt;
}

StatusProblem of(const Refusal& refusal) {
    const auto& [server, command, reply, sender] = refusal;
    if (!hasCode(reply)) {
        return problem::kServerNone(server, reply);
    }
    const bool hello = command && (command->empty() || command->starts_with("EHLO") || command->starts_with("HELO"));
    const bool mail = command && command->starts_with("MAIL");
    auto said = policy(server, reply);
    if (said && said->id != problem::kMailTooLarge.id) {
        return std::move(*said);
    }
    if (reply.starts_with("421") || ((hello || mail) && reply.starts_with('4'))) {
        return problem::kServerBusy(server, reply);
    }
    if (hello) {
        return problem::kServerDeclines(server, reply);
    }
    if (said) {
        return std::move(*said);
    }
    if (mail) {
        return problem::kSenderRefused(server, sender, reply);
    }
    return problem::kServerRefuses(server, !command || *command == "." ? "a mail" : *command, reply);
}

StatusProblem ofRecipient(const RefusedRecipient& refused) {
    const auto& [server, profile, address, profileNumber, position, reply] = refused;
    auto said = policy(server, reply);
    if (said && said->id != problem::kMailTooLarge.id) {
        said->state = ProblemState::FAILING;
        return std::move(*said);
    }
    if (reply.starts_with("421")) {
        StatusProblem busy = problem::kServerBusy(server, reply);
        busy.state = ProblemState::FAILING;
        return busy;
    }
    if (reply.starts_with('4')) {
        return problem::kRecipientDelayed(server, address, profile, reply, profile);
    }
    if (holds(lower(reply), {"relay"})) {
        return problem::kRelayDenied(server, address, profile, reply, profile);
    }
    return problem::kRecipientRefused(server, address, profile, reply, profileNumber, position, profile);
}

}  // namespace ReplyVerdict
