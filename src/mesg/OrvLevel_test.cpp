#include "mesg/OrvMesgNumbers.h"

#include "catalogue/OrvEventCatalogue.h"

#include <gtest/gtest.h>

#include <limits>

struct LevelCase {
    std::int32_t number;
    const char* name;
};

static const LevelCase kLevels[] = {{0, "Info"}, {1, "Warn"}, {2, "Critical"}, {3, "Alarm"}, {4, "Fault"}, {5, "None"}};

TEST(OrvLevel, namesEveryNumberAndNumbersEveryName) {
    for (const LevelCase& level : kLevels) {
        EXPECT_STREQ(orvLevelName(level.number), level.name);
        EXPECT_EQ(orvLevelNumber(level.name), level.number);
    }
}

TEST(OrvLevel, namesNumbersOutsideTheTableNone) {
    for (const std::int32_t number :
         {6, 9, -1, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_STREQ(orvLevelName(number), "None") << number;
    }
}

TEST(OrvLevel, numbersUnknownNamesFive) {
    for (const char* name : {"warn", "WARN", "", "Warn ", " Warn", "Warning", "War", "1"}) {
        EXPECT_EQ(orvLevelNumber(name), 5) << name;
    }
}

// Else the mail about a message of the daemon's own would carry the identifier of an entry.
TEST(OrvMesgNumbers, areThoseOfNoEntry) {
    for (const OrvCatalogueRow& row : orvCatalogue()) {
        for (const std::uint32_t number : {kOrvTestMesg, kOrvPowerUpMesg, kOrvStateMesg, kOrvCaptureMesg}) {
            EXPECT_NE(row.id, number) << row.name;
        }
    }
}
