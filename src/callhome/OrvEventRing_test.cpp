#include "callhome/OrvEventRing.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

Sw_Log_Type event(const std::string& text) {
    Sw_Log_Type record;
    record.text = text;
    return record;
}

TEST(OrvEventRing, drainsTheThirteenBucketsTheCurrentOneLast) {
    OrvEventRing ring;
    ring.keep(event("one"));
    ring.keep(event("two"));

    std::vector<std::string> seen;
    ring.drain([&](std::uint32_t bucket) { seen.push_back("[" + std::to_string(bucket) + "]"); },
               [&](const Sw_Log_Type& record) { seen.push_back(record.text); });

    EXPECT_THAT(seen, ElementsAre("[1]", "[2]", "[3]", "[4]", "[5]", "[6]", "[7]", "[8]", "[9]", "[10]", "[11]", "[12]",
                                  "[0]", "one", "two"));
}

TEST(OrvEventRing, handsARecordOutOnceAndKeepsWhatComesBackMeanwhile) {
    OrvEventRing ring;
    ring.keep(event("again"));

    int taken = 0;
    const auto drain = [&] {
        ring.drain([](std::uint32_t) {},
                   [&](const Sw_Log_Type& record) {
                       if (++taken == 1) {
                           ring.keep(record);
                       }
                   });
    };
    drain();
    EXPECT_EQ(taken, 1);
    drain();
    EXPECT_EQ(taken, 2);
    drain();
    EXPECT_EQ(taken, 2);
}

}  // namespace
