#include "box/search/Options.h"

#include "box/BoxDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace box {
namespace {

std::string problemOf(std::vector<const char*> arguments, Options& options) {
    arguments.insert(arguments.begin(), "orvBox");
    std::string problem;
    const bool read = readOptions(static_cast<int>(arguments.size()), arguments.data(), options, problem);
    EXPECT_EQ(read, problem.empty());
    return problem;
}

struct Impossible {
    std::vector<const char*> arguments;
    const char* problem;
};

}  // namespace

TEST(BoxOptions, areReadByTheirNames) {
    Options options;

    ASSERT_EQ(problemOf({"--seed", "18446744073709551615", "--days", "90", "--events", "11000", "--until", "5h",
                         "--faults", "servers,calls,memory", "--trace", "--steps", "70", "--profiles", "1"},
                        options),
              "");

    EXPECT_EQ(options.seed, UINT64_MAX);
    EXPECT_EQ(options.days, 90u);
    EXPECT_EQ(options.eventsPerDay, 11000u);
    EXPECT_EQ(options.until, 5 * 3600 * kSecond);
    EXPECT_EQ(options.faults, kServerFaults | kCallFaults | kMemoryFaults);
    EXPECT_TRUE(options.trace);
    EXPECT_EQ(options.steps, 70u);
    EXPECT_EQ(options.profiles, 1u);
    Options search;
    ASSERT_EQ(problemOf({"--minutes", "0.5", "--first", "--figures", "/f", "--dialogue", "conforming"}, search), "");
    EXPECT_EQ(search.minutes, 0.5);
    EXPECT_TRUE(search.first);
    EXPECT_EQ(search.figures, "/f");
    EXPECT_EQ(search.dialogue, "conforming");
}

TEST(BoxOptions, takeTimesInEveryUnit) {
    constexpr struct {
        const char* text;
        Time time;
    } kTimes[] = {{"3d", 3 * kDay}, {"5h", 5 * 3600 * kSecond}, {"20m", 1200 * kSecond}, {"40s", 40 * kSecond}};
    for (const auto& each : kTimes) {
        Options options;
        EXPECT_EQ(problemOf({"--until", each.text}, options), "");
        EXPECT_EQ(options.until, each.time);
    }
}

TEST(BoxSeeds, areReadFromALineEach) {
    const BoxDirectory directory("");
    const std::string path = directory.path() + "/seeds";
    std::ofstream(path) << "# a story\n--seed 3 --days 2   # another\n\n--seed 4 --faults none\n";
    std::vector<Options> histories;
    std::string problem;

    ASSERT_TRUE(readSeeds(path, histories, problem)) << problem;

    ASSERT_EQ(histories.size(), 2u);
    EXPECT_EQ(histories[0].seed, 3u);
    EXPECT_EQ(histories[0].days, 2u);
    EXPECT_EQ(histories[1].faults, 0u);
}

TEST(BoxSeeds, areRefusedWithTheLineThatIsUnknown) {
    const BoxDirectory directory("");
    const std::string path = directory.path() + "/seeds";
    std::ofstream(path) << "--seed 3\nseed 4\n";
    std::vector<Options> histories;
    std::string problem;

    EXPECT_FALSE(readSeeds(path, histories, problem));
    EXPECT_EQ(problem, path + ":2: unknown option seed");
    EXPECT_FALSE(readSeeds(path + "2", histories, problem));
    EXPECT_EQ(problem, path + "2 cannot be read");
}

TEST(BoxOptions, areRefusedWithALineThatNamesThem) {
    const Impossible all[] = {
        {{"--sed", "1"}, "unknown option --sed"},
        {{"5"}, "unknown option 5"},
        {{"--seed"}, "--seed takes a value"},
        {{"--seed", "-1"}, "--seed cannot be -1"},
        {{"--seed", "18446744073709551616"}, "--seed cannot be 18446744073709551616"},
        {{"--days", "0"}, "--days cannot be 0"},
        {{"--days", "1d"}, "--days cannot be 1d"},
        {{"--until", "5"}, "--until cannot be 5"},
        {{"--until", "99999999999d"}, "--until cannot be 99999999999d"},
        {{"--faults", "kill"}, "--faults cannot be kill"},
        {{"--skip", "3-1"}, "--skip cannot be 3-1"},
        {{"--skip", "0"}, "--skip cannot be 0"},
        {{"--spare", "a"}, "--spare cannot be a"},
        {{"--shrink", "--minutes", "1"}, "--shrink goes with one history, in a directory of its own"},
        {{"--jobs", "0"}, "--jobs cannot be 0"},
        {{"--directory", ""}, "--directory cannot be empty"},
        {{"--minutes", "1", "--trace"}, "--trace goes with one history, not with --minutes"},
        {{"--minutes", "0"}, "--minutes cannot be 0"},
        {{"--minutes", "nan"}, "--minutes cannot be nan"},
        {{"--compare", "3", "--cuts", "3"}, "--compare goes without power cuts"},
        {{"--dialogue", "polite"}, "--dialogue cannot be polite"},
        {{"--dialogue", "required", "--compare", "3"}, "--dialogue goes with random histories only"},
        {{"--dialogue", "conforming", "--cuts", "3"}, "--dialogue goes with random histories only"},
        {{"--first"}, "--first goes with --minutes, and with one job"},
        {{"--first", "--minutes", "1", "--jobs", "2"}, "--first goes with --minutes, and with one job"},
        {{"--runs", "2", "--directory", "/x"}, "--directory goes with one history"},
    };
    for (const Impossible& each : all) {
        Options options;
        EXPECT_EQ(problemOf(each.arguments, options), each.problem);
    }
}

}  // namespace box
