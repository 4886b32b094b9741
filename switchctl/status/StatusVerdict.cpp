#include "switchctl/status/StatusVerdict.h"

#include "switchctl/input/MailServer.h"
#include "switchctl/log/MailFailures.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

// In the order of ComponentState.
constexpr std::array<const char*, 5> COMPONENT_STATES = {"absent", "registered", "ready", "configured", "started"};

using Rule = StatusProblems (*)(const StatusFacts&);

constexpr Rule RULES[] = {daemonProblems, setupProblems, outsideProblems, serverProblems, recipientProblems,
                          queueProblems,  flashProblems, captureProblems, clockProblems};

bool hasMailServer(const StatusFacts& facts, const std::string& suffix) {
    return facts.attribute("Global.Callhome.SMTPEnable" + suffix) == "True";
}

// Messages that have waited this long are not about to be sent.
constexpr std::int64_t LONG = 10 * SECOND;

// Whatever keeps them: nothing else has told. After a start, and after a dialogue, the daemon gets some time too.
void addStuckMails(const StatusFacts& facts, StatusProblems& problems) {
    const bool waits = facts.queue && facts.queue->waiting != 0 && facts.queue->open == 0;
    if (!waits || !facts.flash.oldestWaiting || pendingRetry(facts) != nullptr || !canSend(stateOf(problems))) {
        return;
    }
    const std::int64_t quiet = facts.now - std::max({*facts.flash.oldestWaiting, facts.traces.started.value_or(0),
                                                     facts.log.settingsRead.value_or(0), facts.traces.send.lastTime()});
    if (quiet > LONG) {
        problems.push_back(problem::kMailsStuck(std::to_string(facts.queue->waiting),
                                                durationText(facts.now - *facts.flash.oldestWaiting)));
    }
}

// A daemon that is run as a service is not started by hand.
std::string asService(std::string remedy, const std::string& unit) {
    constexpr std::string_view RESTART = "restart orvApp";
    if (remedy == "orvApp") {
        return "systemctl start " + unit;
    }
    const std::size_t place = remedy.find(RESTART);
    return place == std::string::npos ? remedy : remedy.replace(place, RESTART.size(), "systemctl restart " + unit);
}

}  // namespace

StatusProblems statusProblems(const StatusFacts& facts) {
    StatusProblems problems;
    for (const Rule rule : RULES) {
        std::ranges::move(rule(facts), std::back_inserter(problems));
    }
    addStuckMails(facts, problems);
    for (StatusProblem& one : problems) {
        one.remedy = facts.unit.empty() ? std::move(one.remedy) : asService(std::move(one.remedy), facts.unit);
    }
    return problems;
}

ProblemState stateOf(const StatusProblems& problems) {
    ProblemState worst = ProblemState::NOTICE;
    for (const StatusProblem& one : problems) {
        worst = std::max(worst, one.state);
    }
    return worst;
}

const char* statusWord(ProblemState state) {
    return state == ProblemState::NOTICE ? "ok" : nameOf(state);
}

bool canSend(ProblemState state) {
    return state < ProblemState::BLOCKED;
}

std::string stateName(ComponentState state) {
    const auto number = static_cast<std::size_t>(state);
    return number < COMPONENT_STATES.size() ? COMPONENT_STATES[number] : std::to_string(number);
}

StatusServer StatusServer::configured(const StatusFacts& facts, const std::string& suffix) {
    return {MailServer::shown(facts.attribute("Global.Callhome.NF-SMTPAddr" + suffix)),
            facts.attribute("Global.Callhome.SMTPPort" + suffix), hasMailServer(facts, suffix)};
}

bool StatusServer::usable() const {
    return enabled && !address.empty() && Text::number(port, 1, UINT16_MAX).has_value();
}

StatusServer StatusServer::active(const StatusFacts& facts) {
    return {MailServer::shown(facts.attribute("Oper.Callhome.NF-ActiveSMTPAddr")),
            facts.attribute("Oper.Callhome.ActiveSMTPPort"), true};
}

std::string StatusServer::text() const {
    return serverText(address, port);
}

bool StatusServer::isSecondary(const StatusFacts& facts, const std::string& text) {
    return configured(facts, "1").text() == text && configured(facts, "").text() != text;
}

StatusProblem StatusServer::ofSecondary(StatusProblem found) {
    constexpr std::string_view OPTION = "--smtp ";
    const std::size_t place = found.remedy.find(OPTION);
    if (place != std::string::npos) {
        found.remedy.replace(place, OPTION.size(), "--smtp2 ");
    }
    return found;
}

const LogDigest::Retry* pendingRetry(const StatusFacts& facts) {
    const auto& retry = facts.log.retry;
    const bool empty = facts.queue && facts.queue->waiting == 0 && facts.queue->open == 0;
    const bool forgotten = retry && retry->decided < facts.traces.started.value_or(0);
    return retry && !empty && !forgotten ? &*retry : nullptr;
}

std::string durationText(std::int64_t microseconds) {
    struct Unit {
        std::int64_t seconds;
        const char* name;
    };
    constexpr Unit UNITS[] = {{86400, " days"}, {3600, " h"}, {60, " min"}};
    const std::int64_t seconds = microseconds / SECOND;
    for (const Unit& unit : UNITS) {
        if (seconds >= 2 * unit.seconds) {
            return std::to_string(seconds / unit.seconds) + unit.name;
        }
    }
    return std::to_string(seconds) + " s";
}

std::string momentText(std::int64_t microseconds) {
    return Text::timestamp(microseconds / SECOND, static_cast<std::int32_t>(microseconds % SECOND));
}

std::string timeOfDay(std::int64_t microseconds) {
    const std::string text = momentText(microseconds);
    const std::size_t begin = text.find('T') + 1;
    return text.substr(begin, text.find('.') - begin);
}
