#include "base/OrvTimeText.h"

#include "testing/base/HostFixture.h"

#include <string>

namespace {

class OrvTimeText : public HostFixture {
protected:
    // Before 31-bit seconds run out, and behind: 2040-01-02 03:04:05 UTC.
    static constexpr std::time_t kAfter2038 = 2209086245;
};

TEST_F(OrvTimeText, nowIsWeekdayMonthDayTimeZoneYear) {
    EXPECT_EQ(orvNowText(), "Tue Nov 14 22:13:20 UTC 2023");
}

TEST_F(OrvTimeText, nowIsInLocalTime) {
    const ZoneScope zone("EST5EDT,M3.2.0,M11.1.0");

    EXPECT_EQ(orvNowText(), "Tue Nov 14 17:13:20 EST 2023");
}

TEST_F(OrvTimeText, nowIsQuestionMarksWithoutLocalTime) {
    clock_.set(kNoLocalTime, 0);

    EXPECT_EQ(orvNowText(), "??? ??? ?? ??:??:??: ??? ????");
}

TEST_F(OrvTimeText, nowHasNoZoneThatDoesNotFitInSixtyFourCharacters) {
    const std::string longest(38, 'Z');
    {
        const ZoneScope zone((longest + "0").c_str());
        EXPECT_EQ(orvNowText(), "Tue Nov 14 22:13:20 " + longest + " 2023");
    }
    const ZoneScope zone((longest + "Z0").c_str());
    EXPECT_EQ(orvNowText(), "??? ??? ?? ??:??:??: ??? ????");
}

TEST_F(OrvTimeText, calendarNowIsThePlatformsCalendar) {
    EXPECT_EQ(orvCalendarNow(), kNow);
}

TEST_F(OrvTimeText, calendarDoesNotEndIn2038) {
    clock_.set(kAfter2038, 0);

    EXPECT_EQ(orvCalendarNow(), kAfter2038);
    EXPECT_EQ(orvNowText(), "Mon Jan 02 03:04:05 UTC 2040");
}

TEST_F(OrvTimeText, eventTimeHasMillisecondsBehindTheTime) {
    EXPECT_EQ(orvEventTimeText(kNow, 123456), "Tue Nov 14 22:13:20.123 UTC 2023");
}

TEST_F(OrvTimeText, eventTimePadsMillisecondsToThreeDigits) {
    EXPECT_EQ(orvEventTimeText(kNow, 0), "Tue Nov 14 22:13:20.000 UTC 2023");
    EXPECT_EQ(orvEventTimeText(kNow, 7999), "Tue Nov 14 22:13:20.007 UTC 2023");
    EXPECT_EQ(orvEventTimeText(kNow, 999999), "Tue Nov 14 22:13:20.999 UTC 2023");
}

TEST_F(OrvTimeText, eventTimeTakesAnyMicroseconds) {
    EXPECT_EQ(orvEventTimeText(kNow, 4294967295u), "Tue Nov 14 22:13:20.4294967 UTC 2023");
}

TEST_F(OrvTimeText, eventTimeIsGoodUntil2106) {
    EXPECT_EQ(orvEventTimeText(4294967295, 0), "Sun Feb 07 06:28:15.000 UTC 2106");
}

TEST_F(OrvTimeText, eventTimeIsEmptyWithoutLocalTime) {
    EXPECT_EQ(orvEventTimeText(kNoLocalTime, 0), "");
}

TEST_F(OrvTimeText, mailDateHasDoubledBlanksAndNumericZone) {
    EXPECT_EQ(orvMailDateText(kNow), "Tue, 14  Nov  2023  22:13:20  +0000");
}

TEST_F(OrvTimeText, mailDateIsInLocalTime) {
    const ZoneScope zone("IST-5:30");

    EXPECT_EQ(orvMailDateText(kNow), "Wed, 15  Nov  2023  03:43:20  +0530");
}

TEST_F(OrvTimeText, mailDatePadsTheDayWithAZero) {
    EXPECT_EQ(orvMailDateText(kNow - 5 * 86400), "Thu, 09  Nov  2023  22:13:20  +0000");
}

TEST_F(OrvTimeText, mailDateIsEmptyWithoutLocalTime) {
    EXPECT_EQ(orvMailDateText(kNoLocalTime), "");
}

TEST_F(OrvTimeText, localTimeIsWrittenOnSuccessOnly) {
    std::tm local{};
    local.tm_year = 77;

    EXPECT_EQ(orvLocalTime(kNoLocalTime, local), -1);
    EXPECT_EQ(local.tm_year, 77);
    EXPECT_EQ(orvLocalTime(kNow, local), 0);
    EXPECT_EQ(local.tm_year, 123);
}

TEST_F(OrvTimeText, formatIsEmptyWhenItDoesNotFit) {
    std::tm local{};
    ASSERT_EQ(orvLocalTime(kNow, local), 0);

    EXPECT_EQ(orvTimeFormat(5, "%Y", local), "2023");
    EXPECT_EQ(orvTimeFormat(4, "%Y", local), "");
}

}  // namespace
