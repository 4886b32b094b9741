#include "box/search/Search.h"

#include "box/Lives.h"
#include "box/search/MemoryCalls.h"
#include "box/search/RandomHistory.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace box {

namespace {

using Clock = std::chrono::steady_clock;

std::string howItEnded(const LifeOutcome& outcome) {
    if (!outcome.told) {
        return "the daemon's process ended: " + outcome.why;
    }
    if (outcome.how == LifeEnd::kStuck || outcome.how == LifeEnd::kUnowned) {
        return outcome.why;
    }
    return "";
}

// A process of its own: boxes are forked from one that has no threads.
pid_t startOne(const Options& options, std::uint64_t seed) {
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child != 0) {
        return child;
    }
    int status = 1;
    {
        const BoxDirectory directory("");
        const Report report = runHistory(options, seed, directory);
        status = report.problem.empty() ? 0 : 1;
        if (status != 0) {
            std::printf("%s\n", report.text().c_str());
        }
    }
    std::fflush(stdout);
    ::_exit(status);
}

}  // namespace

std::string Report::text() const {
    char figures[512];
    std::snprintf(figures, sizeof figures,
                  "seed %" PRIu64 ": %s, %" PRIu32 " lives, %" PRIu32 " events, %" PRIu64 " mails, %" PRIu64
                  " entries, %" PRIu64 " calls, timeline %016" PRIx64 ", files %016" PRIx64,
                  seed, timeText(time).c_str(), lives, events, mails, entries, calls, timeline, files);
    return figures + (problem.empty() ? "" : "\nseed " + std::to_string(seed) + " FAILED: " + problem);
}

Report runHistory(const Options& options, std::uint64_t seed, const BoxDirectory& directory) {
    keepMemoryCalls();
    World world(seed);
    world.timeline.print(options.trace);
    RandomHistory::Settings settings;
    settings.seed = seed;
    settings.end = options.days * kDay;
    settings.eventsPerDay = options.eventsPerDay;
    settings.faults = options.faults;
    settings.until = options.until;
    settings.skip = options.skip;
    settings.spare = options.spare;
    RandomHistory history(settings, world);
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
    report.problem = history.problem().empty() ? howItEnded(outcome) : history.problem();
    return report;
}

int search(const Options& options) {
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end = begin + std::chrono::minutes(options.minutes);
    std::uint64_t started = 0;
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    const auto more = [&] { return options.minutes > 0 ? Clock::now() < end : started < options.runs; };
    while (more() || done < started) {
        while (more() && started - done < options.jobs) {
            startOne(options, options.seed + started++);
        }
        int status = 0;
        if (::wait(&status) < 0) {
            break;
        }
        ++done;
        failed += WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0u : 1u;
        if (done % 100 == 0 || done == started) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
            std::fprintf(stderr, "%" PRIu64 " histories, %.1f virtual years, %" PRIu64 " failed, %lld s\n", done,
                         static_cast<double>(done * options.days) / 365, failed, static_cast<long long>(seconds));
        }
    }
    return failed == 0 ? 0 : 1;
}

}  // namespace box
