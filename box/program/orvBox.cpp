// Runs the daemon through random histories in virtual time: one to look at, many to look for failures.
#include "box/BoxDirectory.h"
#include "box/Lives.h"
#include "box/compare/CompareSearch.h"
#include "box/cuts/CutSearch.h"
#include "box/search/Options.h"
#include "box/search/RandomHistory.h"
#include "box/search/Search.h"
#include "box/search/Shrink.h"
#include "orv_version.h"

#include <sys/personality.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

int runEach(const box::Options& options) {
    int status = 0;
    for (std::uint32_t i = 0; i < options.runs; ++i) {
        const box::BoxDirectory directory(options.directory);
        const box::Report report = box::runHistory(options, options.seed + i, directory);
        std::printf("%s\n", report.text().c_str());
        status = report.problem.empty() ? status : kFailed;
    }
    return status;
}

int runAll(const std::vector<box::Options>& histories) {
    int status = 0;
    for (const box::Options& options : histories) {
        const int failed = runEach(options);
        status = failed != 0 ? failed : status;
    }
    return status;
}

// Some traces tell where an object stands in memory, and their length goes into the trace files' turns: the system is
// to place the program where it placed it the last time. Where it does not, histories with captures may differ.
void standStill(char** argv) {
    const int now = ::personality(0xFFFFFFFFu);
    const bool moves = now >= 0 && (now & ADDR_NO_RANDOMIZE) == 0;
    if (moves && ::personality(static_cast<unsigned>(now) | ADDR_NO_RANDOMIZE) >= 0) {
        ::execv("/proc/self/exe", argv);
    }
}

}  // namespace

int main(int argc, char** argv) {
    standStill(argv);
    box::Options options;
    std::string problem;
    if (!box::readOptions(argc, argv, options, problem)) {
        std::fprintf(stderr, "orvBox: %s\n", problem.c_str());
        return kWrongUsage;
    }
    std::vector<box::Options> histories{options};
    if (!options.seeds.empty()) {
        histories.clear();
        if (!box::readSeeds(options.seeds, histories, problem)) {
            std::fprintf(stderr, "orvBox: %s\n", problem.c_str());
            return kWrongUsage;
        }
    }
    if (options.version) {
        std::puts("orvBox " ORV_VERSION);
        return 0;
    }
    if (options.help) {
        std::fputs(box::usage().c_str(), stdout);
        return 0;
    }
    try {
        if (options.cuts > 0 || options.state >= 0) {
            return box::searchCuts(options);
        }
        if (options.compare > 0) {
            return box::searchDifferences(options);
        }
        if (options.shrink) {
            return box::shrink(options);
        }
        return options.minutes > 0 || options.jobs > 1 || !options.figures.empty() ? box::search(options)
                                                                                   : runAll(histories);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvBox: %s\n", error.what());
        return kWrongUsage;
    }
}
