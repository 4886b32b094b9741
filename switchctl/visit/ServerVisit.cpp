#include "switchctl/visit/ServerVisit.h"

#include <algorithm>
#include <array>

namespace {

using Kind = VisitStage::Kind;

// In the order of the enumerations.
constexpr std::array NAMES = {"name", "route", "connect", "greeting", "EHLO", "MAIL FROM", "RCPT TO", "RSET", "QUIT"};
constexpr std::array OUTCOMES = {"passed", "refused", "failed", "closed", "timed out"};

// A recipient that is refused keeps nobody else from his mail, and what comes behind the recipients keeps nobody. With
// 421 a server says that it closes the connection.
bool isFatal(const VisitStage& stage) {
    const bool lost = stage.outcome == VisitStage::Outcome::CLOSED || stage.outcome == VisitStage::Outcome::TIMED_OUT;
    const bool goes = stage.words.starts_with("421");
    return !stage.passed() && (stage.kind < Kind::RECIPIENT || (stage.kind == Kind::RECIPIENT && (lost || goes)));
}

}  // namespace

const char* VisitStage::name() const {
    return NAMES[static_cast<std::size_t>(kind)];
}

const char* VisitStage::outcomeName() const {
    return OUTCOMES[static_cast<std::size_t>(outcome)];
}

const VisitStage* ServerVisit::failure() const {
    const auto found = std::ranges::find_if(stages, isFatal);
    return found == stages.end() ? nullptr : &*found;
}

std::size_t ServerVisit::recipientsTaken() const {
    return static_cast<std::size_t>(std::ranges::count_if(
        stages, [](const VisitStage& stage) { return stage.kind == Kind::RECIPIENT && stage.passed(); }));
}

std::size_t ServerVisit::recipientsAsked() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(stages, [](const VisitStage& stage) { return stage.kind == Kind::RECIPIENT; }));
}

const ServerVisit* OutsideFacts::find(const std::string& server) const {
    const auto found = std::ranges::find(visits, server, &ServerVisit::server);
    return found == visits.end() ? nullptr : &*found;
}
