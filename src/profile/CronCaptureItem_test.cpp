#include "profile/CronCaptureItem.h"

#include "base/OrvText.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

TEST(ScheduleItem, knowsItsKindsByName) {
    EXPECT_STREQ(ScheduleItem::kindName(ScheduleItem::kNone), "None");
    EXPECT_STREQ(ScheduleItem::kindName(ScheduleItem::kCron), "Cron");
    EXPECT_STREQ(ScheduleItem::kindName(ScheduleItem::kEvent), "Event");
    EXPECT_EQ(ScheduleItem::kindByName("None"), ScheduleItem::kNone);
    EXPECT_EQ(ScheduleItem::kindByName("Cron"), ScheduleItem::kCron);
    EXPECT_EQ(ScheduleItem::kindByName("Event"), ScheduleItem::kEvent);
    EXPECT_EQ(ScheduleItem::kindByName("cron"), std::nullopt);
    EXPECT_EQ(ScheduleItem::kindByName(""), std::nullopt);
}

TEST(CronCaptureItem, runsMondaysAtHalfPastTwoUnlessToldOtherwise) {
    const CronCaptureItem item;

    EXPECT_EQ(item.kind(), ScheduleItem::kCron);
    EXPECT_EQ(item.profileName(), "\xFF");
    EXPECT_EQ(item.dayOfWeek(), 1u);
    EXPECT_EQ(item.hour(), 2u);
    EXPECT_EQ(item.minute(), 30u);
    EXPECT_EQ(item.intervalWeeks(), 1u);
    EXPECT_EQ(item.interval(), 604800u);
    EXPECT_EQ(item.shell(), "clish");
    EXPECT_EQ(item.command(), "show support callhome");
    EXPECT_EQ(item.LastExecution, 0);
    EXPECT_EQ(item.NextExecution, 0);
    EXPECT_STREQ(item.dayName(), "Mon");
    EXPECT_EQ(item.timeOfDayText(), "02:30");
    EXPECT_EQ(item.intervalText(), "1");
}

TEST(CronCaptureItem, takesExactDayNamesOnly) {
    const char* const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    for (std::uint32_t day = 0; day < 7; ++day) {
        CronCaptureItem item;
        EXPECT_EQ(item.setDayOfWeek(days[day]), 0);
        EXPECT_EQ(item.dayOfWeek(), day);
        EXPECT_STREQ(item.dayName(), days[day]);
    }
    for (const char* refused : {"", "sun", "SUN", "Sunday", "Su", " Sun", "Sun ", "0"}) {
        CronCaptureItem item;
        EXPECT_EQ(item.setDayOfWeek(refused), -1) << refused;
        EXPECT_EQ(item.dayOfWeek(), 1u) << refused;
    }
}

struct TimeCase {
    const char* text;
    int result;
    std::uint32_t hour;
    std::uint32_t minute;
    const char* trace;  // null: none
};

void PrintTo(const TimeCase& time, std::ostream* stream) {
    *stream << '"' << time.text << '"';
}

class CronCaptureItemTime : public testing::TestWithParam<TimeCase> {};

TEST_P(CronCaptureItemTime, isTakenOrRefusedWithItsTrace) {
    RecordingSwitch recording;
    CronCaptureItem item;
    ASSERT_EQ(item.setTimeOfDay("7:45"), 0);
    recording.takeTraces();

    EXPECT_EQ(item.setTimeOfDay(GetParam().text), GetParam().result);

    EXPECT_EQ(item.hour(), GetParam().hour);
    EXPECT_EQ(item.minute(), GetParam().minute);
    std::vector<std::string> traces;
    if (GetParam().trace != nullptr) {
        traces.push_back(std::string("CronCaptureItem setTimeOfDay: ") + GetParam().trace);
    }
    EXPECT_EQ(recording.takeTraces(), traces);
}

INSTANTIATE_TEST_SUITE_P(Texts, CronCaptureItemTime,
                         testing::Values(TimeCase{"2:30", 0, 2, 30, nullptr}, TimeCase{"02:30", 0, 2, 30, nullptr},
                                         TimeCase{"0:0", 0, 0, 0, nullptr}, TimeCase{"23:59", 0, 23, 59, nullptr},
                                         // What is no number leaves 0, and what follows a number is not looked at.
                                         TimeCase{"ab:cd", 0, 0, 0, nullptr}, TimeCase{"1x:2y", 0, 1, 2, nullptr},
                                         TimeCase{" 5: 6", 0, 5, 6, nullptr}, TimeCase{"+5:+6", 0, 5, 6, nullptr},
                                         TimeCase{"", -1, 7, 45, "Time value separator not found\n"},
                                         TimeCase{"230", -1, 7, 45, "Time value separator not found\n"},
                                         TimeCase{":30", -1, 7, 45, "Hours length is invalid: 0\n"},
                                         TimeCase{"123:00", -1, 7, 45, "Hours length is invalid: 3\n"},
                                         TimeCase{"24:00", -1, 7, 45, "Hours value is invalid: 24\n"},
                                         TimeCase{"99:99", -1, 7, 45, "Hours value is invalid: 99\n"},
                                         TimeCase{"-1:00", -1, 7, 45, "Hours value is invalid: -1\n"},
                                         TimeCase{"12:", -1, 7, 45, "Minutes length is invalid: 0\n"},
                                         TimeCase{"12:345", -1, 7, 45, "Minutes length is invalid: 3\n"},
                                         TimeCase{"1:2:3", -1, 7, 45, "Minutes length is invalid: 3\n"},
                                         TimeCase{"12:60", -1, 7, 45, "Minutes value is invalid: 60\n"},
                                         TimeCase{"12:-1", -1, 7, 45, "Minutes value is invalid: -1\n"},
                                         // The hours are judged before the minutes are looked at.
                                         TimeCase{"24:345", -1, 7, 45, "Hours value is invalid: 24\n"}));

TEST(CronCaptureItem, takesIntervalsOfOneToTwentySixWeeks) {
    struct Case {
        const char* text;
        int result;
        std::uint32_t weeks;
    };
    const Case cases[] = {{"1", 0, 1},           {"26", 0, 26},         {"3abc", 0, 3},
                          {" 4", 0, 4},          {"0", -1, 2},          {"27", -1, 2},
                          {"", -1, 2},           {"x", -1, 2},          {"-1", -1, 2},
                          {"-4294967293", 0, 3}, {"4294967297", -1, 2}, {"99999999999999999999999", -1, 2}};
    for (const Case& interval : cases) {
        CronCaptureItem item;
        ASSERT_EQ(item.setInterval("2"), 0);
        EXPECT_EQ(item.setInterval(interval.text), interval.result) << interval.text;
        EXPECT_EQ(item.intervalWeeks(), interval.weeks) << interval.text;
        EXPECT_EQ(item.interval(), interval.weeks * 604800u) << interval.text;
    }
}

TEST(CronCaptureItem, showsItsFieldsAsTexts) {
    CronCaptureItem item;
    ASSERT_EQ(item.setDayOfWeek("Sat"), 0);
    ASSERT_EQ(item.setTimeOfDay("9:05"), 0);
    ASSERT_EQ(item.setInterval("26"), 0);

    EXPECT_STREQ(item.dayName(), "Sat");
    EXPECT_EQ(item.timeOfDayText(), "09:05");
    EXPECT_EQ(item.intervalText(), "26");
}

CronCaptureItem unusualItem() {
    CronCaptureItem item("Ops");
    EXPECT_EQ(item.setDayOfWeek("Fri"), 0);
    EXPECT_EQ(item.setTimeOfDay("23:59"), 0);
    EXPECT_EQ(item.setInterval("26"), 0);
    item.LastExecution = 1700000000;
    item.NextExecution = 1800000000;
    return item;
}

void expectUnusual(const CronCaptureItem& item) {
    EXPECT_EQ(item.kind(), ScheduleItem::kCron);
    EXPECT_EQ(item.profileName(), "Ops");
    EXPECT_EQ(item.dayOfWeek(), 5u);
    EXPECT_EQ(item.timeOfDayText(), "23:59");
    EXPECT_EQ(item.intervalWeeks(), 26u);
    EXPECT_EQ(item.interval(), 26u * 604800u);
    EXPECT_EQ(item.shell(), "clish");
    EXPECT_EQ(item.command(), "show support callhome");
    EXPECT_EQ(item.LastExecution, 1700000000);
    EXPECT_EQ(item.NextExecution, 1800000000);
}

TEST(CronCaptureItem, copiesAndAssignsEveryField) {
    const CronCaptureItem original = unusualItem();
    const CronCaptureItem copy = original;
    expectUnusual(copy);

    CronCaptureItem assigned;
    assigned = original;
    expectUnusual(assigned);
}

TEST(CronCaptureItem, tracesItsMakingCopyingAndEnd) {
    RecordingSwitch recording;
    std::optional<CronCaptureItem> plain(std::in_place);
    std::optional<CronCaptureItem> named(std::in_place, "Ops");
    std::optional<CronCaptureItem> copy(*plain);
    const std::vector<const void*> at{&*plain, &*named, &*copy};
    *named = *plain;
    copy.reset();

    EXPECT_THAT(recording.takeTraces(),
                ElementsAre(orvFormat("CronCaptureItem CronCaptureItem: constructor: %p\n", at[0]),
                            orvFormat("CronCaptureItem CronCaptureItem: constructor: %p\n", at[1]),
                            orvFormat("CronCaptureItem CronCaptureItem: copy constructor:  %p <- %p\n", at[2], at[0]),
                            orvFormat("CronCaptureItem ~CronCaptureItem: destructor: %p\n", at[2])));
}

TEST(CronCaptureItem, hasTheSameRhythmWhateverItsRuns) {
    CronCaptureItem other = unusualItem();
    other.LastExecution = 1;
    other.NextExecution = 2;
    EXPECT_TRUE(other.sameRhythm(unusualItem()));
}

TEST(CronCaptureItem, hasAnotherRhythmWhenAnythingElseDiffers) {
    CronCaptureItem owner = unusualItem();
    owner.setProfileName("Dev");
    EXPECT_FALSE(owner.sameRhythm(unusualItem()));
    CronCaptureItem day = unusualItem();
    ASSERT_EQ(day.setDayOfWeek("Sat"), 0);
    EXPECT_FALSE(day.sameRhythm(unusualItem()));
    CronCaptureItem hour = unusualItem();
    ASSERT_EQ(hour.setTimeOfDay("22:59"), 0);
    EXPECT_FALSE(hour.sameRhythm(unusualItem()));
    CronCaptureItem minute = unusualItem();
    ASSERT_EQ(minute.setTimeOfDay("23:58"), 0);
    EXPECT_FALSE(minute.sameRhythm(unusualItem()));
    CronCaptureItem interval = unusualItem();
    ASSERT_EQ(interval.setInterval("25"), 0);
    EXPECT_FALSE(interval.sameRhythm(unusualItem()));
}

}  // namespace
