#include "box/search/Shrink.h"

#include "box/BoxDirectory.h"
#include "box/search/Search.h"

#include <gtest/gtest.h>

#include <string>

namespace box {
namespace {

// Fails when three of a hundred steps happen, in a world of four lives of which the second one is needed.
Tried needsThreeSteps(const Options& options) {
    Tried tried{"", 100, 4};
    const bool happen = !options.skip.contains(17) && !options.skip.contains(18) && !options.skip.contains(80);
    if (happen && !options.spare.contains(2) && options.until >= 3 * kSecond) {
        tried.problem = "0 00:00:02.500000: books: something";
    }
    return tried;
}

}  // namespace

TEST(Shrinking, leavesTheStepsThatAreNeeded) {
    const Options smallest = shrunk(Options{}, needsThreeSteps);

    EXPECT_EQ(stepsText(smallest.skip), "1-16,19-79,81-100");
    EXPECT_EQ(stepsText(smallest.spare), "1,3-4");
    EXPECT_EQ(smallest.until, 3 * kSecond);
}

TEST(Shrinking, keepsToTheRuleThatWasBroken) {
    const auto another = [](const Options& options) {
        return Tried{options.skip.empty() ? "0 00:00:02.500000: books: a" : "0 00:00:02.500000: delays: b", 10, 1};
    };

    EXPECT_TRUE(shrunk(Options{}, another).skip.empty());
}

TEST(Shrinking, leavesAHistoryAloneThatDoesNotFail) {
    const Options same = shrunk(Options{}, [](const Options&) { return Tried{"", 10, 1}; });

    EXPECT_TRUE(same.skip.empty());
    EXPECT_EQ(same.until, kNever);
}

TEST(Shrinking, writesALineThatIsReadAgain) {
    Options options;
    options.seed = 7;
    options.profiles = 1;
    options.faults = kServerFaults | kMemoryFaults;
    options.until = 90 * kSecond;
    options.skip = {1, 2, 3, 9};
    options.dialogue = "conforming";

    EXPECT_EQ(
        optionsLine(options),
        "--seed 7 --events 200 --faults servers,memory --profiles 1 --dialogue conforming --until 90s --skip 1-3,9");
}

// The same steps at the same times, with one of them or without.
TEST(Shrinking, leavesTheOtherStepsAsTheyAre) {
    Options options;
    options.eventsPerDay = 14400;
    options.until = 120 * kSecond;
    options.faults = 0;
    const BoxDirectory all("");
    const Report with = runHistory(options, 5, all);
    for (std::uint32_t step = 1; step <= with.steps; ++step) {
        options.skip.insert(step);
    }
    const BoxDirectory none("");
    const Report without = runHistory(options, 5, none);

    EXPECT_EQ(without.steps, with.steps);
    EXPECT_GT(with.events, 5u);
    EXPECT_EQ(without.events, 0u);
}

}  // namespace box
