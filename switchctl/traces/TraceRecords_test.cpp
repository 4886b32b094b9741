#include "switchctl/traces/TraceRecords.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char* FIRST = "11/14/2023 UTC 22:13:20.123  17 OrvApp OrvApp: Application startup!\n";
constexpr const char* SECOND_RECORD = "11/14/2023 UTC 22:13:21.000  18 main createApplication: a: b\nand more\n";

TEST(TraceRecords, haveHeadProcessMethodAndMessage) {
    const std::string text = std::string(FIRST) + SECOND_RECORD;
    const auto records = traceRecords(text);

    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].text, FIRST);
    EXPECT_EQ(records[0].process, 17);
    EXPECT_EQ(records[0].method, "OrvApp OrvApp");
    EXPECT_EQ(records[0].message, "Application startup!\n");
    EXPECT_EQ(records[1].text, SECOND_RECORD);
    EXPECT_EQ(records[1].head, "11/14/2023 UTC 22:13:21.000");
    EXPECT_EQ(records[1].message, "a: b\nand more\n");
    EXPECT_TRUE(records[1].is({"main", "createApplication", "a: "}));
    EXPECT_TRUE(records[1].is({"main", "", "a: "}));
    EXPECT_FALSE(records[1].is({"main", "createApplication", "b"}));
    EXPECT_FALSE(records[1].is({"main", "create", "a: "}));
    EXPECT_FALSE(records[1].is({"mai", "", "a: "}));
}

TEST(TraceRecords, leaveOutTheEndOfAnOlderOne) {
    const std::string text = std::string("cut off\n11/14/2023\n") + FIRST;
    const auto records = traceRecords(text);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text, FIRST);
}

TEST(TraceRecords, beginInTheMiddleOfALineBehindAMessageThatDoesNotEndIts) {
    const std::string open = "11/14/2023 UTC 22:13:20.122  17 OrvCHMesgQ add: unable\nspaceInUse = 5";
    const std::string text = open + FIRST;
    const auto records = traceRecords(text);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].text, open);
    EXPECT_EQ(records[1].text, FIRST);
}

TEST(TraceRecords, mayHaveNoTime) {
    const std::string text = "?\?/?\?/????.??? 17 OrvApp OrvApp: Application startup!\n";
    const auto records = traceRecords(text);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].process, 17);
    EXPECT_EQ(records[0].time(), std::nullopt);
}

struct NoRecord {
    const char* name;
    const char* text;
};

const NoRecord NO_RECORDS[] = {
    {"nothing", ""},
    {"a date", "11/14/2023"},
    {"no time", "11/14/2023 UTC "},
    {"no zone", "11/14/2023"},
    {"a time without milliseconds", "11/14/2023 UTC 22:13:20  17 OrvApp x: y\n"},
    {"no process", "11/14/2023 UTC 22:13:20.123  OrvApp x: y\n"},
    {"a process without end", "11/14/2023 UTC 22:13:20.123  17171717171717171717 OrvApp x: y\n"},
    {"a process and nothing else", "11/14/2023 UTC 22:13:20.123  17"},
    {"no function", "11/14/2023 UTC 22:13:20.123  17 OrvApp: y\n"},
    {"three words", "11/14/2023 UTC 22:13:20.123  17 OrvApp x z: y\n"},
    {"no colon", "11/14/2023 UTC 22:13:20.123  17 OrvApp x\n"},
    {"a colon in the next line", "11/14/2023 UTC 22:13:20.123  17 OrvApp\nx: y\n"},
    {"paths", "/////tmp/a/b//"},
};

TEST(TraceRecords, areNotMadeOfWhatOnlyBeginsAlike) {
    for (const NoRecord& one : NO_RECORDS) {
        EXPECT_TRUE(traceRecords(one.text).empty()) << one.name;
    }
}

TEST(TraceRecords, areFoundBehindALineOfTwoMegabytes) {
    std::string text = std::string(FIRST);
    text.pop_back();
    text += std::string(1000000, '/') + std::string(1000000, '1') + "\n" + SECOND_RECORD;
    const auto records = traceRecords(text);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].message.size(), 2000021u);
    EXPECT_EQ(records[1].text, SECOND_RECORD);
}

TEST(TraceRecords, areCutAtAnyPlaceWithoutHarm) {
    const std::string text = std::string(FIRST) + SECOND_RECORD;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        EXPECT_LE(traceRecords(std::string(text, 0, length)).size(), 2u);
        EXPECT_LE(traceRecords(std::string(text, length)).size(), 2u);
    }
}

// The tests run in UTC.
TEST(TraceRecords, haveATimeInOurZoneOnly) {
    EXPECT_EQ(traceRecords(FIRST).front().time(), 1700000000123000);
    EXPECT_EQ(traceRecords("11/14/2023 XYZ 22:13:20.123  17 OrvApp OrvApp: y\n").front().time(), std::nullopt);
}

}  // namespace
