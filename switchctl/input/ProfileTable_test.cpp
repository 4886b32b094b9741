#include "switchctl/input/ProfileTable.h"

#include "switchctl/text/Errors.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

constexpr std::uint32_t STRING = 1;
constexpr std::uint32_t INTEGER = 2;

ProfileSettings operators() {
    ProfileSettings settings;
    settings.name = "Operators";
    settings.level = "Alarm";
    settings.format = "FullText";
    settings.emails = {"a@example.com", "b@example.com"};
    return settings;
}

std::vector<Attribute> twoProfiles() {
    return {
        {"Global.CallhomeDB.NumberOfProfiles", INTEGER, "2"},
        {"Global.CallhomeDB.Profile.0.Level", STRING, "Warn"},
        {"Global.CallhomeDB.Profile.0.NumberOfEmails", INTEGER, "1"},
        {"Global.CallhomeDB.Profile.0.EmailList.0", STRING, "first@example.com"},
        {"Global.CallhomeDB.Profile.1.Level", STRING, "Fault"},
        {"Global.CallhomeDB.Profile.1.Unknown", STRING, "kept"},
        {"Global.CallhomeDB.ProfileList.0", STRING, "First"},
        {"Global.CallhomeDB.ProfileList.1", STRING, "Second"},
    };
}

std::vector<std::string> names(const ProfileTable& table) {
    std::vector<std::string> result;
    for (const auto& profile : table.profiles()) {
        result.push_back(profile.name);
    }
    return result;
}

TEST(ProfileTable, writesEveryKeyThatTheDaemonReads) {
    ProfileTable table({});
    ProfileSettings settings = operators();
    settings.maxSize = 5000;
    settings.subject = "Switch in the lab";
    settings.capture = "Mon,02:30,2";

    table.add(settings);

    EXPECT_THAT(table.change().unset, IsEmpty());
    EXPECT_THAT(table.change().set,
                UnorderedElementsAre(Attribute{"Global.CallhomeDB.NumberOfProfiles", INTEGER, "1"},
                                     Attribute{"Global.CallhomeDB.ProfileList.0", STRING, "Operators"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Level", STRING, "Alarm"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Format", STRING, "FullText"},
                                     Attribute{"Global.CallhomeDB.Profile.0.MaxSize", INTEGER, "5000"},
                                     Attribute{"Global.CallhomeDB.Profile.0.EmailSubject", STRING, "Switch in the lab"},
                                     Attribute{"Global.CallhomeDB.Profile.0.NumberOfEmails", INTEGER, "2"},
                                     Attribute{"Global.CallhomeDB.Profile.0.EmailList.0", STRING, "a@example.com"},
                                     Attribute{"Global.CallhomeDB.Profile.0.EmailList.1", STRING, "b@example.com"},
                                     Attribute{"Global.CallhomeDB.Profile.0.CaptureEnable", STRING, "True"},
                                     Attribute{"Global.CallhomeDB.Profile.0.CaptureEntries", INTEGER, "1"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Capture.0.Type", STRING, "Cron"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Capture.0.DayOfWeek", STRING, "Mon"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Capture.0.TimeOfDay", STRING, "02:30"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Capture.0.Interval", INTEGER, "2"}));
}

TEST(ProfileTable, writesNoCaptureWithoutOne) {
    ProfileTable table({});

    table.add(operators());

    EXPECT_EQ(table.profiles()[0].field("CaptureEnable"), "False");
    EXPECT_EQ(table.profiles()[0].field("CaptureEntries"), "0");
    EXPECT_EQ(table.profiles()[0].capture(), "");
    EXPECT_EQ(table.profiles()[0].field("MaxSize"), "2000000");
    EXPECT_EQ(table.profiles()[0].fields.count("Capture.0.Type"), 0u);
}

TEST(ProfileTable, addsBehindThePresentOnesAndLeavesThoseAlone) {
    ProfileTable table(twoProfiles());

    table.add(operators());

    for (const Attribute& attribute : table.change().set) {
        EXPECT_THAT(attribute.key,
                    testing::AnyOf("Global.CallhomeDB.NumberOfProfiles", "Global.CallhomeDB.ProfileList.2",
                                   testing::StartsWith("Global.CallhomeDB.Profile.2.")));
    }
    EXPECT_THAT(table.change().unset, IsEmpty());
    EXPECT_THAT(names(table), ElementsAre("First", "Second", "Operators"));
}

TEST(ProfileTable, closesTheGapThatARemovedProfileLeaves) {
    ProfileTable table(twoProfiles());

    table.remove("First");

    EXPECT_THAT(table.change().set,
                UnorderedElementsAre(Attribute{"Global.CallhomeDB.NumberOfProfiles", INTEGER, "1"},
                                     Attribute{"Global.CallhomeDB.ProfileList.0", STRING, "Second"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Level", STRING, "Fault"},
                                     Attribute{"Global.CallhomeDB.Profile.0.Unknown", STRING, "kept"}));
    EXPECT_THAT(table.change().unset,
                UnorderedElementsAre("Global.CallhomeDB.Profile.0.NumberOfEmails",
                                     "Global.CallhomeDB.Profile.0.EmailList.0", "Global.CallhomeDB.Profile.1.Level",
                                     "Global.CallhomeDB.Profile.1.Unknown", "Global.CallhomeDB.ProfileList.1"));
}

TEST(ProfileTable, leavesNothingBehindTheLastProfile) {
    ProfileTable table(twoProfiles());

    table.remove("First");
    table.remove("Second");

    EXPECT_THAT(table.change().set, ElementsAre(Attribute{"Global.CallhomeDB.NumberOfProfiles", INTEGER, "0"}));
    EXPECT_THAT(table.change().unset, SizeIs(7));
}

TEST(ProfileTable, clearsWhatStandsBeyondTheCount) {
    std::vector<Attribute> attributes = twoProfiles();
    attributes[0].value = "1";
    const ProfileTable table(attributes);

    EXPECT_THAT(names(table), ElementsAre("First"));
    EXPECT_THAT(table.change().unset,
                UnorderedElementsAre("Global.CallhomeDB.Profile.1.Level", "Global.CallhomeDB.Profile.1.Unknown",
                                     "Global.CallhomeDB.ProfileList.1"));
}

TEST(ProfileTable, survivesANonsensicalStore) {
    const ProfileTable table({{"Global.CallhomeDB.NumberOfProfiles", INTEGER, "many"},
                              {"Global.CallhomeDB.Profile.", STRING, "x"},
                              {"Global.CallhomeDB.Profile.x.Level", STRING, "x"},
                              {"Global.CallhomeDB.ProfileList.99999999999999999999", STRING, "x"}});

    EXPECT_THAT(table.profiles(), IsEmpty());
}

TEST(ProfileTable, believesNoCountOfEmailsBeyondWhatIsThere) {
    std::vector<Attribute> attributes = twoProfiles();
    attributes[2].value = "2000000000";
    const ProfileTable table(attributes);

    EXPECT_LE(table.profiles()[0].emails().size(), 3u);
}

TEST(ProfileTable, refusesANameThatIsTaken) {
    ProfileTable table({});
    table.add(operators());

    try {
        table.add(operators());
        FAIL();
    } catch (const Refused& error) {
        EXPECT_STREQ(error.what(), "there is a profile Operators already");
    }
    EXPECT_THAT(table.profiles(), SizeIs(1));
}

TEST(ProfileTable, refusesToRemoveWhatIsNotThere) {
    ProfileTable table({});

    EXPECT_THROW(table.remove("Operators"), Refused);
}

TEST(ProfileTable, refusesSettingsThatTheDaemonWouldNotUnderstand) {
    const auto refuses = [](auto change) {
        ProfileSettings settings = operators();
        change(settings);
        EXPECT_THROW(ProfileTable({}).add(settings), UsageError);
    };
    refuses([](ProfileSettings& settings) { settings.name = std::string(33, 'n'); });
    refuses([](ProfileSettings& settings) { settings.level = "Loud"; });
    refuses([](ProfileSettings& settings) { settings.format = ""; });
    refuses([](ProfileSettings& settings) { settings.subject = std::string(65, 's'); });
    refuses([](ProfileSettings& settings) { settings.emails.assign(11, "a@x"); });
    refuses([](ProfileSettings& settings) { settings.emails = {"#a@x"}; });
    refuses([](ProfileSettings& settings) { settings.capture = "Mon,24:00,1"; });
}

TEST(ProfileTable, tellsWhatAProfileHolds) {
    const ProfileTable table(twoProfiles());

    ASSERT_NE(table.find("First"), nullptr);
    EXPECT_THAT(table.find("First")->emails(), ElementsAre("first@example.com"));
    EXPECT_EQ(table.find("First")->field("Level"), "Warn");
    EXPECT_EQ(table.find("First")->field("Format"), "");
    EXPECT_EQ(table.find("Third"), nullptr);
}

}  // namespace
