#include "box/search/Search.h"

#include "box/Lives.h"
#include "box/search/MemoryCalls.h"
#include "box/search/RandomHistory.h"
#include "box/search/Shares.h"
#include "catalogue/OrvEventCatalogue.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace box {

namespace {

// While it lives the daemon finds this dialogue in its environment; with an empty name what is there.
class Spoken {
public:
    explicit Spoken(const std::string& name) : isSet_(!name.empty()) {
        const char* const now = std::getenv(kVariable);
        former_ = now != nullptr ? std::optional<std::string>(now) : std::nullopt;
        if (isSet_) {
            ::setenv(kVariable, name.c_str(), 1);
        }
    }
    ~Spoken() {
        if (isSet_ && former_) {
            ::setenv(kVariable, former_->c_str(), 1);
        } else if (isSet_) {
            ::unsetenv(kVariable);
        }
    }
    Spoken(const Spoken&) = delete;
    Spoken& operator=(const Spoken&) = delete;

private:
    static constexpr char kVariable[] = "ORV_SMTP_DIALOGUE";

    const bool isSet_;
    std::optional<std::string> former_;
};

std::string howItEnded(const LifeOutcome& outcome) {
    if (!outcome.told) {
        return "the daemon's process ended: " + outcome.why;
    }
    if (outcome.how == LifeEnd::kStuck || outcome.how == LifeEnd::kUnowned) {
        return outcome.why;
    }
    return "";
}

void tellProgress(const SearchFigures& figures, double seconds) {
    std::fprintf(
        stderr,
        "%" PRIu64 " histories, %.2f virtual years, %" PRIu64 " lives, %" PRIu64 " mails, %" PRIu64
        " failed calls, %" PRIu64 " failed allocations, %zu of %zu event-log entries seen, %zu FAILED, %.0f s\n",
        countOf(figures.sums, "histories"),
        static_cast<double>(countOf(figures.sums, "virtual seconds")) / (365 * 86400.0), countOf(figures.sums, "lives"),
        countOf(figures.sums, "mails"), countOf(figures.sums, "system calls that failed"),
        countOf(figures.sums, "requests for memory that failed"), figures.entries.size(), orvCatalogue().size(),
        figures.failures.size(), seconds);
}

// Each so many-th history, from the first one of this share.
SearchFigures searchShare(const Options& options, std::uint64_t share) {
    SearchFigures figures;
    Patience patience(options.minutes);
    for (std::uint64_t number = share; options.minutes > 0 ? !patience.isOver() : number < options.runs;
         number += options.jobs) {
        const BoxDirectory directory("");
        const Options its = optionsOf(options, options.seed + number);
        Report report = runHistory(its, its.seed, directory);
        report.faults = its.faults == options.faults ? "" : faultsText(its.faults);
        figures.add(report);
        if (!report.problem.empty()) {
            std::printf("%s\n", report.text().c_str());
            std::fflush(stdout);
        }
        if (patience.tells()) {
            tellProgress(figures, patience.seconds());
        }
        if (options.first && !report.problem.empty()) {
            break;
        }
    }
    return figures;
}

}  // namespace

std::string Report::text() const {
    char figures[512];
    std::snprintf(figures, sizeof figures,
                  "seed %" PRIu64 ": %s, %" PRIu32 " lives, %" PRIu32 " events, %" PRIu64 " mails, %" PRIu64
                  " entries, %" PRIu64 " calls, timeline %016" PRIx64 ", files %016" PRIx64,
                  seed, timeText(time).c_str(), lives, events, mails, entries, calls, timeline, files);
    const std::string seedText = std::to_string(seed) + (faults.empty() ? "" : " --faults " + faults);
    return figures + (problem.empty() ? "" : "\nseed " + seedText + " FAILED: " + problem);
}

void SearchFigures::add(const Report& report) {
    addCounts(sums, {{"histories", 1},
                     {"virtual seconds", report.time / kSecond},
                     {"lives", report.lives},
                     {"events", report.events},
                     {"mails", report.mails},
                     {"calls", report.calls}});
    addCounts(sums, report.happened);
    entries.insert(report.entryNames.begin(), report.entryNames.end());
    if (!report.problem.empty()) {
        failures.push_back(report.text());
    }
}

void SearchFigures::add(const SearchFigures& other) {
    addCounts(sums, other.sums);
    entries.insert(other.entries.begin(), other.entries.end());
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
}

Counts SearchFigures::counts() const {
    Counts all = sums;
    all["event-log entries seen"] = entries.size();
    all["event-log entries there are"] = orvCatalogue().size();
    all["failed"] = failures.size();
    return all;
}

Options optionsOf(const Options& options, std::uint64_t seed) {
    constexpr std::uint32_t kMachine = kCallFaults | kMemoryFaults;
    Options its = options;
    its.seed = seed;
    its.faults = seed % 3 == 0 ? options.faults & ~kMachine : options.faults;
    return its;
}

Report runHistory(const Options& options, std::uint64_t seed, const BoxDirectory& directory) {
    keepMemoryCalls();
    World world(seed);
    world.timeline.print(options.trace);
    RandomHistory::Settings settings;
    settings.seed = seed;
    settings.end = options.days * kDay;
    settings.eventsPerDay = options.eventsPerDay;
    settings.profiles = options.profiles;
    settings.faults = options.faults;
    settings.until = options.until;
    settings.skip = options.skip;
    settings.spare = options.spare;
    RandomHistory history(settings, world);
    const Spoken dialogue(options.dialogue);
    const LifeOutcome outcome = liveOn(world, history, directory.path());
    Report report;
    report.seed = seed;
    report.lives = world.lives;
    report.steps = history.steps();
    report.events = history.events();
    report.mails = world.mails;
    report.entries = world.entries;
    report.calls = world.calls;
    report.time = world.now;
    report.timeline = world.timeline.digest();
    report.files = directory.digest();
    report.happened = history.happened();
    Counts& happened = report.happened;
    happened["kills"] = world.kills;
    happened["replies that went wrong"] = world.troubles;
    happened["system calls that failed"] = world.failedCalls;
    happened["requests for memory that failed"] = world.failedAllocations;
    report.entryNames = history.judge().entries();
    report.problem = history.problem().empty() ? howItEnded(outcome) : history.problem();
    return report;
}

int search(const Options& options) {
    const Patience patience(0);
    const auto figures =
        addedUp<SearchFigures>(options.jobs, [&](std::uint64_t share) { return searchShare(options, share); });
    tellProgress(figures, patience.seconds());
    if (!options.figures.empty()) {
        writeCounts(options.figures, figures.counts());
    }
    return figures.failures.empty() ? 0 : 1;
}

}  // namespace box
