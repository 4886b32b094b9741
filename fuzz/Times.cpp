// Schedules, times and numbers as texts. Four bytes are the calendar's seconds; then come day, time and interval, a
// line each, and each of them is read as a number, too.
#include "base/OrvNumber.h"
#include "base/OrvTimeText.h"
#include "capture/OrvCaptureSchedule.h"
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "word_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace orv_fuzz {

namespace {

constexpr std::time_t kDay = 86400;

// What the C library makes of a text, in 32 bits.
void checkNumber(const std::string& text) {
    errno = 0;
    char* end = nullptr;
    const long long wide = std::strtoll(text.c_str(), &end, 10);
    const bool any = end != text.c_str();
    const bool complete = any && end == text.c_str() + text.size();
    constexpr long long kMost = std::numeric_limits<std::uint32_t>::max();

    const OrvUnsignedNumber plain = orvToUnsigned(text);
    EXPECT_EQ(plain.outOfRange, wide > kMost || wide < -kMost) << text;
    EXPECT_EQ(plain.value, plain.outOfRange ? UINT32_MAX : static_cast<std::uint32_t>(wide)) << text;
    EXPECT_EQ(plain.complete, complete) << text;

    const OrvSignedNumber sign = orvToSigned(text);
    EXPECT_EQ(sign.value, std::clamp<long long>(wide, INT32_MIN, INT32_MAX)) << text;
    EXPECT_EQ(sign.outOfRange, wide != sign.value) << text;
    EXPECT_EQ(sign.complete, complete) << text;
}

void checkTimes(std::uint32_t seconds, std::uint32_t microseconds) {
    EXPECT_LE(orvNowText().size(), 63u);
    const std::string mail = orvMailDateText(static_cast<std::time_t>(seconds));
    EXPECT_LE(mail.size(), 79u);
    EXPECT_TRUE(mail.ends_with("  +0000")) << mail;
    const std::string event = orvEventTimeText(static_cast<std::time_t>(seconds), microseconds);
    EXPECT_NE(event.find(" UTC "), std::string::npos) << event;
}

// What was taken says itself in the same words.
void checkItem(const CronCaptureItem& item) {
    CronCaptureItem again(item.profileName());
    EXPECT_EQ(again.setDayOfWeek(item.dayName()), 0);
    EXPECT_EQ(again.setTimeOfDay(item.timeOfDayText()), 0);
    EXPECT_EQ(again.setInterval(item.intervalText()), 0);
    EXPECT_TRUE(again.sameRhythm(item));
}

// The first run is within a week and at the item's day and time; the next is an interval later.
void checkSchedule(CronCaptureItem item) {
    const std::time_t now = orvCalendarNow();
    OrvCaptureSchedule::computeFirstExecution(item);
    const std::time_t first = item.NextExecution;
    EXPECT_GE(first, now);
    EXPECT_LE(first, now + 7 * kDay);
    std::tm local{};
    ASSERT_EQ(orvLocalTime(first, local), 0);
    EXPECT_EQ(local.tm_wday, static_cast<int>(item.dayOfWeek()));
    EXPECT_EQ(local.tm_hour, static_cast<int>(item.hour()));
    EXPECT_EQ(local.tm_min, static_cast<int>(item.minute()));
    OrvCaptureSchedule schedule;
    schedule.replace({item});
    EXPECT_EQ(schedule.due(first - 1), nullptr);
    ASSERT_NE(schedule.due(first), nullptr);
    schedule.advance();
    EXPECT_EQ(schedule.due(first), nullptr);
    EXPECT_NE(schedule.due(first + static_cast<std::time_t>(item.interval())), nullptr);
    EXPECT_FALSE(schedule.dump().empty());
}

void checkKind(const std::string& name) {
    const std::optional<ScheduleItem::Kind> kind = ScheduleItem::kindByName(name);
    EXPECT_TRUE(!kind || ScheduleItem::kindName(*kind) == name);
}

std::string takeLine(std::string& text) {
    const std::string line = text.substr(0, text.find('\n'));
    text.erase(0, line.size() + 1);
    return line;
}

void run(Bytes data) {
    constexpr std::size_t kSeconds = 4;
    if (data.size() < kSeconds) {
        return;
    }
    const std::uint32_t seconds = bigEndian32(data);
    Stage::get().clock().setCalendar(seconds);
    std::string text = textOf(data.subspan(kSeconds));
    const std::string day = takeLine(text);
    const std::string time = takeLine(text);
    const std::string interval = takeLine(text);
    CronCaptureItem item("noc");
    static_cast<void>(item.setDayOfWeek(day));
    static_cast<void>(item.setTimeOfDay(time));
    static_cast<void>(item.setInterval(interval));
    checkItem(item);
    checkSchedule(item);
    for (const std::string& each : {day, time, interval}) {
        checkKind(each);
        checkNumber(each);
        checkTimes(seconds, orvToUnsigned(each).value);
    }
}

Seed seed(const char* name, std::uint32_t seconds, const std::string& text) {
    std::vector<std::uint8_t> bytes;
    appendBigEndian32(bytes, seconds);
    return {name, textOf(bytes) + text};
}

std::vector<Seed> seeds() {
    return {seed("weekly", 1700000000, "Mon\n02:30\n1\n"),
            seed("half_a_year", 1700000000, "Sat\n23:59\n26\n"),
            seed("one_digit", 0, "Sun\n0:0\n01\n"),
            seed("refused", 2147483647, "mon\n24:00\n27\n"),
            seed("odd_times", 4294967295, "Tue\n-1:+5\n-4294967295\n"),
            seed("numbers", 1700000000, " \t4294967295\n-2147483649\n+00018446744073709551616x\n"),
            seed("kinds", 1700000000, "Cron\nEvent\nNone\n"),
            seed("sixty_minutes", 1700000000, "Mon\n02:60\n1\n"),
            seed("signs_alone", 1700000000, "-\n+\n- 1\n")};
}

}  // namespace

const Target kTimes{"times", run, seeds};

}  // namespace orv_fuzz
