#include "box/search/Search.h"

#include "box/BoxDirectory.h"
#include "box/search/Shares.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

namespace box {
namespace {

Report reportOf(std::uint32_t lives, const std::string& entry, const std::string& problem) {
    Report report;
    report.lives = lives;
    report.time = 90 * kSecond;
    report.happened = {{"kills", 2}};
    report.entryNames = {entry, "kQueueEmpty"};
    report.problem = problem;
    return report;
}

}  // namespace

TEST(Shares, areAddedUpWithWhatFailed) {
    const auto figures = addedUp<SearchFigures>(3, [](std::uint64_t share) {
        SearchFigures its;
        its.add(reportOf(static_cast<std::uint32_t>(share) + 1, "kRetryLater", share == 1 ? "books: none" : ""));
        return its;
    });

    EXPECT_EQ(figures.sums, (Counts{{"histories", 3},
                                    {"virtual seconds", 270},
                                    {"lives", 6},
                                    {"events", 0},
                                    {"mails", 0},
                                    {"calls", 0},
                                    {"kills", 6}}));
    EXPECT_EQ(figures.entries, (std::set<std::string>{"kQueueEmpty", "kRetryLater"}));
    ASSERT_EQ(figures.failures.size(), 1u);
    EXPECT_NE(figures.failures.front().find("FAILED: books: none"), std::string::npos);
}

TEST(Shares, failWhenOneEndsWithoutAWord) {
    const auto figures = addedUp<SearchFigures>(2, [](std::uint64_t share) {
        if (share == 1) {
            ::_exit(0);
        }
        return SearchFigures{};
    });

    EXPECT_EQ(figures.failures, std::vector<std::string>{"FAILED: no word of a share of the work"});
}

TEST(Search, letsEveryThirdHistoryGoWithoutFailuresOfTheMachine) {
    Options options;
    options.faults = kServerFaults | kCallFaults | kMemoryFaults;

    EXPECT_EQ(optionsOf(options, 5).faults, options.faults);
    EXPECT_EQ(optionsOf(options, 6).faults, kServerFaults);
    EXPECT_EQ(optionsOf(options, 6).seed, 6u);
}

TEST(Search, saysWhichFaultsTheHistoryThatFailedHad) {
    Report report = reportOf(1, "kRetryLater", "books: none");
    report.seed = 6;
    report.faults = "servers,kills";

    EXPECT_NE(report.text().find("seed 6 --faults servers,kills FAILED: books: none"), std::string::npos);
}

TEST(Search, writesWhatItCounted) {
    const BoxDirectory directory("");
    const std::string path = directory.path() + "/figures";
    Options options;
    options.eventsPerDay = 14400;
    options.until = 60 * kSecond;
    options.runs = 2;
    options.jobs = 2;
    options.figures = path;

    EXPECT_EQ(search(options), 0);

    std::ifstream file(path);
    Counts counts;
    std::uint64_t count = 0;
    for (std::string name; file >> count && std::getline(file.ignore(), name);) {
        counts[name] = count;
    }
    EXPECT_EQ(counts["histories"], 2u);
    EXPECT_EQ(counts["failed"], 0u);
    EXPECT_GT(counts["events"], 0u);
    EXPECT_GT(counts["event-log entries seen"], 0u);
    EXPECT_LE(counts["event-log entries seen"], counts["event-log entries there are"]);
}

}  // namespace box
