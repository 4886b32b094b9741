// What is wrong with the clock: not set, moved, behind what it has shown before; and which zone the daemon's times are
// in.
#include "switchctl/status/StatusVerdict.h"
#include "switchctl/text/Second.h"

#include <algorithm>
#include <ctime>

namespace {

// A clock that is kept in step moves by less.
constexpr std::int64_t STEP = 60 * SECOND;
// 2020-01-01: no switch of this kind has seen an earlier day. In 32 bits a clock ends in 2038.
constexpr std::int64_t EARLIEST = 1577836800 * SECOND;
constexpr std::int64_t LATEST = 2145916800 * SECOND;

std::string ownZone(std::int64_t now) {
    const std::time_t seconds = static_cast<std::time_t>(now / SECOND);
    std::tm local{};
    char zone[64] = "";
    if (localtime_r(&seconds, &local) != nullptr) {
        std::strftime(zone, sizeof zone, "%Z", &local);
    }
    return zone;
}

}  // namespace

StatusProblems clockProblems(const StatusFacts& facts) {
    StatusProblems problems;
    const DaemonTraces& traces = facts.traces;
    if (facts.now < EARLIEST || facts.now > LATEST) {
        problems.push_back(problem::kClockUnset(momentText(facts.now)));
        return problems;
    }
    // A daemon cannot have said that it starts before there was its process.
    const std::int64_t moved =
        traces.startTraced && traces.system.started ? *traces.system.started - *traces.started : 0;
    if (moved > STEP) {
        problems.push_back(problem::kClockJumped(durationText(moved)));
    }
    const std::int64_t ahead = std::max(facts.log.latest, traces.latest.value_or(0)) - facts.now;
    if (ahead > STEP) {
        problems.push_back(problem::kClockBehind(durationText(ahead)));
    }
    const std::string zone = ownZone(facts.now);
    if (!traces.zone.empty() && traces.zone != zone && traces.system.alive) {
        problems.push_back(problem::kZoneDiffers(traces.zone, zone, traces.zone));
    }
    return problems;
}
