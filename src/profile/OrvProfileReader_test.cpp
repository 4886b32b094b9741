// The initial read, the e-mail list and the marker.
#include "testing/profile/ProfileDriver.h"

#include "base/OrvText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OrvProfileReaderTest : public testing::Test {
protected:
    void start() {
        ASSERT_EQ(reader_.readInitialConfig(), 0);
        switch_.takeSent();
        switch_.takeTraces();
    }

    RecordingSwitch switch_;
    OrvCHProfile profile_{7};
    OrvProfileReader reader_{profile_, switch_.store()};
    ProfileDriver driver_{switch_, profile_, reader_};
};

TEST_F(OrvProfileReaderTest, asksForEightAttributesAtFirst) {
    EXPECT_EQ(reader_.readInitialConfig(), 0);

    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHProfile readInitialConfig: Index=7\n"));
    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 31 8b000001 reading 8 DS bulk data entries",
                            "bulk 2: Global.CallhomeDB.ProfileList.7 Global.CallhomeDB.Profile.7.Level "
                            "Global.CallhomeDB.Profile.7.Format Global.CallhomeDB.Profile.7.MaxSize "
                            "Global.CallhomeDB.Profile.7.EmailSubject Global.CallhomeDB.Profile.7.NumberOfEmails "
                            "Global.CallhomeDB.Profile.7.CaptureEnable Global.CallhomeDB.Profile.7.CaptureEntries"));
    EXPECT_EQ(profile_.config(), 7u);
}

TEST_F(OrvProfileReaderTest, reportsAnInitialRequestThatCannotBeSentWithTheDoubledWord) {
    switch_.refuseRequest(1);

    EXPECT_EQ(reader_.readInitialConfig(), -1);

    EXPECT_THAT(switch_.takeSent(),
                ElementsAre("log 31 8b000001 reading 8 DS bulk data entries",
                            "log 15 8b000001 Error reading DS bulk data entries",
                            "log 15 8b000001 readInitialConfigConfig() - flushBulkGetSameComp() error"));
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHProfile readInitialConfig: Index=7\n",
                                                  "OrvCHProfile readInitialConfig: flushBulkGetSameComp() error\n"));
}

TEST_F(OrvProfileReaderTest, tracesAndLogsACompleteReadInItsOrder) {
    EXPECT_EQ(reader_.readInitialConfig(), 0);
    EXPECT_EQ(driver_.initial({{"ProfileList", "Ops"},
                               {"Level", "Critical"},
                               {"Format", "Tsc1"},
                               {"MaxSize", "4000"},
                               {"EmailSubject", "trouble"},
                               {"NumberOfEmails", "2"},
                               {"CaptureEnable", "True"},
                               {"CaptureEntries", "1"}}),
              0);
    EXPECT_EQ(driver_.emails({"a@x", "b@x"}), 0);
    EXPECT_EQ(driver_.types({"Cron"}), 0);
    EXPECT_EQ(profile_.config(), 4u);
    EXPECT_EQ(driver_.attrs(0, {"Fri", "17:05", "26"}), 0);

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre(
            "log 31 8b000001 reading 8 DS bulk data entries",
            "bulk 2: Global.CallhomeDB.ProfileList.7 Global.CallhomeDB.Profile.7.Level "
            "Global.CallhomeDB.Profile.7.Format Global.CallhomeDB.Profile.7.MaxSize "
            "Global.CallhomeDB.Profile.7.EmailSubject Global.CallhomeDB.Profile.7.NumberOfEmails "
            "Global.CallhomeDB.Profile.7.CaptureEnable Global.CallhomeDB.Profile.7.CaptureEntries",
            "log 31 8b000001 reading 2 DS bulk data entries",
            "bulk 3: Global.CallhomeDB.Profile.7.EmailList.0 Global.CallhomeDB.Profile.7.EmailList.1",
            "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - Read profile recipient - "
            "Global.CallhomeDB.Profile.7.Capture.0.Type\n",
            "log 31 8b000001 reading 1 DS bulk data entries", "bulk 4: Global.CallhomeDB.Profile.7.Capture.0.Type",
            "log 17 8b000001 Read capture day of week - Global.CallhomeDB.Profile.7.Capture.0.DayOfWeek\n",
            "log 17 8b000001 Read capture time of day - Global.CallhomeDB.Profile.7.Capture.0.TimeOfDay\n",
            "log 17 8b000001 Read capture interval - Global.CallhomeDB.Profile.7.Capture.0.Interval\n",
            "log 31 8b000001 reading 3 DS bulk data entries",
            "bulk 5: Global.CallhomeDB.Profile.7.Capture.0.DayOfWeek Global.CallhomeDB.Profile.7.Capture.0.TimeOfDay "
            "Global.CallhomeDB.Profile.7.Capture.0.Interval",
            kMarker));
    const std::vector<std::string> traces = switch_.takeTraces();
    EXPECT_THAT(
        traces,
        ElementsAre("OrvCHProfile readInitialConfig: Index=7\n", "OrvCHProfile processInitialConfigBulk: Entry\n",
                    "OrvCHProfile readEmailConfig: Index=7, emailCount=2\n", "OrvCHProfile readCaptureTypes: Index=7\n",
                    "OrvCHProfile processEmailConfigBulk: Entry\n", "OrvCHProfile processCaptureTypesBulk: Entry\n",
                    testing::StartsWith("CronCaptureItem CronCaptureItem: constructor: "),
                    "OrvCHProfile readCaptureAttrs: Index=7\n", "OrvCHProfile processCaptureAttrsBulk: Entry\n"));
    EXPECT_EQ(profile_.config(), 0u);
}

TEST_F(OrvProfileReaderTest, isCompleteAtTheEndOfTheFirstAnswerWhenBothListsAreEmpty) {
    start();

    EXPECT_EQ(driver_.initial({{"NumberOfEmails", "0"}, {"CaptureEntries", "0"}}), 0);

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, waitsForEveryListBeforeItWritesTheMarker) {
    start();

    driver_.initial({{"NumberOfEmails", "1"}, {"CaptureEntries", "1"}});
    EXPECT_EQ(profile_.config(), 6u);
    driver_.types({"None"});
    EXPECT_EQ(profile_.config(), 2u);
    EXPECT_THAT(switch_.takeSent(), testing::Not(testing::Contains(kMarker)));
    driver_.emails({"a@x"});

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, dispatchesOnTheFirstWordThatAKeyHolds) {
    start();

    driver_.initial({{"Level.ProfileList", "Ops"}, {"MaxSize.Format", "Tsc1"}, {"EmailSubjectMaxSize", "4000"}});

    EXPECT_EQ(profile_.name(), "Ops");
    EXPECT_EQ(profile_.level(), 3);
    EXPECT_EQ(profile_.maxSize(), 4000u);
}

TEST_F(OrvProfileReaderTest, logsTheValueOfAKeyItDoesNotKnowAndGoesOn) {
    start();

    EXPECT_EQ(driver_.initial({{"Colour", "100%s"}, {"MaxSize", "4000"}}), 0);

    EXPECT_EQ(switch_.takeSent().front(),
              "log 15 8b000001 Read invalid attribute value '100%s' from DS in processInitialConfigBulk()");
    EXPECT_EQ(profile_.maxSize(), 4000u);
}

TEST_F(OrvProfileReaderTest, keepsTheFieldOfARefusedValueAndGoesOn) {
    start();

    EXPECT_EQ(driver_.initial({{"ProfileList", std::string(33, 'x')}, {"MaxSize", "12k"}, {"Level", "Fault"}}), 0);

    EXPECT_EQ(profile_.name(), "");
    EXPECT_EQ(profile_.maxSize(), 2000000u);
    EXPECT_EQ(profile_.level(), 4);
}

TEST_F(OrvProfileReaderTest, goesOnAfterALevelNameThatIsTooLong) {
    start();

    EXPECT_EQ(driver_.initial({{"Level", std::string(40, 'F')}, {"MaxSize", "4000"}, {"ProfileList", "Ops"}}), 0);

    EXPECT_EQ(profile_.level(), 5);
    EXPECT_EQ(profile_.maxSize(), 4000u);
    EXPECT_EQ(profile_.name(), "Ops");
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, logsAndPassesOverEntriesWithABadStatus) {
    start();

    EXPECT_EQ(driver_.initial({{"ProfileList", "Ops"}, {"Level", "Fault"}, {"MaxSize", "4000"}}, {kBadStatus, 0, -1}),
              0);

    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 15 8b000001 Error getting Profile Initial Config from DS - bad status array[0]",
                    "log 15 8b000001 Error getting Profile Initial Config from DS - bad status array[2]", kMarker));
    EXPECT_EQ(profile_.name(), "");
    EXPECT_EQ(profile_.level(), 4);
    EXPECT_EQ(profile_.maxSize(), 2000000u);
}

TEST_F(OrvProfileReaderTest, takesEveryStatusThatIsNotNegative) {
    start();

    driver_.initial({{"ProfileList", "Ops"}, {"Level", "Fault"}}, {1, 0x7FFFFFFF});

    EXPECT_EQ(profile_.name(), "Ops");
    EXPECT_EQ(profile_.level(), 4);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, passesOverEntriesThatHaveNoStatus) {
    start();

    driver_.initial({{"ProfileList", "Ops"}, {"Level", "Fault"}}, {0});

    EXPECT_EQ(profile_.name(), "Ops");
    EXPECT_EQ(profile_.level(), 3);
}

TEST_F(OrvProfileReaderTest, takesABadCaptureEnableAsDisabledAndBadCaptureEntriesAsNone) {
    ASSERT_EQ(profile_.setCaptureEnable("True"), 0);
    ASSERT_EQ(profile_.setCaptureEntries("3"), 0);
    start();

    driver_.initial({{"NumberOfEmails", "1"}, {"CaptureEnable", "True"}, {"CaptureEntries", "2"}},
                    {0, kBadStatus, kBadStatus});

    EXPECT_FALSE(profile_.captureEnabled());
    EXPECT_EQ(profile_.config(), 2u);
    switch_.takeTraces();
    profile_.dumpProfileInfo();
    EXPECT_THAT(switch_.takeTraces(), ElementsAre(testing::HasSubstr("  CaptureEntries    = 0\n")));
}

// The service must not stop because a list's length could not be read.
TEST_F(OrvProfileReaderTest, takesListsWhoseLengthIsBadOrMissingAsEmpty) {
    start();
    driver_.initial({{"NumberOfEmails", "1"}}, {kBadStatus});
    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_EQ(switch_.takeSent().back(), kMarker);

    start();
    driver_.initial({});
    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, stopsAtOnceWithAnAlarmWhenTheEmailListCannotBeAskedFor) {
    start();
    switch_.refuseRequest(1);

    EXPECT_EQ(driver_.initial({{"NumberOfEmails", "1"}, {"CaptureEnable", "True"}, {"CaptureEntries", "0"}}), -1);

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 31 8b000001 reading 1 DS bulk data entries",
                                                "log 15 8b000001 Error reading DS bulk data entries",
                                                "log 15 8b000001 readEmailConfig() - flushBulkGetSameComp() error",
                                                "alarm 16 0 OrvApp - problem reading email config from DS"));
    EXPECT_EQ(profile_.config(), 7u);
    EXPECT_FALSE(profile_.captureEnabled());
}

TEST_F(OrvProfileReaderTest, stopsAtOnceWithAnAlarmWhenTheCaptureTypesCannotBeAskedFor) {
    start();
    switch_.refuseRequest(2);

    EXPECT_EQ(driver_.initial({{"NumberOfEmails", "1"}, {"CaptureEntries", "1"}, {"Level", "Fault"}}), -1);
    EXPECT_EQ(profile_.level(), 3);
    driver_.emails({"a@x"});

    EXPECT_EQ(profile_.config(), 5u);
    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 31 8b000001 reading 1 DS bulk data entries", "bulk 3: Global.CallhomeDB.Profile.7.EmailList.0",
                    "log 17 8b000001 CALLHOME_READ_PROFILE_CAPTURE_TYPES - Read profile recipient - "
                    "Global.CallhomeDB.Profile.7.Capture.0.Type\n",
                    "log 31 8b000001 reading 1 DS bulk data entries",
                    "log 15 8b000001 Error reading DS bulk data entries",
                    "log 15 8b000001 readCaptureTypes() - flushBulkGetSameComp() error",
                    "alarm 16 0 OrvApp - problem reading capture entries from DS"));
}

TEST_F(OrvProfileReaderTest, addsGoodAddressesInOrderAndLogsBadOnes) {
    start();
    driver_.initial({{"NumberOfEmails", "3"}});
    switch_.takeSent();

    EXPECT_EQ(driver_.emails({"a@x", "bad", "c@x"}, {1, kBadStatus, 0}), 0);

    EXPECT_THAT(profile_.emails(), ElementsAre("a@x", "c@x"));
    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 15 8b000001 Error getting Profile Email Config from DS - bad status array[1]", kMarker));
}

TEST_F(OrvProfileReaderTest, passesOverAddressesThatHaveNoStatus) {
    start();
    driver_.initial({{"NumberOfEmails", "3"}});
    switch_.takeSent();

    EXPECT_EQ(driver_.emails({"a@x", "b@x", "c@x"}, {0}), 0);

    EXPECT_THAT(profile_.emails(), ElementsAre("a@x"));
    EXPECT_THAT(
        switch_.takeSent(),
        ElementsAre("log 15 8b000001 Error getting Profile Email Config from DS - bad status array[1]",
                    "log 15 8b000001 Error getting Profile Email Config from DS - bad status array[2]", kMarker));
}

TEST_F(OrvProfileReaderTest, asksForAnEleventhAddressButDoesNotTakeIt) {
    start();
    driver_.initial({{"NumberOfEmails", "11"}});
    EXPECT_EQ(switch_.takeSent().front(), "log 31 8b000001 reading 11 DS bulk data entries");

    EXPECT_EQ(driver_.emails(std::vector<std::string>(11, "a@x")), 0);

    EXPECT_EQ(profile_.emails().size(), 10u);
    EXPECT_EQ(profile_.config(), 0u);
}

TEST_F(OrvProfileReaderTest, asksForNoMoreNamesThanOneRequestTakes) {
    start();

    EXPECT_EQ(driver_.initial({{"NumberOfEmails", "4000000000"}, {"CaptureEntries", "65"}}), 0);

    const std::vector<std::string> sent = switch_.takeSent();
    ASSERT_EQ(sent.size(), 2u + 64u + 2u);
    EXPECT_EQ(sent[0], "log 31 8b000001 reading 64 DS bulk data entries");
    EXPECT_THAT(sent[1], testing::EndsWith(" Global.CallhomeDB.Profile.7.EmailList.63"));
    EXPECT_EQ(sent[66], "log 31 8b000001 reading 64 DS bulk data entries");
    EXPECT_THAT(sent[67], testing::EndsWith(" Global.CallhomeDB.Profile.7.Capture.63.Type"));
    EXPECT_THAT(switch_.takeTraces(),
                testing::Contains("OrvCHProfile readEmailConfig: Index=7, emailCount=4000000000\n"));
}

TEST_F(OrvProfileReaderTest, reportsAMarkerThatCannotBeWritten) {
    start();
    switch_.refuseRequest(1);

    EXPECT_EQ(driver_.initial({{"NumberOfEmails", "0"}, {"CaptureEntries", "0"}}), -1);

    EXPECT_THAT(switch_.takeSent(), ElementsAre("log 15 8b000001 writeMarkerData() - DS error"));
    EXPECT_EQ(profile_.config(), 0u);
}

// A second marker would make the controller leave out the next profile.
TEST_F(OrvProfileReaderTest, writesNoSecondMarkerForAnAnswerThatComesTwice) {
    start();
    driver_.initial({{"NumberOfEmails", "1"}});
    driver_.emails({"a@x"});
    switch_.takeSent();

    driver_.emails({"a@x"});
    driver_.initial({{"CaptureEntries", "0"}});

    EXPECT_THAT(switch_.takeSent(), IsEmpty());
}

// Two profiles read side by side, one of them with the largest index that there is.
TEST_F(OrvProfileReaderTest, asksUnderItsOwnIndex) {
    OrvCHProfile last(4294967295u);
    OrvProfileReader lastReader(last, switch_.store());
    ProfileDriver lastDriver(switch_, last, lastReader);
    const ProfileDriver::Values values{{"NumberOfEmails", "1"}, {"CaptureEntries", "1"}};
    start();
    ASSERT_EQ(lastReader.readInitialConfig(), 0);
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHProfile readInitialConfig: Index=4294967295\n"));
    driver_.initial(values);
    lastDriver.initial(values);
    driver_.types({"Cron"});
    lastDriver.types({"Cron"});

    std::vector<std::string> requests = switch_.takeSent();
    std::erase_if(requests, [](const std::string& line) { return !line.starts_with("bulk "); });

    const std::string first = "Global.CallhomeDB.Profile.7.";
    const std::string second = "Global.CallhomeDB.Profile.4294967295.";
    const auto attributes = [](const std::string& key) {
        return "bulk 5: " + key + "DayOfWeek " + key + "TimeOfDay " + key + "Interval";
    };
    EXPECT_THAT(requests, ElementsAre("bulk 2: Global.CallhomeDB.ProfileList.4294967295 " + second + "Level " + second +
                                          "Format " + second + "MaxSize " + second + "EmailSubject " + second +
                                          "NumberOfEmails " + second + "CaptureEnable " + second + "CaptureEntries",
                                      "bulk 3: " + first + "EmailList.0", "bulk 4: " + first + "Capture.0.Type",
                                      "bulk 3: " + second + "EmailList.0", "bulk 4: " + second + "Capture.0.Type",
                                      attributes(first + "Capture.0."), attributes(second + "Capture.0.")));
}

TEST_F(OrvProfileReaderTest, canBeReadAgain) {
    driver_.readWhole({{"NumberOfEmails", "1"}, {"CaptureEntries", "1"}}, {"a@x"}, {{"Fri", "17:05", "26"}});

    start();

    EXPECT_EQ(profile_.config(), 7u);
    driver_.initial({{"NumberOfEmails", "0"}, {"CaptureEntries", "0"}});
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
}

TEST_F(OrvProfileReaderTest, canBeReadAgainWithTwoCaptures) {
    const ProfileDriver::Values values{{"CaptureEnable", "True"}, {"NumberOfEmails", "0"}, {"CaptureEntries", "2"}};
    driver_.readWhole(values, {}, {{"Fri", "17:05", "26"}, {"Sat", "18:00", "3"}});

    start();
    EXPECT_EQ(driver_.initial(values), 0);
    EXPECT_EQ(driver_.types({"Cron", "Cron"}), 0);
    EXPECT_EQ(driver_.attrs(0, {"Tue", "01:00", "2"}), 0);
    // The answers of the first read do not count.
    EXPECT_EQ(profile_.config(), 4u);
    EXPECT_THAT(switch_.takeSent(), testing::Not(testing::Contains(kMarker)));
    EXPECT_EQ(driver_.attrs(1, {"Wed", "03:00", "4"}), 0);

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(switch_.takeSent(), ElementsAre(kMarker));
    ASSERT_NE(profile_.capture(), nullptr);
    EXPECT_STREQ(profile_.capture()->dayName(), "Wed");
    EXPECT_EQ(profile_.capture()->timeOfDayText(), "03:00");
    EXPECT_EQ(profile_.capture()->intervalText(), "4");
}

}  // namespace
