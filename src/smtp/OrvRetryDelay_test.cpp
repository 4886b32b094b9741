#include "smtp/OrvRetryDelay.h"

#include <gmock/gmock.h>

#include <vector>

using testing::ElementsAre;

namespace {

std::vector<std::uint32_t> delays(OrvRetryDelay& delay, int failures) {
    std::vector<std::uint32_t> result;
    for (int i = 0; i < failures; ++i) {
        result.push_back(delay.nextAfterFailure());
    }
    return result;
}

std::vector<std::uint32_t> attempts(OrvRetryDelay& delay, int failures) {
    std::vector<std::uint32_t> result;
    for (int i = 0; i < failures; ++i) {
        delay.nextAfterFailure();
        result.push_back(delay.attempts());
    }
    return result;
}

}  // namespace

TEST(OrvRetryDelay, usesEachDelayTwiceWithTwoServers) {
    OrvRetryDelay delay;
    delay.setValidServers(2);

    EXPECT_THAT(delays(delay, 12), ElementsAre(5, 5, 300, 300, 600, 600, 1800, 1800, 3600, 3600, 3600, 3600));
}

TEST(OrvRetryDelay, growsByTwoStepsWithOneServer) {
    OrvRetryDelay delay;
    delay.setValidServers(1);

    EXPECT_THAT(delays(delay, 7), ElementsAre(5, 300, 600, 1800, 3600, 3600, 3600));
}

TEST(OrvRetryDelay, waitsAnHourWithoutAValidServer) {
    OrvRetryDelay delay;
    delay.setValidServers(0);

    EXPECT_THAT(delays(delay, 3), ElementsAre(3600, 3600, 3600));
    EXPECT_EQ(delay.attempts(), 0u);
}

TEST(OrvRetryDelay, waitsAnHourBeforeTheServersAreKnown) {
    OrvRetryDelay delay;

    EXPECT_EQ(delay.nextAfterFailure(), 3600u);
}

TEST(OrvRetryDelay, countsByOneWithTwoServersAndStopsAtTen) {
    OrvRetryDelay delay;
    delay.setValidServers(2);

    EXPECT_THAT(attempts(delay, 12), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 10, 10));
}

TEST(OrvRetryDelay, countsByTwoWithOneServerAndStopsAtTen) {
    OrvRetryDelay delay;
    delay.setValidServers(1);

    EXPECT_THAT(attempts(delay, 7), ElementsAre(2, 4, 6, 8, 10, 10, 10));
}

TEST(OrvRetryDelay, goesOnFromItsCountWhenTheNumberOfServersChanges) {
    OrvRetryDelay delay;
    delay.setValidServers(2);
    delays(delay, 3);

    delay.setValidServers(1);

    EXPECT_EQ(delay.nextAfterFailure(), 600u);
    EXPECT_EQ(delay.attempts(), 5u);
    EXPECT_THAT(attempts(delay, 4), ElementsAre(7, 9, 11, 11));
}

TEST(OrvRetryDelay, startsAfreshAfterAReset) {
    OrvRetryDelay delay;
    delay.setValidServers(1);
    delays(delay, 5);

    delay.reset();

    EXPECT_EQ(delay.nextAfterFailure(), 5u);
}

TEST(OrvRetryDelay, countsMoreThanTwoServersAsTwo) {
    OrvRetryDelay delay;
    delay.setValidServers(7);

    EXPECT_EQ(delay.step(), 1u);
}
