#include "box/cuts/CutSearch.h"

#include "box/cuts/CutRecord.h"
#include "box/search/Shares.h"

#include <algorithm>
#include <cstdio>

namespace box {

namespace {

constexpr std::uint64_t kStatesOfARecord = 1000;

std::uint64_t recordsOf(const Options& options) {
    return (options.cuts + kStatesOfARecord - 1) / kStatesOfARecord;
}

// Each so many-th record, from the first one of this share.
CutFigures runShare(const Options& options, std::uint64_t share) {
    CutFigures figures;
    const Patience patience(options.minutes);
    for (std::uint64_t record = share; record < recordsOf(options) && !patience.isOver(); record += options.jobs) {
        const std::uint64_t states = std::min(kStatesOfARecord, options.cuts - record * kStatesOfARecord);
        figures.add(CutRecord(options.seed + record).run(states));
        std::fprintf(stderr, "seed %llu: %llu states so far, %zu failed\n",
                     static_cast<unsigned long long>(options.seed) + record,
                     static_cast<unsigned long long>(figures.states), figures.failures.size());
    }
    return figures;
}

}  // namespace

int searchCuts(const Options& options) {
    CutFigures figures;
    if (options.state >= 0) {
        figures = CutRecord(options.seed).show(static_cast<std::uint64_t>(options.state));
    } else if (options.jobs == 1) {
        figures = runShare(options, 0);
    } else {
        figures = addedUp<CutFigures>(options.jobs, [&](std::uint64_t share) { return runShare(options, share); });
    }
    if (!options.figures.empty()) {
        writeCounts(options.figures, figures.counts());
    }
    std::printf("%s", figures.text().c_str());
    return figures.failures.empty() ? 0 : 1;
}

}  // namespace box
