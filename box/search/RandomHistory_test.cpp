#include "box/search/RandomHistory.h"

#include "box/search/Search.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace box {
namespace {

// As campaigns do: all when they are asked for.
std::uint64_t seeds() {
    const char* const length = std::getenv("ORV_CAMPAIGN");
    return length != nullptr && std::string(length) == "long" ? 200 : 20;
}

// Some minutes in which much happens.
Options busyMinutes() {
    Options options;
    options.eventsPerDay = 14400;
    options.until = 300 * kSecond;
    return options;
}

Report reportOf(const Options& options, std::uint64_t seed) {
    const BoxDirectory directory("");
    return runHistory(options, seed, directory);
}

}  // namespace

TEST(RandomHistory, isTheSameForTheSameSeedToTheLastByte) {
    std::uint32_t lives = 0;
    std::uint64_t mails = 0;
    for (std::uint64_t seed = 1; seed <= seeds(); ++seed) {
        const Report first = reportOf(busyMinutes(), seed);
        const Report second = reportOf(busyMinutes(), seed);

        EXPECT_EQ(first.text(), second.text());
        EXPECT_EQ(first.problem, "");
        lives += first.lives;
        mails += first.mails;
    }
    EXPECT_GT(lives, seeds() * 3 / 2);
    EXPECT_GT(mails, seeds() * 10);
}

TEST(RandomHistory, holdsWhereOneHasFailedOnce) {
    std::vector<Options> histories;
    std::string problem;
    ASSERT_TRUE(readSeeds(BOX_SEEDS, histories, problem)) << problem;
    EXPECT_FALSE(histories.empty());

    for (const Options& options : histories) {
        EXPECT_EQ(reportOf(options, options.seed).problem, "");
    }
}

TEST(RandomHistory, differsFromSeedToSeed) {
    EXPECT_NE(reportOf(busyMinutes(), 1).timeline, reportOf(busyMinutes(), 2).timeline);
}

TEST(BoxDirectory, isRefusedWhenItIsNotEmpty) {
    const BoxDirectory ours("");
    const std::string full = ours.path() + "/tmp";
    std::ofstream(full + "/file") << "something";

    try {
        const BoxDirectory directory(full);
        FAIL() << "taken";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), full + " is not empty");
    }
}

TEST(BoxDirectory, isRefusedWhenItIsNotInMemory) {
    EXPECT_THROW(BoxDirectory("/proc/self/task"), std::runtime_error);
    EXPECT_THROW(BoxDirectory("/there/is/no/such"), std::runtime_error);
}

}  // namespace box
