#include "smtp/OrvRetryDelay.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

using Numbers = std::vector<std::uint32_t>;

// Counts so many failures: the delays, or how far they were counted after each.
Numbers fail(OrvRetryDelay& delay, std::size_t failures, bool counted = false) {
    Numbers result;
    while (result.size() < failures) {
        const std::uint32_t seconds = delay.nextAfterFailure();
        result.push_back(counted ? delay.attempts() : seconds);
    }
    return result;
}

}  // namespace

TEST(OrvRetryDelay, growsWithEachFailureUpToAnHourByTheNumberOfServers) {
    struct {
        std::optional<unsigned> servers;  // none: not known yet
        std::uint32_t step;
        Numbers delays;
        Numbers attempts;
    } const rows[] = {
        {2, 1, {5, 5, 300, 300, 600, 600, 1800, 1800, 3600, 3600, 3600, 3600}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 10, 10}},
        {7, 1, {5, 5, 300}, {1, 2, 3}},
        {1, 2, {5, 300, 600, 1800, 3600, 3600, 3600}, {2, 4, 6, 8, 10, 10, 10}},
        {0, 0, {3600, 3600, 3600}, {0, 0, 0}},
        {std::nullopt, 0, {3600}, {0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.delays.size());
        OrvRetryDelay delay;
        if (row.servers) {
            delay.setValidServers(*row.servers);
        }
        OrvRetryDelay counted = delay;
        EXPECT_EQ(delay.step(), row.step);
        EXPECT_EQ(fail(delay, row.delays.size()), row.delays);
        EXPECT_EQ(fail(counted, row.attempts.size(), true), row.attempts);
    }
}

TEST(OrvRetryDelay, goesOnFromItsCountWhenTheNumberOfServersChanges) {
    OrvRetryDelay delay;
    delay.setValidServers(2);
    fail(delay, 3);

    delay.setValidServers(1);

    EXPECT_EQ(delay.nextAfterFailure(), 600u);
    EXPECT_EQ(delay.attempts(), 5u);
    EXPECT_EQ(fail(delay, 4, true), (Numbers{7, 9, 11, 11}));
}

TEST(OrvRetryDelay, startsAfreshAfterAReset) {
    OrvRetryDelay delay;
    delay.setValidServers(1);
    fail(delay, 5);

    delay.reset();

    EXPECT_EQ(delay.nextAfterFailure(), 5u);
}
