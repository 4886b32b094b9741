#include "box/compare/CompareSearch.h"

#include "box/BoxDirectory.h"
#include "box/Lives.h"
#include "box/compare/RecordedHistory.h"
#include "box/compare/Replay.h"
#include "box/search/Shares.h"

#include <cinttypes>
#include <cstdio>

namespace box {

namespace {

// Each so many-th history, from the first one of this share.
CompareFigures compareShare(const Options& options, std::uint64_t share) {
    CompareFigures figures;
    Patience patience(options.minutes);
    for (std::uint64_t number = share; number < options.compare && !patience.isOver(); number += options.jobs) {
        const CompareFigures one = compareHistory(options.seed + number, options.steps);
        for (const std::string& failure : one.failures) {
            std::printf("%s\n", failure.c_str());
            std::fflush(stdout);
        }
        figures.add(one);
        if (patience.tells()) {
            std::fprintf(stderr, "%s", figures.text().c_str());
        }
    }
    return figures;
}

}  // namespace

void CompareFigures::add(const CompareFigures& other) {
    histories += other.histories;
    whole += other.whole;
    compared += other.compared;
    mails += other.mails;
    seconds += other.seconds;
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
}

Counts CompareFigures::counts() const {
    return {{"histories", histories}, {"to their end", whole},      {"places", compared},
            {"mails", mails},         {"virtual seconds", seconds}, {"failed", failures.size()}};
}

std::string CompareFigures::text() const {
    char line[256];
    std::snprintf(line, sizeof line,
                  "%" PRIu64 " of %" PRIu64 " histories compared to their end, %" PRIu64 " places, %" PRIu64
                  " mails, %zu differences\n",
                  whole, histories, compared, mails, failures.size());
    return line;
}

CompareFigures compareHistory(std::uint64_t seed, std::uint32_t steps) {
    const BoxDirectory root("");
    World world(seed);
    RecordedHistory history(world, seed, steps);
    Replay replay(world);
    std::string problem;
    for (bool more = true; more && !replay.tied();) {
        const Time begin = world.now;
        const LifeOutcome life = live(world, history, root.path());
        if (!life.told || life.how == LifeEnd::kStuck || life.how == LifeEnd::kUnowned) {
            problem = "the life: " + life.why;
            break;
        }
        problem = replay.life(begin, history.takeRecords(), life.how, world, root.path());
        more = problem.empty() && life.mayGoOn() && history.next() != kNever;
    }
    CompareFigures figures;
    figures.histories = 1;
    figures.whole = replay.tied() || !problem.empty() ? 0 : 1;
    figures.compared = replay.compared();
    figures.mails = world.mails;
    figures.seconds = world.now / kSecond;
    if (!problem.empty()) {
        figures.failures.push_back("seed " + std::to_string(seed) + " FAILED: " + problem);
    }
    return figures;
}

int searchDifferences(const Options& options) {
    const auto figures =
        addedUp<CompareFigures>(options.jobs, [&](std::uint64_t share) { return compareShare(options, share); });
    std::printf("%s", figures.text().c_str());
    if (!options.figures.empty()) {
        writeCounts(options.figures, figures.counts());
    }
    return figures.failures.empty() ? 0 : 1;
}

}  // namespace box
