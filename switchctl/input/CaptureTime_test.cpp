#include "switchctl/input/CaptureTime.h"

#include "switchctl/text/Errors.h"

#include <gtest/gtest.h>

namespace {

TEST(CaptureTime, isDayTimeAndWeeks) {
    for (const char* text :
         {"Sun,0:00,1", "Mon,02:30,1", "Tue,2:30,26", "Wed,23:59,2", "Thu,1:1,3", "Fri,12:00,10", "Sat,09:09,9"}) {
        const CaptureTime time = CaptureTime::parse(text);
        EXPECT_EQ(time.day + "," + time.time + "," + time.weeks, text);
    }
}

struct RefusedCapture {
    const char* text;
    const char* why;
};

constexpr const char* DAY_RULE = "the day is one of Sun, Mon, Tue, Wed, Thu, Fri, Sat";
constexpr const char* TIME_RULE = "no blanks; the time is H:MM or HH:MM, from 0:00 to 23:59";
constexpr const char* WEEKS_RULE = "the interval is 1 to 26 weeks";

const RefusedCapture REFUSED_CAPTURES[] = {
    {"", "it does not have three parts"},
    {"Mon,02:30", "it does not have three parts"},
    {"Mon,02:30,1,2", "it does not have three parts"},
    {"Monday,02:30,1", DAY_RULE},
    {",02:30,1", DAY_RULE},
    {"Mon,24:00,1", TIME_RULE},
    {"Mon,12:60,1", TIME_RULE},
    {"Mon,230,1", TIME_RULE},
    {"Mon,123:00,1", TIME_RULE},
    {"Mon,12:345,1", TIME_RULE},
    {"Mon,ab:cd,1", TIME_RULE},
    {"Mon,:30,1", TIME_RULE},
    {"Mon,-1:30,1", TIME_RULE},
    {"Mon,02:30:00,1", TIME_RULE},
    {"Mon,02:30,0", WEEKS_RULE},
    {"Mon,02:30,27", WEEKS_RULE},
    {"Mon,02:30,", WEEKS_RULE},
    {"Mon,02:30,one", WEEKS_RULE},
    {"Mon,02:30,-1", WEEKS_RULE},
};

TEST(CaptureTime, takesItsDayInAnyCase) {
    EXPECT_EQ(CaptureTime::parse("mON,02:30,1").day, "Mon");
}

TEST(CaptureTime, isRefusedWithItsRuleAndARightForm) {
    for (const RefusedCapture& one : REFUSED_CAPTURES) {
        try {
            CaptureTime::parse(one.text);
            ADD_FAILURE() << one.text << " was taken";
        } catch (const UsageError& error) {
            EXPECT_EQ(error.what(), std::string("the capture \"") + one.text + "\" cannot be used: " + one.why +
                                        "; write DAY,HH:MM,WEEKS: Mon,02:30,1");
        }
    }
}

}  // namespace
