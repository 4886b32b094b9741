#include "testing/campaign/RoadCase.h"

#include <algorithm>
#include <stdexcept>

namespace {

void prepare(const Road& road, Life& life) {
    life.start();
    if (road.prepare != nullptr) {
        road.prepare(life);
    }
}

// The step, watched, and what follows in any case.
void stepAndMail(const Road& road, Life& life) {
    life.board().watch(true);
    if (road.isRestart) {
        life.start();
    }
    road.step(life);
    life.board().watch(false);
    life.board().stepDone = true;
    life.mailAll(kFirstFurtherEvent);
    life.end(kMailedAll);
}

void mailAgain(Life& life) {
    life.start();
    life.mailAll(kFirstFurtherEvent + 1);
    life.end(kMailedAll);
}

// What an end in the middle of a dialogue may have mailed once more: to all recipients, since marks come to flash with
// the next counted repeat only.
unsigned mostInFlight(const Road& road) {
    return road.settings.twoRecipients ? 2 : 1;
}

// Where a report from the thread cannot be made for want of memory, it has to end.
bool senderHasEnded(const World& world) {
    const std::vector<std::string> lines = world.root().trace("orv.out.SMTPClient");
    return std::any_of(lines.begin(), lines.end(),
                       [](const std::string& line) { return line.find("thread exiting") != std::string::npos; });
}

std::string withErrors(const LifeOutcome& outcome, Board& board) {
    std::string text = outcome.text();
    if (board.complaint[0] != '\0') {
        text += std::string(" (") + board.complaint.data() + ")";
    }
    const std::size_t kMost = lookingClosely() ? 100000 : 2500;
    const bool isPlain =
        !lookingClosely() && outcome.how != LifeOutcome::kBroken && outcome.how != LifeOutcome::kAborted;
    return isPlain ? text : text + "\n" + outcome.errors.substr(0, kMost);
}

}  // namespace

LifeOutcome RoadCase::leadTo(World& world, const std::function<void(Board&)>& plan) {
    if (road_.isRestart) {
        const LifeOutcome before = world.live(road_.settings, [&](Life& life) { prepare(road_, life); });
        if (!before.paused()) {
            throw std::runtime_error("preparing: " + before.text() + "\n" + before.errors);
        }
    }
    plan(world.board());
    world.board().faults.tells = world.board().memory.tells = lookingClosely();
    world.board().filesLeft = rules_.filesLeft;
    return world.live(road_.settings, [&](Life& life) {
        if (!road_.isRestart) {
            prepare(road_, life);
        }
        stepAndMail(road_, life);
    });
}

CaseResult RoadCase::run(const std::function<void(Board&)>& plan, const std::function<bool(Board&)>& reached) {
    World world;
    const LifeOutcome first = leadTo(world, plan);
    const bool hit = reached(world.board());
    const std::string problems = judge(world, first);
    if (!problems.empty()) {
        return {Verdict::kFailed, problems};
    }
    return {hit ? Verdict::kHeld : Verdict::kNotReached, withErrors(first, world.board())};
}

std::string RoadCase::judge(World& world, const LifeOutcome& first) {
    std::string problems;
    std::string traces;  // of the life that was met, for who looks at a case that failed
    if (!first.mailedAll()) {
        const std::string how = withErrors(first, world.board());
        const bool allowed = first.how == LifeOutcome::kKilled    ? rules_.isKill
                             : first.how == LifeOutcome::kAborted ? rules_.mayAbort
                             : first.deaf()                       ? rules_.mayLoseSender && senderHasEnded(world)
                             : first.incomplete()                 ? rules_.mayBeIncomplete
                                                                  : first.ended() && rules_.mayEnd;
        if (!allowed) {
            problems += "life 1 " + how + "; ";
        }
        traces = lookingClosely() ? world.traces() : "";
        const LifeOutcome second = world.live(road_.settings, mailAgain);
        if (!second.mailedAll()) {
            problems += "life 2 " + withErrors(second, world.board()) + "; ";
        }
    }
    problems +=
        world.judgeCounts(road_.settings, road_.repeats + (first.mailedAll() ? rules_.excess : mostInFlight(road_)));
    for (const std::string& form : world.forms()) {
        if (forms_.count(form) == 0) {
            problems += "a mail that reads:\n" + form + "\n";
        }
    }
    return problems.empty() ? problems : traces + problems;
}

std::set<std::string> RoadCase::formsOf(const Road& road, const std::function<void(const Board&)>& look) {
    World world;
    RoadCase plain(road, {}, {});
    const LifeOutcome outcome = plain.leadTo(world, [](Board&) {});
    const LifeOutcome again = world.live(road.settings, mailAgain);
    const std::string counts = world.judgeCounts(road.settings, road.repeats);
    if (!outcome.mailedAll() || !again.mailedAll() || !counts.empty()) {
        throw std::runtime_error(std::string(road.name) + " without a fault: " + outcome.text() + ", " + again.text() +
                                 ", " + world.board().complaint.data() + counts + "\n" + outcome.errors + again.errors);
    }
    look(world.board());
    return world.forms();
}
