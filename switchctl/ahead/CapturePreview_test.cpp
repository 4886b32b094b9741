#include "switchctl/ahead/CapturePreview.h"

#include "switchctl/text/Errors.h"
#include "testing/switchctl/LabSwitch.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace {

using testing::HasSubstr;
using testing::SizeIs;

// The zone of Central Europe, without the machine's own table.
constexpr const char* ZONE = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr std::int64_t MARCH_1 = 1803898800;    // Monday, 2027-03-01 12:00 CET: summer time comes on the 28th
constexpr std::int64_t OCTOBER_1 = 1822384800;  // Friday, 2027-10-01 12:00 CEST: it ends on the 31st

class CapturePreviewTest : public testing::Test {
protected:
    CapturePreviewTest() {
        setenv("TZ", ZONE, 1);
        tzset();
        lab_.addProfile("Operators", "Alarm", "FullText", {"a@example.com"});
        lab_.addProfile("Support", "None", "FullText", {"support@example.com"});
        lab_.addCapture("Sun", "02:30", "1");
    }
    ~CapturePreviewTest() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    LabSwitch lab_;
};

TEST_F(CapturePreviewTest, tellsTenDatesInLocalTimeAndThatSummerTimeMovesThem) {
    const CapturePreview preview = CapturePreview::of("Support", lab_.attributes, MARCH_1);

    ASSERT_THAT(preview.runs, SizeIs(10));
    EXPECT_EQ(preview.runs[0].local, "Sun 2027-03-07 02:30:00 CET");
    EXPECT_FALSE(preview.runs[0].offTime);
    EXPECT_EQ(preview.runs[2].local, "Sun 2027-03-21 02:30:00 CET");
    EXPECT_EQ(preview.runs[3].local, "Sun 2027-03-28 03:30:00 CEST");
    EXPECT_TRUE(preview.runs[3].offTime);
    EXPECT_EQ(preview.runs[9].local, "Sun 2027-05-09 03:30:00 CEST");
}

TEST_F(CapturePreviewTest, tellsThatWinterTimeMovesThem) {
    const CapturePreview preview = CapturePreview::of("Support", lab_.attributes, OCTOBER_1);

    EXPECT_EQ(preview.runs[0].local, "Sun 2027-10-03 02:30:00 CEST");
    EXPECT_EQ(preview.runs[4].local, "Sun 2027-10-31 02:30:00 CEST");
    EXPECT_FALSE(preview.runs[4].offTime);
    EXPECT_EQ(preview.runs[5].local, "Sun 2027-11-07 01:30:00 CET");
    EXPECT_TRUE(preview.runs[5].offTime);
}

TEST_F(CapturePreviewTest, countsInTheIntervalOfTheProfile) {
    lab_.addCapture("Wed", "9:05", "26");

    const CapturePreview preview = CapturePreview::of("Support", lab_.attributes, MARCH_1);

    EXPECT_EQ(preview.runs[0].local, "Wed 2027-03-03 09:05:00 CET");
    EXPECT_EQ(preview.runs[1].at - preview.runs[0].at, 26 * 7 * 86400);
}

TEST_F(CapturePreviewTest, hasTheMailOfTheFirstRun) {
    const CapturePreview preview = CapturePreview::of("Support", lab_.attributes, MARCH_1);

    ASSERT_THAT(preview.mails, SizeIs(1));
    EXPECT_THAT(preview.mails[0].recipients, testing::ElementsAre("support@example.com"));
    EXPECT_THAT(preview.mails[0].text, HasSubstr("\r\nDayOfWeek:      Sun\r\nTimeOfDay:      02:30\r\n"));
    EXPECT_THAT(preview.mails[0].text, HasSubstr("filename=smlCapture.txt.gz"));
}

TEST_F(CapturePreviewTest, isRefusedForAProfileWithoutOne) {
    EXPECT_THROW(CapturePreview::of("Operators", lab_.attributes, MARCH_1), Refused);
    EXPECT_THROW(CapturePreview::of("Nobody", lab_.attributes, MARCH_1), Refused);
}

}  // namespace
