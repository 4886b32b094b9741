// The daemon and the model, led through the same random histories.
#include "box/Lives.h"
#include "box/compare/RecordedHistory.h"
#include "box/compare/Replay.h"
#include "box/search/BoxDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace box {
namespace {

// As many as ORV_COMPARE says, from the seed after ORV_COMPARE_FROM; else those of every day.
unsigned from(const char* name, unsigned usual) {
    const char* const given = std::getenv(name);
    return given == nullptr ? usual : static_cast<unsigned>(std::atoi(given));
}

struct Outcome {
    std::string problem;
    bool tied = false;
    std::uint64_t compared = 0;
    std::uint64_t mails = 0;
};

Outcome compare(std::uint64_t seed, std::uint32_t steps) {
    const BoxDirectory root("");
    World world(seed);
    RecordedHistory history(world, seed, steps);
    Replay replay(world);
    Outcome outcome;
    for (bool more = true; more && !replay.tied();) {
        const Time begin = world.now;
        const LifeOutcome life = live(world, history, root.path());
        if (!life.told || life.how == LifeEnd::kStuck || life.how == LifeEnd::kUnowned) {
            outcome.problem = "the life: " + life.why;
            return outcome;
        }
        outcome.problem = replay.life(begin, history.takeRecords(), life.how, world, root.path());
        more = outcome.problem.empty() && life.mayGoOn() && history.next() != kNever;
    }
    outcome.tied = replay.tied();
    outcome.compared = replay.compared();
    outcome.mails = world.mails;
    return outcome;
}

}  // namespace

TEST(DaemonAndModel, doTheSameInRandomHistories) {
    const unsigned first = from("ORV_COMPARE_FROM", 0) + 1;
    std::uint64_t compared = 0, mails = 0;
    unsigned whole = 0, count = from("ORV_COMPARE", 6);
    for (unsigned seed = first; seed < first + count; ++seed) {
        const Outcome outcome = compare(seed, 150);
        EXPECT_TRUE(outcome.problem.empty()) << "seed " << seed << ", " << outcome.problem;
        compared += outcome.compared;
        mails += outcome.mails;
        whole += outcome.tied ? 0 : 1;
    }
    std::printf("%u of %u histories compared to their end, %llu places, %llu mails\n", whole, count,
                static_cast<unsigned long long>(compared), static_cast<unsigned long long>(mails));
    EXPECT_GT(compared, 0u);
}

}  // namespace box
