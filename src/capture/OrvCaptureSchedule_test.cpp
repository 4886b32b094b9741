#include "capture/OrvCaptureSchedule.h"

#include "platform/posix/Clock.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr std::time_t kWeek = 604800;
// Monday 2023-11-13 02:30:00 UTC
constexpr std::time_t kMonday = 1699842600;

CronCaptureItem itemOf(const std::string& owner, const char* day, const char* time, const char* weeks = "1") {
    CronCaptureItem item(owner);
    EXPECT_EQ(item.setDayOfWeek(day), 0);
    EXPECT_EQ(item.setTimeOfDay(time), 0);
    EXPECT_EQ(item.setInterval(weeks), 0);
    return item;
}

struct FirstCase {
    const char* name;
    const char* zone;
    std::int64_t now;
    const char* day;
    const char* time;
    std::int64_t first;
};

void PrintTo(const FirstCase& first, std::ostream* stream) {
    *stream << first.name;
}

constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";

const FirstCase kFirstCases[] = {
    {"exactlyNowIsDueNow", "UTC0", kMonday, "Mon", "02:30", kMonday},
    {"oneSecondLateIsAWeekLater", "UTC0", kMonday + 1, "Mon", "02:30", kMonday + kWeek},
    {"oneSecondEarlyIsThisWeek", "UTC0", kMonday - 1, "Mon", "02:30", kMonday},
    {"laterThisMinute", "UTC0", kMonday - 59, "Mon", "02:30", kMonday},
    {"laterToday", "UTC0", kMonday, "Mon", "23:59", kMonday + 21 * 3600 + 29 * 60},
    {"earlierToday", "UTC0", kMonday, "Mon", "00:00", kMonday + kWeek - 9000},
    {"tomorrow", "UTC0", kMonday, "Tue", "02:30", kMonday + 86400},
    {"tomorrowAtAnEarlierHour", "UTC0", kMonday, "Tue", "01:15", kMonday + 86400 - 75 * 60},
    {"yesterdaysDay", "UTC0", kMonday, "Sun", "02:30", kMonday + 6 * 86400},
    {"yesterdaysDayAtALaterHour", "UTC0", kMonday, "Sun", "20:00", kMonday + 6 * 86400 + 63000},
    {"lastDayOfTheWeek", "UTC0", kMonday, "Sat", "02:30", kMonday + 5 * 86400},
    // Sunday 02:30 looks ahead to Saturday, and Saturday to Sunday.
    {"sundayToSaturday", "UTC0", kMonday - 86400, "Sat", "02:30", kMonday + 5 * 86400},
    {"saturdayToSunday", "UTC0", kMonday - 2 * 86400, "Sun", "02:30", kMonday - 86400},
    {"eastOfGreenwich", "XXX-5:30", kMonday, "Mon", "08:00", kMonday},
    {"westOfGreenwichItIsStillSunday", "XXX5", kMonday, "Sun", "21:30", kMonday},
    {"westOfGreenwichMondayIsTomorrow", "XXX5", kMonday, "Mon", "02:30", kMonday + 5 * 3600},
    // 2024-03-30 12:00 CET; the clocks go forward in the night to Sunday. Kept: the run is an hour late by the clock.
    {"theClockGoesForwardBefore", kBerlin, 1711796400, "Mon", "02:30", 1711935000},
    // 2024-10-26 12:00 CEST; the clocks go back in the night to Sunday. Kept: the run is an hour early by the clock.
    {"theClockGoesBackBefore", kBerlin, 1729936800, "Mon", "02:30", 1730075400},
    // 2024-03-31 03:30 CEST, an hour after 01:30 CET: the hour between does not exist.
    {"inTheNightOfTheChange", kBerlin, 1711848600, "Sun", "04:00", 1711850400},
    {"theBeginningOfTime", "UTC0", 0, "Thu", "00:00", 0},
    {"theFirstMonday", "UTC0", 0, "Mon", "02:30", 4 * 86400 + 9000},
    {"localTimeBeforeTheEpoch", "XXX5", 0, "Wed", "19:00", 0},
    // Tuesday 2038-01-19 03:14:00 UTC; 32 bits end at 03:14:07.
    {"overTheEndOf32Bits", "UTC0", 2147483640, "Tue", "03:15", 2147483700},
    {"beyond32Bits", "UTC0", 2147483700, "Tue", "03:15", 2147483700},
    {"aWeekBeyond32Bits", "UTC0", 2147483701, "Tue", "03:15", 2147483700 + kWeek},
    // Wednesday 2040-02-29 12:00:00 UTC
    {"aLeapDayBeyond32Bits", "UTC0", 2214129600, "Thu", "12:00", 2214216000},
};

class OrvCaptureFirstExecution : public testing::TestWithParam<FirstCase> {};

TEST_P(OrvCaptureFirstExecution, isTheNextLocalOccurrence) {
    const LocalZone zone(GetParam().zone);
    ManualClock clock(GetParam().now);
    useHostClock(&clock);
    CronCaptureItem item = itemOf("Ops", GetParam().day, GetParam().time);
    item.LastExecution = 12345;

    OrvCaptureSchedule::computeFirstExecution(item);

    useHostClock(nullptr);
    EXPECT_EQ(static_cast<std::int64_t>(item.NextExecution), GetParam().first);
    EXPECT_EQ(item.LastExecution, 0);
}

INSTANTIATE_TEST_SUITE_P(When, OrvCaptureFirstExecution, testing::ValuesIn(kFirstCases),
                         [](const auto& tested) { return std::string(tested.param.name); });

class OrvCaptureScheduleTest : public testing::Test {
protected:
    OrvCaptureScheduleTest() { useHostClock(&clock_); }
    ~OrvCaptureScheduleTest() override { useHostClock(nullptr); }

    std::vector<std::string> takeOwnTraces() {
        std::vector<std::string> own = switch_.takeTraces();
        std::erase_if(own, [](const std::string& trace) { return !trace.starts_with("OrvCHCapture "); });
        return own;
    }

    // What is due now, by owner, in the order in which it would be started.
    std::vector<std::string> takeDue() {
        std::vector<std::string> owners;
        while (const CronCaptureItem* item = schedule_.due(clock_.calendar().tv_sec)) {
            owners.push_back(item->profileName());
            schedule_.advance();
        }
        return owners;
    }

    LocalZone zone_{"UTC0"};
    ManualClock clock_{kMonday - 3600};
    RecordingSwitch switch_;
    OrvCaptureSchedule schedule_;
};

TEST_F(OrvCaptureScheduleTest, tracesHowTheFirstRunIsComputed) {
    CronCaptureItem item = itemOf("Ops", "Mon", "02:30");
    switch_.takeTraces();

    OrvCaptureSchedule::computeFirstExecution(item);

    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHCapture computeFirstExecution: Entry\n",
                                                  "OrvCHCapture computeFirstExecution: \n"
                                                  "CurrentTime(Mon, 13  Nov  2023  01:30:00  +0000)\n"
                                                  "LastExecution(Thu, 01  Jan  1970  00:00:00  +0000)\n"
                                                  "NextExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n"));
}

TEST_F(OrvCaptureScheduleTest, movesTheNextRunByTheIntervalFromTheScheduledTime) {
    CronCaptureItem item = itemOf("Ops", "Mon", "02:30", "26");
    item.NextExecution = kMonday;
    clock_.setCalendar(kMonday + 500);
    switch_.takeTraces();

    OrvCaptureSchedule::computeNextExecution(item);

    EXPECT_EQ(item.LastExecution, kMonday);
    EXPECT_EQ(item.NextExecution, kMonday + 26 * kWeek);
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHCapture computeNextExecution: \n"
                                                  "LastExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n"
                                                  "NextExecution(Mon, 13  May  2024  02:30:00  +0000)\n"));
}

TEST_F(OrvCaptureScheduleTest, hasNothingDueWhileItIsEmpty) {
    EXPECT_TRUE(schedule_.empty());
    EXPECT_EQ(schedule_.due(kMonday + 10 * kWeek), nullptr);
    EXPECT_EQ(schedule_.dump(), "");
}

TEST_F(OrvCaptureScheduleTest, startsDueItemsInTheOrderOfTheirTimesAndEqualOnesInTheOrderOfInsertion) {
    schedule_.replace({itemOf("later", "Mon", "02:31"), itemOf("b", "Mon", "02:30"), itemOf("a", "Mon", "02:30"),
                       itemOf("c", "Mon", "02:30"), itemOf("tomorrow", "Tue", "02:30")});
    clock_.setCalendar(kMonday - 1);
    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(kMonday + 60);
    EXPECT_THAT(takeDue(), ElementsAre("b", "a", "c", "later"));
    EXPECT_EQ(schedule_.size(), 5u);

    // Moved on one by one, they keep their order.
    clock_.setCalendar(kMonday + kWeek + 60);
    EXPECT_THAT(takeDue(), ElementsAre("tomorrow", "b", "a", "c", "later"));
}

TEST_F(OrvCaptureScheduleTest, findsAnItemByItsProfileAndItsRhythm) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30"), itemOf("Labs", "Mon", "02:30")});

    const CronCaptureItem* found = schedule_.find(itemOf("Labs", "Mon", "02:30"));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->profileName(), "Labs");
    EXPECT_EQ(schedule_.find(itemOf("Labs", "Mon", "02:31")), nullptr);
    EXPECT_EQ(schedule_.find(itemOf("Labs", "Mon", "02:30", "2")), nullptr);
    EXPECT_EQ(schedule_.find(itemOf("Other", "Mon", "02:30")), nullptr);
}

TEST_F(OrvCaptureScheduleTest, startsAnItemOncePerMissedInterval) {
    schedule_.replace({itemOf("weekly", "Mon", "02:30"), itemOf("biweekly", "Mon", "02:31", "2")});

    clock_.setCalendar(kMonday + 2 * kWeek + 3600);

    EXPECT_THAT(takeDue(), ElementsAre("weekly", "biweekly", "weekly", "weekly", "biweekly"));
}

TEST_F(OrvCaptureScheduleTest, recomputesEveryItemInTheOrderOfTheSchedule) {
    schedule_.replace({itemOf("b", "Mon", "02:30"), itemOf("a", "Mon", "02:30"), itemOf("first", "Mon", "02:00")});
    clock_.setCalendar(kMonday + 10 * kWeek - 7200);
    switch_.takeTraces();

    schedule_.recomputeQueue();

    const std::vector<std::string> own = takeOwnTraces();
    const auto computed = [](const char* next) {
        return std::string(
                   "OrvCHCapture computeFirstExecution: \n"
                   "CurrentTime(Mon, 22  Jan  2024  00:30:00  +0000)\n"
                   "LastExecution(Thu, 01  Jan  1970  00:00:00  +0000)\n"
                   "NextExecution(Mon, 22  Jan  2024  ") +
               next + "  +0000)\n";
    };
    const char entry[] = "OrvCHCapture computeFirstExecution: Entry\n";
    EXPECT_THAT(own, ElementsAre("OrvCHCapture recomputeQueue: Entry\n", entry, computed("02:00:00"), entry,
                                 computed("02:30:00"), entry, computed("02:30:00")));
    EXPECT_EQ(schedule_.dump(),
              "  first: Mon 02:00, every 1 weeks, LastExecution = Thu, 01  Jan  1970  00:00:00  +0000, NextExecution = "
              "Mon, 22  Jan  2024  02:00:00  +0000\n"
              "  b: Mon 02:30, every 1 weeks, LastExecution = Thu, 01  Jan  1970  00:00:00  +0000, NextExecution = "
              "Mon, 22  Jan  2024  02:30:00  +0000\n"
              "  a: Mon 02:30, every 1 weeks, LastExecution = Thu, 01  Jan  1970  00:00:00  +0000, NextExecution = "
              "Mon, 22  Jan  2024  02:30:00  +0000\n");
    EXPECT_EQ(schedule_.size(), 3u);
}

// Kept: the rhythm of several weeks starts afresh with the next weekday.
TEST_F(OrvCaptureScheduleTest, losesARhythmOfSeveralWeeksWhenItIsRecomputed) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30", "4")});
    clock_.setCalendar(kMonday);
    takeDue();

    clock_.setCalendar(kMonday + 3600);
    schedule_.recomputeQueue();

    EXPECT_EQ(schedule_.due(kMonday + kWeek - 1), nullptr);
    EXPECT_NE(schedule_.due(kMonday + kWeek), nullptr);
}

TEST_F(OrvCaptureScheduleTest, isReplacedAsAWhole) {
    schedule_.replace({itemOf("old", "Mon", "02:30"), itemOf("other", "Tue", "02:30")});

    schedule_.replace({itemOf("new", "Mon", "02:30")});

    EXPECT_EQ(schedule_.size(), 1u);
    clock_.setCalendar(kMonday + 100);
    EXPECT_THAT(takeDue(), ElementsAre("new"));
    schedule_.replace({});
    EXPECT_TRUE(schedule_.empty());
}

TEST_F(OrvCaptureScheduleTest, keepsAnUnchangedItemThatIsDueAlready) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30", "2")});
    clock_.setCalendar(kMonday);
    takeDue();
    clock_.setCalendar(kMonday + 2 * kWeek + 30);

    schedule_.replace({itemOf("Ops", "Mon", "02:30", "2")});

    const CronCaptureItem* due = schedule_.due(kMonday + 2 * kWeek + 30);
    ASSERT_NE(due, nullptr);
    EXPECT_EQ(due->LastExecution, kMonday);
    EXPECT_EQ(due->NextExecution, kMonday + 2 * kWeek);
    EXPECT_THAT(takeDue(), ElementsAre("Ops"));
}

TEST_F(OrvCaptureScheduleTest, keepsLastExecutionOfAnItemThatIsDueInThisSecond) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30", "2")});
    clock_.setCalendar(kMonday);
    takeDue();
    clock_.setCalendar(kMonday + 2 * kWeek);
    switch_.takeTraces();

    schedule_.replace({itemOf("Ops", "Mon", "02:30", "2")});

    EXPECT_THAT(takeOwnTraces(), ElementsAre("OrvCHCapture replace: \n"
                                             "LastExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n"
                                             "NextExecution(Mon, 27  Nov  2023  02:30:00  +0000)\n"));
    const CronCaptureItem* due = schedule_.due(kMonday + 2 * kWeek);
    ASSERT_NE(due, nullptr);
    EXPECT_EQ(due->LastExecution, kMonday);
    EXPECT_EQ(due->NextExecution, kMonday + 2 * kWeek);
    EXPECT_THAT(takeDue(), ElementsAre("Ops"));
}

TEST_F(OrvCaptureScheduleTest, computesAChangedItemAnewEvenWhenItWasDue) {
    const CronCaptureItem changed[] = {itemOf("Dev", "Mon", "02:30"), itemOf("Ops", "Tue", "02:30"),
                                       itemOf("Ops", "Mon", "02:29"), itemOf("Ops", "Mon", "02:30", "2")};
    for (const CronCaptureItem& item : changed) {
        clock_.setCalendar(kMonday - 3600);
        schedule_.replace({});
        schedule_.replace({itemOf("Ops", "Mon", "02:30")});
        clock_.setCalendar(kMonday + 30);
        schedule_.replace({item});
        EXPECT_EQ(schedule_.due(kMonday + 30), nullptr);
        EXPECT_EQ(schedule_.size(), 1u);
    }
}

TEST_F(OrvCaptureScheduleTest, doesNotRepeatAnItemThatHasRun) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30")});
    clock_.setCalendar(kMonday + 30);
    EXPECT_THAT(takeDue(), ElementsAre("Ops"));

    schedule_.replace({itemOf("Ops", "Mon", "02:30")});

    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(kMonday + kWeek);
    EXPECT_THAT(takeDue(), ElementsAre("Ops"));
}

TEST_F(OrvCaptureScheduleTest, doesNotRepeatAnItemThatHasRunInThisSecond) {
    clock_.setCalendar(kMonday - 3600);
    schedule_.replace({itemOf("Ops", "Mon", "02:30", "4"), itemOf("Dev", "Mon", "02:30")});
    clock_.setCalendar(kMonday);
    EXPECT_THAT(takeDue(), ElementsAre("Ops", "Dev"));

    schedule_.replace({itemOf("Ops", "Mon", "02:30", "4"), itemOf("Dev", "Mon", "02:30")});

    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(kMonday + kWeek - 1);
    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(kMonday + kWeek);
    EXPECT_THAT(takeDue(), ElementsAre("Ops", "Dev"));
}

// Kept: the rhythm of several weeks starts afresh with the next weekday.
TEST_F(OrvCaptureScheduleTest, computesTheNextWeekdayForAnItemOfSeveralWeeksThatRanInThisSecond) {
    for (const char* weeks : {"1", "2", "4", "26"}) {
        for (const std::int64_t later : {0, 1}) {
            clock_.setCalendar(kMonday - 3600);
            schedule_.replace({});
            schedule_.replace({itemOf("Ops", "Mon", "02:30", weeks)});
            clock_.setCalendar(kMonday);
            takeDue();
            clock_.setCalendar(kMonday + later);

            // As often as it is read.
            for (int read = 0; read < 2; ++read) {
                schedule_.replace({itemOf("Ops", "Mon", "02:30", weeks)});
                EXPECT_EQ(schedule_.due(kMonday + kWeek - 1), nullptr) << weeks << " weeks, " << later;
                const CronCaptureItem* due = schedule_.due(kMonday + kWeek);
                ASSERT_NE(due, nullptr) << weeks << " weeks, " << later;
                EXPECT_EQ(due->NextExecution, kMonday + kWeek);
                EXPECT_EQ(due->LastExecution, later == 0 ? kMonday : 0);
            }
        }
    }
}

TEST_F(OrvCaptureScheduleTest, tracesTheTimesThatAnItemGetsThatRanInThisSecond) {
    schedule_.replace({itemOf("Ops", "Mon", "02:30", "4")});
    clock_.setCalendar(kMonday);
    takeDue();
    switch_.takeTraces();

    schedule_.replace({itemOf("Ops", "Mon", "02:30", "4")});

    EXPECT_THAT(takeOwnTraces(), ElementsAre("OrvCHCapture computeFirstExecution: Entry\n",
                                             "OrvCHCapture computeFirstExecution: \n"
                                             "CurrentTime(Mon, 13  Nov  2023  02:30:00  +0000)\n"
                                             "LastExecution(Thu, 01  Jan  1970  00:00:00  +0000)\n"
                                             "NextExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n",
                                             "OrvCHCapture replace: \n"
                                             "LastExecution(Mon, 13  Nov  2023  02:30:00  +0000)\n"
                                             "NextExecution(Mon, 20  Nov  2023  02:30:00  +0000)\n"));
}

// Kept: the second 02:30 of that night is an occurrence like any other.
TEST_F(OrvCaptureScheduleTest, startsAgainWhenReadBetweenTheTwoTimesOfTheChangeToWinter) {
    const LocalZone zone(kBerlin);
    constexpr std::time_t kFirst = 1729989000;  // Sunday 2024-10-27 02:30 CEST; an hour later it is 02:30 CET
    for (const bool reads : {false, true}) {
        clock_.setCalendar(kFirst - 3600);
        schedule_.replace({});
        schedule_.replace({itemOf("Ops", "Sun", "02:30")});
        clock_.setCalendar(kFirst);
        EXPECT_THAT(takeDue(), ElementsAre("Ops"));
        clock_.setCalendar(kFirst + 2400);  // 02:10 CET
        if (reads) {
            schedule_.replace({itemOf("Ops", "Sun", "02:30")});
        }

        EXPECT_THAT(takeDue(), ElementsAre());
        clock_.setCalendar(kFirst + 3600);
        EXPECT_EQ(takeDue().size(), reads ? 1u : 0u);
    }
}

// A changed item is another one: what ran under the old name does not count for it.
TEST_F(OrvCaptureScheduleTest, startsAChangedItemOfThisSecond) {
    for (const CronCaptureItem& item : {itemOf("Renamed", "Mon", "02:30"), itemOf("Ops", "Mon", "02:30", "2")}) {
        clock_.setCalendar(kMonday - 3600);
        schedule_.replace({});
        schedule_.replace({itemOf("Ops", "Mon", "02:30")});
        clock_.setCalendar(kMonday);
        takeDue();
        schedule_.replace({item});
        EXPECT_NE(schedule_.due(kMonday), nullptr);
    }
}

TEST_F(OrvCaptureScheduleTest, keepsItsOrderOverTheEndOf32Bits) {
    clock_.setCalendar(2147483600);  // Tuesday 2038-01-19 03:13:20
    schedule_.replace({itemOf("after", "Tue", "03:15"), itemOf("before", "Tue", "03:14")});

    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(2147483647);
    EXPECT_THAT(takeDue(), ElementsAre("before"));
    clock_.setCalendar(2147483648);
    EXPECT_THAT(takeDue(), ElementsAre());
    clock_.setCalendar(2147483700);
    EXPECT_THAT(takeDue(), ElementsAre("after"));
    clock_.setCalendar(2147483700 + kWeek);
    EXPECT_THAT(takeDue(), ElementsAre("before", "after"));
}

}  // namespace
