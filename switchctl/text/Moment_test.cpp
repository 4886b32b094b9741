// A moment as people type it.
#include "switchctl/text/Moment.h"

#include "switchctl/text/Second.h"

#include <gtest/gtest.h>

namespace {

// 2023-11-14 22:13:20.5 UTC, which is these tests' zone.
constexpr std::int64_t TYPED_AT = 1700000000 * SECOND + SECOND / 2;
constexpr std::int64_t MIDNIGHT = 1699920000;

struct MomentCase {
    const char* text;
    std::int64_t microseconds;
};

const MomentCase MOMENTS[] = {
    {"now", TYPED_AT},
    {"30s ago", TYPED_AT - 30 * SECOND},
    {"5 min ago", TYPED_AT - 300 * SECOND},
    {"2h ago", TYPED_AT - 7200 * SECOND},
    {"1 day ago", TYPED_AT - 86400 * SECOND},
    {"2 weeks ago", TYPED_AT - 14 * 86400 * SECOND},
    {"2023-11-14", MIDNIGHT* SECOND},
    {"2023-11-14T10:30", (MIDNIGHT + 37800) * SECOND},
    {"2023-11-14 10:30", (MIDNIGHT + 37800) * SECOND},
    {"2023-11-14T10:30:05", (MIDNIGHT + 37805) * SECOND},
    {"2023-11-14T10:30:05.25", (MIDNIGHT + 37805) * SECOND + SECOND / 4},
    {"2023-11-14T10:30:05Z", (MIDNIGHT + 37805) * SECOND},
    {"2023-11-14T10:30:05+0100", (MIDNIGHT + 34205) * SECOND},
    {"2023-11-14T10:30:05.000001-05:30", (MIDNIGHT + 57605) * SECOND + 1},
    {"10:30", (MIDNIGHT + 37800) * SECOND},
    {"10:30:07", (MIDNIGHT + 37807) * SECOND},
};

TEST(Moment, isReadInEveryForm) {
    for (const MomentCase& one : MOMENTS) {
        EXPECT_EQ(Moment::parse(one.text, TYPED_AT), one.microseconds) << one.text;
    }
}

TEST(Moment, nothingElseIsOne) {
    for (const char* text : {"", "x", "soon", "10", "10:", "25:00", "2023-13-01", "2h", "ago", "h ago", "-2h ago",
                             "2x ago", "2023-11-14T10:30:05+1", "2023-11-14T10:30:05 more", "10:30 ago"}) {
        EXPECT_EQ(Moment::parse(text, TYPED_AT), std::nullopt) << text;
    }
}

}  // namespace
