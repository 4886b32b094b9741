#include "switchctl/text/Text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

struct NumberCase {
    const char* text;
    std::int64_t least;
    std::int64_t most;
    std::optional<std::int64_t> value;
};

const NumberCase NUMBERS[] = {
    {"0", 0, 10, 0},
    {"10", 0, 10, 10},
    {"11", 0, 10, std::nullopt},
    {"-1", -1, 10, -1},
    {"-2", -1, 10, std::nullopt},
    {"0x1F", 0, 255, 31},
    {"0X1f", 0, 255, 31},
    {"-0x2", -5, 5, -2},
    {"0xFFFFFFFF", 0, UINT32_MAX, 4294967295},
    {"0x100000000", 0, UINT32_MAX, std::nullopt},
    {"99999999999999999999", 0, INT64_MAX, std::nullopt},
    {"010", 0, 10, 10},
    {"", 0, 10, std::nullopt},
    {"-", -5, 5, std::nullopt},
    {"0x", 0, 10, std::nullopt},
    {"1x", 0, 10, std::nullopt},
    {" 1", 0, 10, std::nullopt},
    {"1 ", 0, 10, std::nullopt},
    {"+1", 0, 10, std::nullopt},
    {"1.5", 0, 10, std::nullopt},
    {"--1", -5, 5, std::nullopt},
};

TEST(TextNumber, isReadWholeAndWithinItsRange) {
    for (const NumberCase& one : NUMBERS) {
        EXPECT_EQ(Text::number(one.text, one.least, one.most), one.value) << '"' << one.text << '"';
    }
}

TEST(TextBytes, areTwoDigitsEach) {
    using Bytes = std::vector<std::uint8_t>;
    EXPECT_EQ(Text::bytes(""), Bytes{});
    EXPECT_EQ(Text::bytes("00fF41"), (Bytes{0, 255, 65}));
    EXPECT_EQ(Text::bytes("00 ff 41 "), (Bytes{0, 255, 65}));
    EXPECT_EQ(Text::bytes("0"), std::nullopt);
    EXPECT_EQ(Text::bytes("0 0"), std::nullopt);
    EXPECT_EQ(Text::bytes("0x41"), std::nullopt);
    EXPECT_EQ(Text::bytes("4g"), std::nullopt);
    EXPECT_EQ(Text::bytes("-1"), std::nullopt);
}

TEST(TextHex, isLowerCase) {
    const std::uint8_t bytes[] = {0, 0xAB, 0xFF};
    EXPECT_EQ(Text::hex(bytes), "00abff");
}

TEST(TextSplit, keepsEmptyParts) {
    EXPECT_EQ(Text::split("a,b", ','), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Text::split(",a,", ','), (std::vector<std::string>{"", "a", ""}));
    EXPECT_EQ(Text::split("", ','), (std::vector<std::string>{""}));
}

TEST(TextOneLine, showsControlCharacters) {
    EXPECT_EQ(Text::oneLine("plain \xC3\xA9 \\n"), "plain \xC3\xA9 \\n");
    EXPECT_EQ(Text::oneLine("a\nb\tc\rd\x1b\x7f"), "a\\nb\\tc\\x0dd\\x1b\\x7f");
    EXPECT_EQ(Text::oneLine(std::string("\0", 1)), "\\x00");
    EXPECT_EQ(Text::oneLine("\xC2\x9B[\xC2\xA0"), "\\xc2\\x9b[\xC2\xA0");
}

TEST(TextControls, areBytesBelowBlankAndDelete) {
    EXPECT_FALSE(Text::hasControls("plain \xC3\xA9"));
    EXPECT_TRUE(Text::hasControls("a\nb"));
    EXPECT_TRUE(Text::hasControls("a\x7f"));
    EXPECT_TRUE(Text::hasControls("a\xC2\x80"));
    EXPECT_FALSE(Text::hasControls("a\xC2\xA0"));
    EXPECT_TRUE(Text::hasControls(std::string("\0", 1)));
}

TEST(TextSeconds, areWrittenWithoutNeedlessDigits) {
    EXPECT_EQ(Text::seconds(10000), "10");
    EXPECT_EQ(Text::seconds(500), "0.5");
    EXPECT_EQ(Text::seconds(1), "0.001");
}

TEST(TextTimestamp, isLocalTimeInOneWord) {
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(Text::timestamp(1700000000, 123456), "2023-11-14T22:13:20.123456+0000");
    EXPECT_EQ(Text::timestamp(1700000000, 7), "2023-11-14T22:13:20.000007+0000");
}

TEST(TextTable, alignsAllColumnsButTheLast) {
    EXPECT_EQ(Text::table({{"a", "bb", "c"}, {"aaa", "b", "ccc"}}), "a    bb  c\naaa  b   ccc\n");
    EXPECT_EQ(Text::table({}), "");
}

TEST(TextFolded, breaksAtBlanksAndNowhereElse) {
    EXPECT_EQ(Text::folded("", 10, "  "), "  \n");
    EXPECT_EQ(Text::folded("12345678", 10, "  "), "  12345678\n");
    EXPECT_EQ(Text::folded("123 45678", 10, "  "), "  123\n  45678\n");
    EXPECT_EQ(Text::folded("12345678 90", 10, "  "), "  12345678\n  90\n");
    EXPECT_EQ(Text::folded("1234567890 12", 10, "  "), "  1234567890\n  12\n");
    EXPECT_EQ(Text::folded("1234567890ab", 10, "  "), "  1234567890ab\n");
}

}  // namespace
