#include "box/search/Delays.h"

#include <gtest/gtest.h>

#include <vector>

namespace box {
namespace {

// Each pause is waited out. What is wrong with the first one that is wrong.
std::string problemOf(const std::vector<std::uint32_t>& pauses) {
    Delays delays;
    Time now = 0;
    for (const std::uint32_t pause : pauses) {
        std::string problem = delays.announced(now, pause);
        now += pause * kSecond;
        problem += delays.connects(now);
        if (!problem.empty()) {
            return problem;
        }
    }
    return "";
}

}  // namespace

TEST(Delays, growAsTheyShallWithOneServerAndWithTwo) {
    EXPECT_EQ(problemOf({5, 5, 300, 300, 600, 600, 1800, 1800, 3600, 3600}), "");
    EXPECT_EQ(problemOf({5, 300, 600, 1800, 3600, 3600}), "");
}

TEST(Delays, areWrongWhenOneIsLeftOutOrMadeOnceMore) {
    EXPECT_NE(problemOf({300}), "");
    EXPECT_NE(problemOf({5, 600}), "");
    EXPECT_NE(problemOf({5, 5, 5}), "");
    EXPECT_NE(problemOf({5, 5, 300, 600}), "");
    EXPECT_NE(problemOf({5, 300, 600, 600}), "");
}

TEST(Delays, areWrongWhenTheyAreNotKept) {
    Delays delays;
    EXPECT_EQ(delays.announced(0, 5), "");

    EXPECT_NE(delays.connects(3 * kSecond), "");
}

TEST(Delays, beginAnewWhenAMessageIsFinished) {
    Delays delays;
    EXPECT_EQ(delays.announced(0, 5), "");
    delays.beginAnew();

    EXPECT_EQ(delays.connects(kSecond), "");
    EXPECT_NE(delays.announced(kSecond, 300), "");
}

TEST(Delays, areAMessagesOwnWhereItIsPutOff) {
    Delays delays;
    EXPECT_EQ(delays.announced(0, 5), "");
    delays.putsOff();
    EXPECT_EQ(delays.announced(10 * kSecond, 1800), "");

    EXPECT_EQ(delays.connects(11 * kSecond), "") << "others go on";
    EXPECT_EQ(delays.announced(12 * kSecond, 5), "") << "failures begin anew";
    for (const std::uint32_t pause : {0u, 6u}) {
        delays.putsOff();
        EXPECT_NE(delays.announced(20 * kSecond, pause), "");
    }
}

TEST(Delays, mayBeginAnewWhileSettingsAreRead) {
    for (const std::uint32_t pause : {5u, 300u}) {
        Delays delays;
        EXPECT_EQ(delays.announced(0, 5), "");
        EXPECT_EQ(delays.announced(10 * kSecond, 5), "");
        delays.mayBeginAnew();

        EXPECT_EQ(delays.announced(20 * kSecond, pause), "");
    }
}

}  // namespace box
