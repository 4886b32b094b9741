// Which captures run when the clock is moved, when it changes for summer and winter, and at both ends of 32 bits.
#include "base/OrvTimeText.h"
#include "testing/capture/CaptureTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

struct ClockCase {
    const char* name;
    const char* zone;
    std::int64_t start;  // the clock when the item is scheduled; a check every minute from then on
    const char* day;
    const char* time;
    int movesAfter;        // minutes; 0: the clock is left alone
    std::int64_t movesBy;  // seconds
    int minutes;           // how long to watch in all
    Texts starts;          // local times of the checks that started a capture
    const char* next;      // the next run after that
};

void PrintTo(const ClockCase& tested, std::ostream* stream) {
    *stream << tested.name;
}

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;
// Monday 2023-11-13 00:00:00 UTC
constexpr std::int64_t kMidnight = 1699833600;

constexpr char kUtc[] = "UTC0";
constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
// Saturdays at noon before the clocks change in the night: 2024-03-30 CET, 2024-10-26 CEST.
constexpr std::int64_t kBeforeSummer = 1711796400;
constexpr std::int64_t kBeforeWinter = 1729936800;
// Tuesday 2038-01-19 03:14:00 UTC; 32 bits of seconds end at 03:14:07.
constexpr std::int64_t kLastMinute = 2147483640;

const ClockCase kMoves[] = {
    {"leftAloneStartsItOnce",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     0,
     0,
     300,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},

    {"halfAnHourForwardOverItsTimeStartsItLate",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     134,
     1800,
     300,
     {"Mon 13 Nov 2023 02:45:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    {"anHourForwardBeforeItsTimeStartsItAtItsTime",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     60,
     kHour,
     300,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    {"anHourForwardOverItsTimeLosesItForTheWeek",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     120,
     kHour,
     300,
     {},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    {"anHourForwardAfterItsTimeStartsItNoMore",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     180,
     kHour,
     300,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},

    {"anHourBackBeforeItsTimeStartsItAtItsTime",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     140,
     -kHour,
     300,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    // The checks count the clock as going on: the hour that comes again repeats nothing.
    {"anHourBackAfterItsTimeDoesNotRepeatIt",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     180,
     -kHour,
     360,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    // Kept: from the new time, the capture lies ahead.
    {"twoHoursBackAfterItsTimeRepeatIt",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     180,
     -2 * kHour,
     400,
     {"Mon 13 Nov 2023 02:30:00", "Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},

    {"aDayForwardOverItsTimeLosesItForTheWeek",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     60,
     kDay,
     300,
     {},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    {"aDayForwardToTheDayOfAnotherStartsThatOne",
     kUtc,
     kMidnight,
     "Tue",
     "02:30",
     60,
     kDay,
     300,
     {"Tue 14 Nov 2023 02:30:00"},
     "Tue, 21  Nov  2023  02:30:00  +0000"},
    {"aDayBackBeforeItsTimeStartsItOnce",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     60,
     -kDay,
     60 + 1440 + 120,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
    {"aDayBackAfterItsTimeRepeatsIt",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     180,
     -kDay,
     180 + 1440 + 120,
     {"Mon 13 Nov 2023 02:30:00", "Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},

    // To Wednesday 2023-12-13: four Mondays are passed over, and none is made up.
    {"aMonthForwardMakesUpForNoWeek",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     60,
     30 * kDay,
     300,
     {},
     "Mon, 18  Dec  2023  02:30:00  +0000"},
    // To Saturday 2023-10-14.
    {"aMonthBackStartsAtTheNextMonday",
     kUtc,
     kMidnight,
     "Mon",
     "02:30",
     180,
     -30 * kDay,
     300,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 16  Oct  2023  02:30:00  +0000"},

    // 02:00 CET becomes 03:00 CEST. Kept: the times before and after are seconds apart, not hours of the clock.
    {"forwardForSummerAfterARunKeepsItsSeconds",
     kBerlin,
     kBeforeSummer,
     "Sun",
     "01:30",
     0,
     0,
     1000,
     {"Sun 31 Mar 2024 01:30:00"},
     "Sun, 07  Apr  2024  02:30:00  +0200"},
    {"forwardForSummerStartsATimeThatDoesNotExistAnHourLater",
     kBerlin,
     kBeforeSummer,
     "Sun",
     "02:30",
     0,
     0,
     1000,
     {"Sun 31 Mar 2024 03:30:00"},
     "Sun, 07  Apr  2024  03:30:00  +0200"},
    {"forwardForSummerStartsLaterOnesAnHourLate",
     kBerlin,
     kBeforeSummer,
     "Sun",
     "03:30",
     0,
     0,
     1000,
     {"Sun 31 Mar 2024 04:30:00"},
     "Sun, 07  Apr  2024  04:30:00  +0200"},
    // Sunday 2024-03-31 03:10 CEST
    {"startedAfterTheChangeToSummerIsOnTime",
     kBerlin,
     1711847400,
     "Sun",
     "03:30",
     0,
     0,
     60,
     {"Sun 31 Mar 2024 03:30:00"},
     "Sun, 07  Apr  2024  03:30:00  +0200"},

    // 03:00 CEST becomes 02:00 CET: 02:30 comes twice.
    {"backForWinterStartsATimeThatComesTwiceOnce",
     kBerlin,
     kBeforeWinter,
     "Sun",
     "02:30",
     0,
     0,
     1100,
     {"Sun 27 Oct 2024 02:30:00"},
     "Sun, 03  Nov  2024  01:30:00  +0100"},
    {"backForWinterStartsLaterOnesAnHourEarly",
     kBerlin,
     kBeforeWinter,
     "Sun",
     "04:30",
     0,
     0,
     1100,
     {"Sun 27 Oct 2024 03:30:00"},
     "Sun, 03  Nov  2024  03:30:00  +0100"},
    // Sunday 2024-10-27 02:40 CEST: the first 02:30 has passed, and the second is not looked for.
    {"startedBetweenTheTwoTimesWaitsAWeek",
     kBerlin,
     1729989600,
     "Sun",
     "02:30",
     0,
     0,
     120,
     {},
     "Sun, 03  Nov  2024  01:30:00  +0100"},
    // Sunday 2024-10-27 02:10 CET
    {"startedAfterTheChangeToWinterIsOnTime",
     kBerlin,
     1729991400,
     "Sun",
     "02:30",
     0,
     0,
     60,
     {"Sun 27 Oct 2024 02:30:00"},
     "Sun, 03  Nov  2024  02:30:00  +0100"},

    {"startedAt1970StartsWhatIsDueThen",
     kUtc,
     0,
     "Thu",
     "00:30",
     0,
     0,
     60,
     {"Thu 01 Jan 1970 00:30:00"},
     "Thu, 08  Jan  1970  00:30:00  +0000"},
    // As when the time comes over the network a little after the start. 2800 weeks are not made up.
    {"setToThePresentAfterAStartAt1970StartsFromThere",
     kUtc,
     0,
     "Mon",
     "02:30",
     5,
     kMidnight,
     200,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},

    {"goingOverTheEndOf32BitsGoesOn",
     kUtc,
     kLastMinute - 600,
     "Tue",
     "03:15",
     0,
     0,
     60,
     {"Tue 19 Jan 2038 03:15:00"},
     "Tue, 26  Jan  2038  03:15:00  +0000"},
    // Wednesday 2040-02-29 12:00:00 UTC
    {"startedBeyond32BitsStartsInItsWeek",
     kUtc,
     2214129600,
     "Thu",
     "00:30",
     0,
     0,
     800,
     {"Thu 01 Mar 2040 00:30:00"},
     "Thu, 08  Mar  2040  00:30:00  +0000"},
    {"setFrom1970ToBeyond32BitsStartsFromThere",
     kUtc,
     0,
     "Wed",
     "13:00",
     5,
     2214129600,
     90,
     {"Wed 29 Feb 2040 13:00:00"},
     "Wed, 07  Mar  2040  13:00:00  +0000"},
    {"setBackFromBeyond32BitsStartsFromThere",
     kUtc,
     2214129600,
     "Mon",
     "02:30",
     5,
     kMidnight - 2214129600,
     200,
     {"Mon 13 Nov 2023 02:30:00"},
     "Mon, 20  Nov  2023  02:30:00  +0000"},
};

class OrvCHCaptureMovedClock : public CaptureTest, public testing::WithParamInterface<ClockCase> {
protected:
    // A minute with its check; notes the captures that it starts.
    void passMinute() {
        for (int second = 0; second < 59; ++second) {
            capture().tick(true);
        }
        clock_.advance(60000);
        capture().tick(true);
        std::tm local{};
        ASSERT_EQ(orvLocalTime(static_cast<std::time_t>(clock_.calendar().tv_sec), local), 0);
        starts_.insert(starts_.end(), takeStarted(), orvTimeFormat(64, "%a %d %b %Y %H:%M:%S", local));
    }
    std::string nextRun() {
        const std::string shown = probe();
        const std::string label = "NextExecution = ";
        const std::size_t found = shown.find(label);
        return found == std::string::npos ? shown : shown.substr(found + label.size(), 34);
    }

    Texts starts_;
};

TEST_P(OrvCHCaptureMovedClock, decidesWhatRuns) {
    const ClockCase& tested = GetParam();
    const LocalZone zone(tested.zone);
    clock_.setCalendar(tested.start);
    schedule({itemOf("Ops", tested.day, tested.time)});
    for (int minute = 1; minute <= tested.minutes; ++minute) {
        passMinute();
        if (minute == tested.movesAfter) {
            clock_.setCalendar(clock_.calendar().tv_sec + tested.movesBy);
        }
    }

    EXPECT_EQ(starts_, tested.starts);
    EXPECT_EQ(nextRun(), std::string(tested.next).substr(0, 34));
}

INSTANTIATE_TEST_SUITE_P(When, OrvCHCaptureMovedClock, testing::ValuesIn(kMoves),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
