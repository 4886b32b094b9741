// The same seed gives the same history on every processor: the numbers of some short ones are kept in a file, to which
// each build compares its own.
#include "box/search/Search.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace box {
namespace {

constexpr std::uint64_t kSeeds = 20;
constexpr char kHead[] =
    "# Seeds of short histories, and the number that stands for all that can be read of each; the same on every\n"
    "# processor. Whatever changes a trace, a mail or an entry changes them: write them anew with\n"
    "#   ORV_BOX_NUMBERS=write build/dev/bin/orv_box_numbers_test\n";

// A minute and a half in which much happens; nothing of what a processor may do differently, such as its requests for
// memory.
Options shortHistory() {
    Options options;
    options.eventsPerDay = 14400;
    options.until = 100 * kSecond;
    options.faults = kServerFaults | kKills | kRestarts | kConfigChanges | kRequests;
    return options;
}

std::string numbers() {
    std::string text = kHead;
    for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
        const BoxDirectory directory("");
        const Report report = runHistory(shortHistory(), seed, directory);
        EXPECT_EQ(report.problem, "");
        char line[64];
        std::snprintf(line, sizeof line, "%" PRIu64 " %016" PRIx64 "\n", seed, report.timeline);
        text += line;
    }
    return text;
}

}  // namespace

TEST(Numbers, areTheSameOnEveryProcessor) {
    const std::string found = numbers();
    if (std::getenv("ORV_BOX_NUMBERS") != nullptr) {
        std::ofstream(BOX_NUMBERS) << found;
    }
    std::ifstream file(BOX_NUMBERS);
    const std::string kept{std::istreambuf_iterator<char>(file), {}};

    EXPECT_EQ(found, kept) << "If what the daemon writes was meant to change, write the numbers anew:\n"
                              "  ORV_BOX_NUMBERS=write build/dev/bin/orv_box_numbers_test";
}

}  // namespace box
