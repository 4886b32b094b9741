#include "switchctl/trial/TestDelay.h"

#include "platform/posix/Clock.h"
#include "switchctl/client/Management.h"
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Second.h"
#include "switchctl/text/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

// With these nothing is tried until somebody does something about them.
constexpr std::array<std::string_view, 6> STANDSTILLS = {
    problem::kSendThreadEnded.id, problem::kTickStopped.id, problem::kSendThreadMissing.id,
    problem::kNoSwitchAddress.id, problem::kReadHalted.id,  problem::kQueueSettingsUnread.id,
};
constexpr std::chrono::seconds PATIENCE_WITH_SWITCH(2);

std::int64_t calendarNow() {
    const timeval now = hostClock().calendar();
    return std::int64_t{now.tv_sec} * SECOND + now.tv_usec;
}

template <typename Wanted>
const StatusProblem* find(const StatusProblems& problems, const Wanted& wanted) {
    const auto found = std::ranges::find_if(problems, wanted);
    return found == problems.end() ? nullptr : &*found;
}

// A message that is for nobody is dropped, and has no result.
bool isForNobody(const StatusFacts& facts, const std::string& profile) {
    return std::ranges::any_of(facts.profiles,
                               [&](const auto& one) { return one.name == profile && one.emails().empty(); });
}

bool isStandstill(const StatusProblem& problem, bool forNobody) {
    return (forNobody && problem.id == problem::kProfileWithoutAddress.id) ||
           std::ranges::find(STANDSTILLS, problem.id) != STANDSTILLS.end();
}

bool isSilence(const StatusProblem& problem) {
    return problem.id == problem::kServerSilent.id;
}

bool stopsMails(const StatusProblem& problem) {
    return !canSend(problem.state);
}

std::string withRemedy(const StatusProblem& problem) {
    return problem.text + "; mend it: " + problem.remedy;
}

// Why it waits, where nothing is known to be wrong.
std::string waitWords(const StatusFacts& facts) {
    if (!facts.queue) {
        return "orvApp does not say what its queue holds";
    }
    if (facts.queue->open != 0) {
        return "a mail is with the mail server " + StatusServer::active(facts).text() + " now; " +
               std::to_string(facts.queue->waiting) + " messages wait";
    }
    return facts.queue->waiting == 0 ? "orvApp has no message left to send, and its result has not come"
                                     : std::to_string(facts.queue->waiting) + " messages wait in the queue";
}

// So that a switch that hangs holds up the wait no longer than that.
class ShorterPatience {
public:
    explicit ShorterPatience(Session& session) : session_(session), before_(session.client.timeout()) {
        session.client.timeout(std::min<OperatorClient::Milliseconds>(before_, PATIENCE_WITH_SWITCH));
    }
    ~ShorterPatience() { session_.client.timeout(before_); }
    ShorterPatience(const ShorterPatience&) = delete;
    ShorterPatience& operator=(const ShorterPatience&) = delete;

private:
    Session& session_;
    OperatorClient::Milliseconds before_;
};

}  // namespace

std::string TestDelay::look(Session& session, const std::string& profile) {
    const ShorterPatience patience(session);
    if (!facts_) {
        facts_ = StatusFacts::gather(session);
        const StatusProblems problems = statusProblems(*facts_);
        const bool forNobody = isForNobody(*facts_, profile);
        if (const StatusProblem* const halt =
                find(problems, [&](const auto& one) { return isStandstill(one, forNobody); })) {
            throw Refused("the test message for " + profile + " is not sent: " + withRemedy(*halt));
        }
    }
    facts_->traces = DaemonTraces::read(facts_->traces.process);
    facts_->now = calendarNow();
    const StatusProblems problems = serverProblems(*facts_);
    const StatusProblem* const silence = find(problems, isSilence);
    if (silence == nullptr || !told_.empty()) {
        return "";
    }
    told_ = silence->text;
    return told_;
}

std::string TestDelay::finalWord(Session& session) {
    const ShorterPatience patience(session);
    refresh(session);
    const StatusProblems problems = statusProblems(*facts_);
    const StatusProblem* const cause = find(problems, stopsMails);
    const std::string because = cause == nullptr ? "" : " (" + withRemedy(*cause) + ")";
    const LogDigest::Retry* const retry = pendingRetry(*facts_);
    if (const StatusProblem* const silence = find(problems, isSilence)) {
        return silence->text;
    }
    if (retry != nullptr) {
        const bool due = retry->due <= facts_->now;
        return "next try " + (due ? std::string("now") : "at " + timeOfDay(retry->due)) + " through " + retry->server +
               because;
    }
    return cause != nullptr ? "it is not sent: " + withRemedy(*cause) : waitWords(*facts_);
}

// Without another probe.
void TestDelay::refresh(Session& session) {
    if (!facts_) {
        facts_ = StatusFacts::gather(session);
        return;
    }
    facts_->log = LogDigest::read(session);
    try {
        facts_->queue = Management::queue(session);
    } catch (const SwitchdSilent&) {
        throw;
    } catch (const NoAnswer& error) {
        facts_->queue.reset();
        facts_->noAnswer = error.what();
    } catch (const Refused&) {
        facts_->queue.reset();
    }
    facts_->traces = DaemonTraces::read(facts_->traces.process);
    facts_->now = calendarNow();
}
