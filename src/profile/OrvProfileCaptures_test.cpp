// The scheduled capture of a profile.
#include "testing/profile/ProfileDriver.h"

#include "base/OrvText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class OrvProfileCapturesTest : public testing::Test {
protected:
    // Up to the request for the types of so many captures.
    void startWith(unsigned captures) {
        ASSERT_EQ(reader_.readInitialConfig(), 0);
        ASSERT_EQ(driver_.initial({{"ProfileList", "Ops"},
                                   {"NumberOfEmails", "0"},
                                   {"CaptureEnable", "True"},
                                   {"CaptureEntries", std::to_string(captures)}}),
                  0);
        switch_.takeSent();
    }

    std::string timing() const {
        const CronCaptureItem* item = profile_.capture();
        return item == nullptr ? "none" : item->dayName() + (" " + item->timeOfDayText()) + " " + item->intervalText();
    }

    RecordingSwitch switch_;
    OrvCHProfile profile_{7};
    OrvProfileReader reader_{profile_, switch_.store()};
    ProfileDriver driver_{switch_, profile_, reader_};
};

TEST_F(OrvProfileCapturesTest, isMadeForTheScheduleTypeAndBearsTheProfilesName) {
    startWith(1);

    EXPECT_EQ(driver_.types({"Cron"}), 0);

    ASSERT_NE(profile_.capture(), nullptr);
    EXPECT_EQ(profile_.capture()->kind(), ScheduleItem::kCron);
    EXPECT_EQ(profile_.capture()->profileName(), "Ops");
    EXPECT_EQ(timing(), "Mon 02:30 1");
    EXPECT_TRUE(profile_.captureEnabled());
}

// Written any earlier, the marker would let the next profile take this one's attributes.
TEST_F(OrvProfileCapturesTest, isCompleteWhenEveryAttributeReadIsAnswered) {
    startWith(2);
    driver_.types({"Cron", "Cron"});
    EXPECT_EQ(profile_.config(), 4u);

    driver_.attrs(0, {"Tue", "01:00", "2"});
    EXPECT_EQ(profile_.config(), 4u);
    EXPECT_THAT(switch_.takeSent(), Not(Contains(kMarker)));
    driver_.attrs(1, {"Wed", "03:00", "4"});

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileCapturesTest, isOneItemForSeveralCapturesAndTheLastAnswerCounts) {
    startWith(2);
    driver_.types({"Cron", "Cron"});
    const CronCaptureItem* item = profile_.capture();

    driver_.attrs(1, {"Wed", "03:00", "4"});
    driver_.attrs(0, {"Tue", "01:00", "2"});

    EXPECT_EQ(profile_.capture(), item);
    EXPECT_EQ(timing(), "Tue 01:00 2");
}

TEST_F(OrvProfileCapturesTest, reportsOtherTypesAndNeedsNoAttributesForThem) {
    startWith(4);
    switch_.takeTraces();

    EXPECT_EQ(driver_.types({"None", "Event", "cron", ""}), 0);

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - error ffffffff changing type to None, "
                    "profile 7 capture 0.",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - error ffffffff changing type to Event, "
                    "profile 7 capture 1.",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - error ffffffff changing type to cron, "
                    "profile 7 capture 2.",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - error ffffffff changing type to , "
                    "profile 7 capture 3.",
                    kMarker));
    EXPECT_EQ(profile_.capture(), nullptr);
}

TEST_F(OrvProfileCapturesTest, asksForTheAttributesOfTheScheduledOnesAmongOthers) {
    startWith(3);

    driver_.types({"Event", "bad", "Cron"}, {0, kBadStatus, 0});

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - error ffffffff changing type to Event, "
                    "profile 7 capture 0.",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - bad status_array = 80000021",
                    "log 17 8b000001 Read capture day of week - Global.CallhomeDB.Profile.7.Capture.2.DayOfWeek\n",
                    "log 17 8b000001 Read capture time of day - Global.CallhomeDB.Profile.7.Capture.2.TimeOfDay\n",
                    "log 17 8b000001 Read capture interval - Global.CallhomeDB.Profile.7.Capture.2.Interval\n",
                    "log 31 8b000001 reading 3 DS bulk data entries",
                    "bulk 5: Global.CallhomeDB.Profile.7.Capture.2.DayOfWeek "
                    "Global.CallhomeDB.Profile.7.Capture.2.TimeOfDay Global.CallhomeDB.Profile.7.Capture.2.Interval"));
}

TEST_F(OrvProfileCapturesTest, passesOverTypesAndAttributesThatHaveNoStatus) {
    startWith(2);

    EXPECT_EQ(driver_.types({"Cron", "Cron"}, {0}), 0);
    EXPECT_EQ(switch_.takeSent().back(),
              "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - bad status_array = ffffffff");
    EXPECT_EQ(driver_.attrs(0, {"Tue", "01:00", "2"}, {0}), 0);

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - bad status_array = ffffffff",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - bad status_array = ffffffff", kMarker));
    EXPECT_EQ(timing(), "Tue 02:30 1");
}

TEST_F(OrvProfileCapturesTest, reportsATypesAnswerWithoutEntriesAndIsComplete) {
    startWith(1);

    EXPECT_EQ(driver_.types({}), -1);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 17 8b000001 Error CALLHOME_READ_PROFILE_CAPTURE_TYPES in DS ffffffff\n", kMarker));
}

TEST_F(OrvProfileCapturesTest, staysIncompleteWhenItsAttributesCannotBeAskedFor) {
    startWith(2);
    switch_.refuseRequest(2);

    EXPECT_EQ(driver_.types({"Cron", "Cron"}), -1);
    const std::vector<std::string> sent = switch_.takeSent();
    driver_.attrs(0, {"Tue", "01:00", "2"});

    EXPECT_EQ(profile_.config(), 4u);
    EXPECT_THAT(switch_.takeSent(), IsEmpty());
    ASSERT_EQ(sent.size(), 5u + 7u);
    EXPECT_THAT(std::vector<std::string>(sent.end() - 4, sent.end()),
                ElementsAre("log 31 8b000001 reading 3 DS bulk data entries",
                            "log 15 8b000001 Error reading DS bulk data entries",
                            "log 15 8b000001 readCaptureAttrs() - flushBulkGetSameComp() error",
                            "alarm 16 0 OrvApp - problem reading capture entries from DS"));
}

TEST_F(OrvProfileCapturesTest, asksForNoAttributesWithoutAnItem) {
    OrvProfileCaptures captures(profile_, switch_.store());

    EXPECT_EQ(captures.readCaptureAttrs(0), 0);

    EXPECT_THAT(switch_.takeSent(), IsEmpty());
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHProfile readCaptureAttrs: Index=7\n"));
}

TEST_F(OrvProfileCapturesTest, reportsRefusedValuesAndKeepsTheFormerOnes) {
    startWith(1);
    driver_.types({"Cron"});
    driver_.attrs(0, {"Tue", "01:00", "2"});
    switch_.takeSent();

    EXPECT_EQ(driver_.attrs(0, {"Tuesday", "24:00", "27"}), 0);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile 7, capture 0, failed "
                            "setting DayOfWeek = Tuesday, status = ffffffff\n",
                            "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile 7, capture 0, failed "
                            "setting TimeOfDay = 24:00, status = ffffffff\n",
                            "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile 7, capture 0, failed "
                            "setting Interval = 27, status = ffffffff\n"));
    EXPECT_EQ(timing(), "Tue 01:00 2");
}

TEST_F(OrvProfileCapturesTest, reportsBadStatusesAndTakesTheOtherAttributes) {
    startWith(1);
    driver_.types({"Cron"});
    switch_.takeSent();

    EXPECT_EQ(driver_.attrs(0, {"Tue", "01:00", "2"}, {kBadStatus, 1, -1}), 0);

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - bad status_array = 80000021",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - bad status_array = ffffffff", kMarker));
    EXPECT_EQ(timing(), "Mon 01:00 1");
}

TEST_F(OrvProfileCapturesTest, reportsAnAttributesAnswerWithoutEntriesAndIsComplete) {
    startWith(1);
    driver_.types({"Cron"});
    switch_.takeSent();

    EXPECT_EQ(driver_.rawAttrs({}), -1);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 17 8b000001 Error CALLHOME_READ_PROFILE_CAPTURE_ATTRS in DS ffffffff\n", kMarker));
}

TEST_F(OrvProfileCapturesTest, reportsKeysThatHoldNoCaptureNumber) {
    startWith(1);
    driver_.types({"Cron"});
    switch_.takeSent();
    const std::string keys[] = {"Global.CallhomeDB.Profile.7.DayOfWeek",
                                "Global.CallhomeDB.Profile.7.Capture..DayOfWeek",
                                "Global.CallhomeDB.Profile.7.Capture.x.DayOfWeek",
                                "Global.CallhomeDB.Profile.7.Capture.1",
                                "Global.CallhomeDB.Profile.7.Capture.99999999999.DayOfWeek",
                                ""};
    ProfileDriver::Values values;
    std::vector<std::string> expected;
    for (const std::string& key : keys) {
        expected.push_back(
            orvFormat("log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - failed to extract index "
                      "from SML %s, field %d\n",
                      key.c_str(), static_cast<int>(values.size())));
        values.emplace_back(key, "Fri");
    }
    expected.push_back(kMarker);

    EXPECT_EQ(driver_.rawAttrs(values), 0);

    EXPECT_EQ(switch_.takeSent(), expected);
    EXPECT_EQ(timing(), "Mon 02:30 1");
}

TEST_F(OrvProfileCapturesTest, reportsAttributesOfACaptureThatIsNotOnASchedule) {
    startWith(1);
    driver_.types({"Event"});
    switch_.takeSent();

    driver_.attrs(12, {"Tue", "01:00", "2"});

    constexpr char kUnhandled[] =
        "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_ATTRS - profile 7, capture 12, unhandled capture type.";
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kUnhandled, kUnhandled, kUnhandled));
}

TEST_F(OrvProfileCapturesTest, tracesAttributesItDoesNotKnow) {
    startWith(1);
    driver_.types({"Cron"});
    switch_.takeSent();
    switch_.takeTraces();

    driver_.rawAttrs({{"Global.CallhomeDB.Profile.7.Capture.0.Colour", "blue"}});

    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHProfile processCaptureAttrsBulk: Entry\n",
                                                  "OrvCHProfile takeCaptureAttr: unknown capture attribute "
                                                  "Global.CallhomeDB.Profile.7.Capture.0.Colour\n"));
}

}  // namespace
