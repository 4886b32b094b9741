#include "box/search/RandomHistory.h"

#include "box/Life.h"
#include "box/Lives.h"
#include "box/search/MemoryCalls.h"
#include "box/search/Search.h"
#include "platform/wire/Fields.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
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

TEST(RandomHistory, speaksTheDialogueThatItIsToldTo) {
    Options options = busyMinutes();
    options.dialogue = "required";
    const Report required = reportOf(options, 1);
    options.dialogue = "conforming";
    const Report conforming = reportOf(options, 1);

    EXPECT_NE(required.timeline, conforming.timeline);
    EXPECT_EQ(reportOf(busyMinutes(), 1).timeline, required.timeline) << "the next history speaks as before";
}

TEST(RandomHistory, isStartedAnewEachNightWhenToldTo) {
    Options options;
    options.days = 3;
    options.faults = kNights;

    const Report report = reportOf(options, 1);

    EXPECT_EQ(report.problem, "");
    EXPECT_EQ(report.lives, 3u);  // the first midnight is where the history begins, the last one where it is over
    EXPECT_EQ(countOf(report.happened, "restarts at midnight"), 2u);
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

// A start that finds no memory goes on, or ends and says so.
TEST(RandomHistory, startsAgainWhereverMemoryIsShort) {
    struct Short final : Script {
        Time next() const override { return over ? kNever : 30 * kSecond; }
        void step(Life& life) override { over = life.now() > 0; }
        Trouble trouble() override {
            Trouble trouble;
            trouble.allocationsBefore = before;
            trouble.allocations = burst;
            return std::exchange(burst, 0) > 0 ? trouble : Trouble{};
        }
        void encode(FieldWriter& out) const override {
            out.flag32(over);
            out(burst);
        }
        void decode(FieldReader& in) override {
            in.flag32(over);
            in(burst);
        }
        std::uint32_t before = 0;
        std::uint32_t burst = 1;
        bool over = false;
    };
    keepMemoryCalls();
    std::uint32_t failed = 0;
    for (std::uint32_t before = 0; before < 300; before += before < 20 ? 1 : 29) {
        for (const std::uint32_t burst : {1u, 40u}) {
            const BoxDirectory directory("");
            World world(before);
            Short script;
            script.before = before;
            script.burst = burst;

            const LifeOutcome outcome = liveOn(world, script, directory.path());

            EXPECT_EQ(outcome.how, LifeEnd::kPaused) << before << " " << burst << " " << outcome.why;
            EXPECT_TRUE(outcome.told) << before << " " << burst;
            failed += world.failedAllocations;
        }
    }
    EXPECT_GT(failed, 200u);
}

TEST(RandomHistory, mailsCapturesWithTheirAttachments) {
    Options options = busyMinutes();
    options.faults = kCaptures;

    const Report report = reportOf(options, 1);

    EXPECT_EQ(report.problem, "");
    EXPECT_EQ(countOf(report.happened, "mails of captures"), 1u);
}

TEST(RandomHistory, bearsWhatIsOddlyWritten) {
    Options options = busyMinutes();
    options.faults = kOddities | kRequests;
    std::uint64_t requests = 0;
    std::uint64_t numbers = 0;
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        const Report report = reportOf(options, seed);

        EXPECT_EQ(report.problem, "");
        requests += countOf(report.happened, "requests of a wrong length");
        numbers += countOf(report.happened, "numbers written oddly");
    }
    EXPECT_GT(requests, 0u);
    EXPECT_GT(numbers, 0u);
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
