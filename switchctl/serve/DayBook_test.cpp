#include "switchctl/serve/DayBook.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t NOON = 1700049600;  // 2023-11-15 12:00:00 UTC
constexpr const char* EARLY = "11/15/2023 UTC 11:50:00.000  17 ";
constexpr const char* LATE = "11/15/2023 UTC 12:01:00.000  17 ";

std::string comes(const std::string& head) {
    return head + "OrvCHMesgQ add: testMsg = false, persist = false\n";
}

std::string moves(const std::string& head, const std::string& method, unsigned early, unsigned waiting) {
    return head + "OrvCHMesgQ " + method +
           ": entry (0) added to the send queue\n"
           "  Queue             Count  Space Used\n"
           "    init                " +
           std::to_string(early) + "           0\n    send                " + std::to_string(waiting) +
           "         600\n    duplicate           7           0\n";
}

std::string mailed(const std::string& head) {
    return head + "OrvCHMesgQ peekDelete: entry (0) has completed processing, (x) remove it from the send queue\n";
}

class DayBookTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
    // The step that begins then.
    std::string step(const std::string& time, std::int64_t now = NOON + 120) {
        const std::string all = book_.upTo(now).dump();
        const std::size_t begin = all.find("{\"time\":\"2023-11-15T" + time);
        return begin == std::string::npos ? "" : all.substr(begin, all.find('}', begin) - begin + 1);
    }

    DayBook book_;
};

TEST_F(DayBookTest, countsInQuartersOfAnHour) {
    book_.takeTrace(comes(EARLY) + moves(EARLY, "addInternal", 0, 1) + comes(LATE) + mailed(LATE), true);

    EXPECT_THAT(step("11:45"), HasSubstr("\"failed\":0,\"received\":1,\"mailed\":0,\"waiting\":1"));
    EXPECT_THAT(step("12:00"), HasSubstr("\"received\":1,\"mailed\":1"));
}

TEST_F(DayBookTest, knowsNothingOfWhatCameBeforeTheTrace) {
    book_.takeTrace(comes(LATE), true);

    EXPECT_THAT(step("11:45"), HasSubstr("\"received\":null,\"mailed\":null,\"waiting\":null"));
    EXPECT_THAT(step("12:00"), HasSubstr("\"received\":1"));
}

TEST_F(DayBookTest, takesMessagesThatCameEarlyForWaiting) {
    book_.takeTrace(moves(EARLY, "addInternal", 2, 3), true);

    EXPECT_THAT(step("11:45"), HasSubstr("\"waiting\":5"));
}

TEST_F(DayBookTest, showsTheMostThatWaitedAndGoesOnWithTheLast) {
    book_.takeTrace(moves(EARLY, "addInternal", 0, 4) + moves(EARLY, "removeInternal", 0, 2), true);

    EXPECT_THAT(step("11:45"), HasSubstr("\"waiting\":4"));
    EXPECT_THAT(step("12:00"), HasSubstr("\"waiting\":2"));
    book_.takeWaiting(1, NOON);
    EXPECT_THAT(step("12:00"), HasSubstr("\"waiting\":1"));
}

TEST_F(DayBookTest, goesOnWithWhatWaitedWhenThatWasForgotten) {
    book_.takeTrace(moves(EARLY, "addInternal", 0, 4), true);
    book_.upTo(NOON + 86400);

    EXPECT_THAT(book_.upTo(NOON + 2 * 86400).dump(), Not(HasSubstr("\"waiting\":null")));
    EXPECT_THAT(book_.upTo(NOON + 2 * 86400).dump(), HasSubstr("\"waiting\":4"));
}

TEST_F(DayBookTest, countsARecordOnceHoweverItComes) {
    const std::string text = comes(EARLY) + moves(EARLY, "addInternal", 0, 3) + mailed(EARLY) + comes(LATE);
    for (const char c : text) {
        book_.takeTrace(std::string(1, c), true);
    }
    EXPECT_THAT(step("11:45"), HasSubstr("\"received\":1,\"mailed\":1"));
    EXPECT_THAT(step("12:00"), HasSubstr("\"received\":1"));
}

TEST_F(DayBookTest, saysWhereMoreMayHaveHappened) {
    book_.takeTrace(comes(EARLY), true);
    book_.takeTrace(comes(LATE), false);

    EXPECT_THAT(step("11:45"), EndsWith("\"gap\":false}"));
    EXPECT_THAT(step("12:00"), EndsWith("\"gap\":true}"));
}

TEST_F(DayBookTest, countsFailuresOfTheEventLog) {
    book_.takeLog(
        "2023-11-15T11:50:00.103421+0000 3 128/0x8b000013 4096 OrvApp Encountered failure communicating\n"
        "2023-11-15T11:50:01.103421+0000 3 129/0x8b00000f 4096 OrvApp Will retry\n"
        "nonsense\n\n2023-11-15T11:50:01 3 x/y 1 OrvApp Encountered\n");

    EXPECT_THAT(step("11:45"), HasSubstr("\"failed\":1"));
    EXPECT_EQ(book_.lastEntry(), 129u);
}

TEST_F(DayBookTest, holdsADayWhateverTheTimes) {
    std::string text;
    for (int day = 1; day <= 28; ++day) {
        for (const char* month : {"01", "06", "12"}) {
            text += comes(std::string(month) + "/" + (day < 10 ? "0" : "") + std::to_string(day) +
                          "/2023 UTC 11:50:00.000  17 ");
        }
    }
    book_.takeTrace(text, true);
    book_.takeTrace(std::string(1000000, 'x'), true);
    const std::string all = book_.upTo(NOON).dump();

    EXPECT_EQ(std::ranges::count(all, '{'), DayBook::STEPS + 1);
    EXPECT_LT(all.size(), 15000u);
}

}  // namespace
