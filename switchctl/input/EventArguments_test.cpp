#include "switchctl/input/EventArguments.h"

#include "testing/switchctl/Refusal.h"

#include <gtest/gtest.h>

namespace {

LogRecord record(const std::string& location, const std::string& names = "", const std::string& time = "") {
    LogEventArguments arguments;
    arguments.location = location;
    arguments.names = names;
    arguments.time = time;
    return logRecordFrom(arguments);
}

TEST(EventLogArguments, leaveARecordAsItIsWithoutThem) {
    LogEventArguments arguments;
    arguments.record.kind = 2;
    arguments.record.text = std::string(227, 't');

    const LogRecord result = logRecordFrom(arguments);

    EXPECT_EQ(result.record.encode(), arguments.record.encode());
    EXPECT_FALSE(result.timed);
}

TEST(EventLogArguments, haveRoomFor227BytesOfText) {
    LogEventArguments arguments;
    arguments.record.text = std::string(228, 't');

    EXPECT_EQ(refusal([&] { logRecordFrom(arguments); }), "the text has 228 bytes; a log record has room for 227");
}

TEST(EventLogArguments, takeALocationOfTwoNumbersAndAnIndex) {
    EXPECT_EQ(record("3.1").record.location1, 3);
    EXPECT_EQ(record("3.1").record.location2, 1);
    EXPECT_EQ(record("3.1").record.locationIndex, -1);
    EXPECT_EQ(record("-2147483648.2147483647.-32768").record.locationIndex, -32768);
    for (const char* text : {"3", "3.", ".1", "3.1.2.4", "3.1.", "3.1.40000", "a.b", "3.1.x", "2147483648.0"}) {
        EXPECT_EQ(
            refusal([&] { record(text); }),
            std::string("\"") + text + "\" is not a location; write two numbers and perhaps an index: 3.1 or 3.1.2");
    }
}

TEST(EventLogArguments, takeOneOrTwoNames) {
    EXPECT_EQ(record("", "Blade").record.locationName1, "Blade");
    EXPECT_EQ(record("", "Blade").record.locationName2, "");
    EXPECT_EQ(record("", "Blade,Port").record.locationName2, "Port");
    EXPECT_EQ(record("", std::string(15, 'n')).record.locationName1, std::string(15, 'n'));
    EXPECT_EQ(refusal([] { record("", "sixteen bytes...."); }),
              "the location name \"sixteen bytes....\" is too long; it has room for 15 bytes");
    EXPECT_EQ(refusal([] { record("", "a,b,c"); }),
              "\"a,b,c\" holds too many names; write one or two: Blade or Blade,Port");
}

struct TimeCase {
    const char* text;
    std::uint32_t seconds;
    std::uint32_t microseconds;
};

TEST(EventLogArguments, takeATimeInSecondsAndTheirFraction) {
    for (const TimeCase& one : {TimeCase{"1700000000", 1700000000, 0},
                                {"1700000000.123456", 1700000000, 123456},
                                {"0.5", 0, 500000},
                                {"4294967295.000001", 4294967295u, 1}}) {
        const LogRecord result = record("", "", one.text);
        EXPECT_TRUE(result.timed) << one.text;
        EXPECT_EQ(result.record.seconds, one.seconds) << one.text;
        EXPECT_EQ(result.record.microseconds, one.microseconds) << one.text;
    }
    for (const char* text : {"now", "-1", "4294967296", "1.", "1.1234567", "1.-5", "1.2.3", "1.x"}) {
        EXPECT_EQ(
            refusal([&] { record("", "", text); }),
            std::string("\"") + text + "\" is not a time; write seconds since 1970: 1700000000 or 1700000000.123456");
    }
}

TEST(EventAddresses, areIPv4OrIPv6) {
    EXPECT_EQ(refusal([] { checkAddresses({"10.20.30.40", "fe80::1"}); }), "");
    for (const char* text : {"10.20.30", "sw01", "fe80::1::2", ""}) {
        EXPECT_EQ(refusal([&] {
                      checkAddresses({"10.20.30.40", text});
                  }),
                  std::string("\"") + text + "\" is not an address; write 10.20.30.40 or fe80::1");
    }
}

TEST(EventBytes, areHexadecimal) {
    EXPECT_EQ(bytesFrom("00ff"), (WireBytes{0, 255}));
    EXPECT_EQ(refusal([] { bytesFrom("0"); }), "\"0\" is not hexadecimal; write two digits a byte: 00ff41");
}

}  // namespace
