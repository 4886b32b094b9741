// Profiles read from the switch's own attribute store.
#include "MessageCodes.h"
#include "profile/OrvProfileReader.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using testing::ElementsAre;

class OrvProfileReaderOnTheSwitch : public testing::Test {
protected:
    OrvProfileReaderOnTheSwitch() {
        component_.onBulk = [this](const DsBulkReply& reply) { route(reply); };
        component_.onStatus = [this](const DsStatusReply& reply) { markers_.push_back(reply.status); };
        component_.insert();
        switch_.pump();
    }

    void route(const DsBulkReply& reply) {
        using Process = int (OrvProfileReader::*)(std::span<const DsEntry>, std::span<const std::int32_t>);
        constexpr Process kProcess[] = {
            &OrvProfileReader::processInitialConfigBulk, &OrvProfileReader::processEmailConfigBulk,
            &OrvProfileReader::processCaptureTypesBulk, &OrvProfileReader::processCaptureAttrsBulk};
        ASSERT_GE(reply.id, DsRequestId::PROFILE_INITIAL);
        ASSERT_LE(reply.id, DsRequestId::PROFILE_CAPTURE_ATTRS);
        const Process process = kProcess[reply.id - DsRequestId::PROFILE_INITIAL];
        EXPECT_EQ((reader_.*process)(reply.entries, reply.statuses), 0);
    }

    void setProfile(const std::string& attribute, const std::string& value) {
        switch_.set("Global.CallhomeDB.Profile.0." + attribute, value);
    }

    LoopbackSwitch switch_;
    StubComponent component_;
    OrvCHProfile profile_{0};
    OrvProfileReader reader_{profile_, component_.ds()};
    std::vector<std::int32_t> markers_;
};

TEST_F(OrvProfileReaderOnTheSwitch, readsAProfileWithACaptureAndEndsWithTheMarker) {
    switch_.set("Global.CallhomeDB.ProfileList.0", "Ops");
    setProfile("Level", "Warn");
    setProfile("Format", "Tsc1");
    setProfile("MaxSize", "4000");
    setProfile("EmailSubject", "trouble");
    setProfile("NumberOfEmails", "2");
    setProfile("EmailList.0", "a@x");
    setProfile("EmailList.1", "b@x");
    setProfile("CaptureEnable", "True");
    setProfile("CaptureEntries", "1");
    setProfile("Capture.0.Type", "Cron");
    setProfile("Capture.0.DayOfWeek", "Sat");
    setProfile("Capture.0.TimeOfDay", "23:15");
    setProfile("Capture.0.Interval", "4");

    ASSERT_EQ(reader_.readInitialConfig(), 0);
    switch_.pump();

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(markers_, ElementsAre(0));
    EXPECT_EQ(switch_.attribute("Oper.Callhome.MarkerData"), "OK");
    EXPECT_EQ(profile_.name(), "Ops");
    EXPECT_EQ(profile_.level(), 1);
    EXPECT_EQ(profile_.maxSize(), 4000u);
    EXPECT_THAT(profile_.emails(), ElementsAre("a@x", "b@x"));
    ASSERT_TRUE(profile_.captureEnabled());
    ASSERT_NE(profile_.capture(), nullptr);
    EXPECT_EQ(profile_.capture()->profileName(), "Ops");
    EXPECT_STREQ(profile_.capture()->dayName(), "Sat");
    EXPECT_EQ(profile_.capture()->timeOfDayText(), "23:15");
    EXPECT_EQ(profile_.capture()->intervalText(), "4");
    EXPECT_THAT(
        switch_.eventLog(),
        ElementsAre(
            LogLine{31, 0x8B000001u, "reading 8 DS bulk data entries"},
            LogLine{31, 0x8B000001u, "reading 2 DS bulk data entries"},
            LogLine{17, 0x8B000001u,
                    "CALLHOME_READ_PROFILE_CAPTURE_TYPES - Read profile recipient - "
                    "Global.CallhomeDB.Profile.0.Capture.0.Type\n"},
            LogLine{31, 0x8B000001u, "reading 1 DS bulk data entries"},
            LogLine{17, 0x8B000001u, "Read capture day of week - Global.CallhomeDB.Profile.0.Capture.0.DayOfWeek\n"},
            LogLine{17, 0x8B000001u, "Read capture time of day - Global.CallhomeDB.Profile.0.Capture.0.TimeOfDay\n"},
            LogLine{17, 0x8B000001u, "Read capture interval - Global.CallhomeDB.Profile.0.Capture.0.Interval\n"},
            LogLine{31, 0x8B000001u, "reading 3 DS bulk data entries"}));
}

TEST_F(OrvProfileReaderOnTheSwitch, isCompleteAlsoWhenTheStoreKnowsNothingOfIt) {
    ASSERT_EQ(reader_.readInitialConfig(), 0);
    switch_.pump();

    EXPECT_EQ(profile_.config(), 0u);
    EXPECT_THAT(markers_, ElementsAre(0));
    EXPECT_EQ(profile_.name(), "");
    EXPECT_EQ(profile_.level(), 3);
    EXPECT_FALSE(profile_.captureEnabled());
    EXPECT_EQ(profile_.envelopeFor(kOrvLevelNone, true), nullptr);
}

}  // namespace
