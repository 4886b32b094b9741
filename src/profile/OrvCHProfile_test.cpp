// What a profile holds, whom it mails to, and what it shows of itself.
#include "profile/OrvCHProfile.h"

#include "platform/posix/Clock.h"
#include "testing/profile/ProfileDriver.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OrvCHProfileTest : public testing::Test {
protected:
    OrvCHProfileTest() { useHostClock(&clock_); }
    ~OrvCHProfileTest() override { useHostClock(nullptr); }

    std::string dump() {
        switch_.takeTraces();
        profile_.dumpProfileInfo();
        const std::vector<std::string> traces = switch_.takeTraces();
        return traces.size() == 1 ? traces[0] : "not one trace";
    }

    LocalZone zone_{"UTC0"};
    ManualClock clock_{1700000000};
    RecordingSwitch switch_;
    OrvCHProfile profile_{7};
    OrvProfileReader reader_{profile_, switch_.store()};
};

TEST_F(OrvCHProfileTest, startsWithItsDefaults) {
    EXPECT_EQ(profile_.name(), "");
    EXPECT_EQ(profile_.level(), 3);
    EXPECT_EQ(profile_.maxSize(), 2000000u);
    EXPECT_THAT(profile_.emails(), IsEmpty());
    EXPECT_FALSE(profile_.captureEnabled());
    EXPECT_EQ(profile_.capture(), nullptr);
    EXPECT_EQ(profile_.processedCount(), 0u);
    EXPECT_EQ(profile_.processedLast(), "NotApplicable");
    EXPECT_EQ(profile_.config(), 7u);
    EXPECT_EQ(dump(),
              "OrvCHProfile dumpProfileInfo: \n"
              "Profile Information:\n"
              "  Config            = 7\n"
              "  Name              = \n"
              "  Index             = 7\n"
              "  Level             = Alarm\n"
              "  Format            = FullText\n"
              "  MaxSize           = 2000000\n"
              "  EmailSubject      = \n"
              "  ProcessedCount    = 0\n"
              "  ProcessedLast     = NotApplicable\n"
              "  NumOfEmailEntries = 0, list size=0\n"
              "  CaptureEnable     = 0\n"
              "  CaptureEntries    = 0\n"
              "\n");
}

TEST_F(OrvCHProfileTest, takesNamesAndFormatsOfUpToThirtyTwoCharacters) {
    EXPECT_EQ(profile_.setName(std::string(32, 'n')), 0);
    EXPECT_EQ(profile_.setName(std::string(33, 'x')), -1);
    EXPECT_EQ(profile_.name(), std::string(32, 'n'));

    EXPECT_EQ(profile_.setFormat(std::string(32, 'f')), 0);
    EXPECT_EQ(profile_.setFormat(std::string(33, 'x')), -1);
    ASSERT_EQ(profile_.addEmail("a@x"), 0);
    EXPECT_EQ(profile_.envelopeFor(3, false)->Type, std::string(32, 'f'));
}

TEST_F(OrvCHProfileTest, takesSubjectsOfUpToSixtyFourCharacters) {
    EXPECT_EQ(profile_.setEmailSubject(std::string(64, 's')), 0);
    EXPECT_EQ(profile_.setEmailSubject(std::string(65, 'x')), -1);
    ASSERT_EQ(profile_.addEmail("a@x"), 0);
    EXPECT_EQ(profile_.envelopeFor(3, false)->Subject, std::string(64, 's'));
}

TEST_F(OrvCHProfileTest, takesLevelsByExactNameAndEverythingElseAsNone) {
    struct Case {
        std::string name;
        int result;
        std::int32_t level;
    };
    const Case cases[] = {{"Info", 0, 0},
                          {"Warn", 0, 1},
                          {"Critical", 0, 2},
                          {"Alarm", 0, 3},
                          {"Fault", 0, 4},
                          {"None", 0, 5},
                          {"critical", 0, 5},
                          {"", 0, 5},
                          {std::string(32, 'c'), 0, 5},
                          {std::string(40, 'c'), -1, 5}};
    for (const Case& level : cases) {
        ASSERT_EQ(profile_.setLevel("Warn"), 0);
        EXPECT_EQ(profile_.setLevel(level.name), level.result) << level.name;
        EXPECT_EQ(profile_.level(), level.level) << level.name;
    }
}

TEST_F(OrvCHProfileTest, holdsTheMaximumSizeBetweenItsLimits) {
    struct Case {
        const char* text;
        int result;
        std::uint32_t size;
    };
    const Case cases[] = {{"1000", 0, 1000},
                          {"650", 0, 650},
                          {"2000000", 0, 2000000},
                          {"649", 0, 650},
                          {"100", 0, 650},
                          {"0", 0, 650},
                          {"", 0, 650},
                          {"-5", 0, 650},
                          {"-99999999999", 0, 650},
                          {" 1000", 0, 1000},
                          {"2000001", 0, 2000000},
                          {"5000000", 0, 2000000},
                          {"4294967296", 0, 2000000},
                          {"99999999999999999999", 0, 2000000},
                          {"12k", -1, 777},
                          {"1000 ", -1, 777},
                          {"x", -1, 777},
                          {"-", -1, 777},
                          {" ", -1, 777}};
    for (const Case& size : cases) {
        ASSERT_EQ(profile_.setMaxSize("777"), 0);
        EXPECT_EQ(profile_.setMaxSize(size.text), size.result) << size.text;
        EXPECT_EQ(profile_.maxSize(), size.size) << size.text;
    }
}

TEST_F(OrvCHProfileTest, leavesTheDefaultSizeWhenTheFirstOneIsRefused) {
    EXPECT_EQ(profile_.setMaxSize("12k"), -1);
    EXPECT_EQ(profile_.maxSize(), 2000000u);
}

TEST_F(OrvCHProfileTest, keepsTheFirstTenAddressesInOrder) {
    std::vector<std::string> expected;
    for (int i = 0; i < 10; ++i) {
        expected.push_back("user" + std::to_string(i) + "@x");
        EXPECT_EQ(profile_.addEmail(expected.back()), 0);
    }

    EXPECT_EQ(profile_.addEmail("eleventh@x"), -1);

    EXPECT_EQ(profile_.emails(), expected);
}

TEST_F(OrvCHProfileTest, takesAnEmptyAddressLikeAnyOther) {
    EXPECT_EQ(profile_.addEmail(""), 0);
    EXPECT_THAT(profile_.envelopeFor(3, false)->Recipients, ElementsAre(""));
}

TEST_F(OrvCHProfileTest, clearsItsListTogetherWithTheNumberRead) {
    ASSERT_EQ(profile_.setNumOfEmailEntries("2"), 0);
    ASSERT_EQ(profile_.addEmail("a@x"), 0);

    EXPECT_EQ(profile_.clearEmailList(), 0);

    EXPECT_THAT(profile_.emails(), IsEmpty());
    EXPECT_THAT(dump(), testing::HasSubstr("  NumOfEmailEntries = 0, list size=0\n"));
}

TEST_F(OrvCHProfileTest, enablesTheCaptureForExactlyTrue) {
    for (const char* value : {"true", "TRUE", "1", "", "False", "True "}) {
        ASSERT_EQ(profile_.setCaptureEnable("True"), 0);
        ASSERT_TRUE(profile_.captureEnabled());
        EXPECT_EQ(profile_.setCaptureEnable(value), 0);
        EXPECT_FALSE(profile_.captureEnabled()) << value;
    }
}

TEST_F(OrvCHProfileTest, readsItsTwoNumbersAsDecimalTextWithoutAnyCheck) {
    const std::pair<const char*, const char*> cases[] = {
        {"3", "3"}, {"", "0"}, {"x", "0"}, {"3x", "3"}, {"-1", "4294967295"}, {"4294967296", "4294967295"}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(profile_.setNumOfEmailEntries(text), 0);
        EXPECT_EQ(profile_.setCaptureEntries(text), 0);
        const std::string shown = dump();
        EXPECT_THAT(shown, testing::HasSubstr(std::string("  NumOfEmailEntries = ") + number + ", list size=0\n"));
        EXPECT_THAT(shown, testing::HasSubstr(std::string("  CaptureEntries    = ") + number + "\n"));
    }
}

TEST_F(OrvCHProfileTest, wantsMessagesOfItsLevelAndAboveNoneIncluded) {
    ASSERT_EQ(profile_.addEmail("a@x"), 0);
    for (std::int32_t own = 0; own <= 5; ++own) {
        ASSERT_EQ(profile_.setLevel(orvLevelName(own)), 0);
        for (std::int32_t level = 0; level <= 5; ++level) {
            EXPECT_EQ(profile_.envelopeFor(level, false) != nullptr, level >= own) << own << ' ' << level;
            EXPECT_NE(profile_.envelopeFor(level, true), nullptr) << own << ' ' << level;
        }
    }
}

TEST_F(OrvCHProfileTest, ofLevelFaultPassesOverACriticalMessageButNotOverATest) {
    ASSERT_EQ(profile_.addEmail("a@x"), 0);
    ASSERT_EQ(profile_.setLevel("Fault"), 0);

    EXPECT_EQ(profile_.envelopeFor(kOrvLevelCritical, false), nullptr);
    EXPECT_NE(profile_.envelopeFor(kOrvLevelNone, false), nullptr);
}

TEST_F(OrvCHProfileTest, makesNoEnvelopeWithoutAddressesNotEvenForced) {
    EXPECT_EQ(profile_.envelopeFor(kOrvLevelNone, false), nullptr);
    EXPECT_EQ(profile_.envelopeFor(kOrvLevelNone, true), nullptr);
    EXPECT_EQ(profile_.processedCount(), 0u);
    EXPECT_EQ(profile_.processedLast(), "NotApplicable");
}

TEST_F(OrvCHProfileTest, fillsItsEnvelopeFromItsFields) {
    ASSERT_EQ(profile_.setName("Ops"), 0);
    ASSERT_EQ(profile_.setFormat("Tsc1"), 0);
    ASSERT_EQ(profile_.setMaxSize("4000"), 0);
    ASSERT_EQ(profile_.setEmailSubject("switch trouble"), 0);
    ASSERT_EQ(profile_.addEmail("a@x"), 0);
    ASSERT_EQ(profile_.addEmail("#b@x"), 0);

    const std::unique_ptr<OrvCHEnvelope> envelope = profile_.envelopeFor(3, false);

    ASSERT_NE(envelope, nullptr);
    EXPECT_FALSE(envelope->Done);
    EXPECT_EQ(envelope->ProfileName, "Ops");
    EXPECT_EQ(envelope->Type, "Tsc1");
    EXPECT_EQ(envelope->MaxSize, 4000u);
    EXPECT_EQ(envelope->Subject, "switch trouble");
    EXPECT_THAT(envelope->Recipients, ElementsAre("a@x", "#b@x"));
    EXPECT_EQ(envelope->RecipientCursor, 0u);
}

TEST_F(OrvCHProfileTest, countsAndTimesTheEnvelopesItMakes) {
    ASSERT_EQ(profile_.addEmail("a@x"), 0);

    profile_.envelopeFor(0, false);
    EXPECT_EQ(profile_.processedCount(), 0u);
    profile_.envelopeFor(3, false);
    EXPECT_EQ(profile_.processedCount(), 1u);
    EXPECT_EQ(profile_.processedLast(), "Tue Nov 14 22:13:20 UTC 2023");
    clock_.setCalendar(1700000060);
    profile_.envelopeFor(0, true);

    EXPECT_EQ(profile_.processedCount(), 2u);
    EXPECT_EQ(profile_.processedLast(), "Tue Nov 14 22:14:20 UTC 2023");
}

TEST_F(OrvCHProfileTest, dumpsEverythingItHolds) {
    ProfileDriver driver(switch_, profile_, reader_);
    driver.readWhole({{"ProfileList", "Ops"},
                      {"Level", "Critical"},
                      {"Format", "Tsc1"},
                      {"MaxSize", "4000"},
                      {"EmailSubject", "switch trouble"},
                      {"NumberOfEmails", "2"},
                      {"CaptureEnable", "True"},
                      {"CaptureEntries", "1"}},
                     {"a@x", "b@x"}, {{"Fri", "17:05", "26"}});
    profile_.envelopeFor(3, false);

    EXPECT_EQ(dump(),
              "OrvCHProfile dumpProfileInfo: \n"
              "Profile Information:\n"
              "  Config            = 0\n"
              "  Name              = Ops\n"
              "  Index             = 7\n"
              "  Level             = Critical\n"
              "  Format            = Tsc1\n"
              "  MaxSize           = 4000\n"
              "  EmailSubject      = switch trouble\n"
              "  ProcessedCount    = 1\n"
              "  ProcessedLast     = Tue Nov 14 22:13:20 UTC 2023\n"
              "  NumOfEmailEntries = 2, list size=2\n"
              "  CaptureEnable     = 1\n"
              "  CaptureEntries    = 1\n"
              "    Email Addr[0] = a@x\n"
              "    Email Addr[1] = b@x\n"
              "    Capture[0]: (Cron)\n"
              "      DayOfWeek     = Fri\n"
              "      TimeOfDay     = 17:05\n"
              "      Interval      = 26\n"
              "      Shell         = clish\n"
              "      Command       = show support callhome\n"
              "      LastExecution = Thu, 01  Jan  1970  00:00:00  +0000\n"
              "      NextExecution = Thu, 01  Jan  1970  00:00:00  +0000\n"
              "\n");
}

TEST_F(OrvCHProfileTest, showsItsCaptureAsNeverRunWhenItIsNotScheduled) {
    ProfileDriver driver(switch_, profile_, reader_);
    driver.readWhole({{"NumberOfEmails", "0"}, {"CaptureEntries", "1"}}, {}, {{"Fri", "17:05", "26"}});
    const std::string before = dump();
    CronCaptureItem copy = *profile_.capture();
    copy.LastExecution = copy.NextExecution = 1700000000;

    EXPECT_EQ(dump(), before);
}

TEST_F(OrvCHProfileTest, showsTheTimesOfTheCopyThatIsScheduled) {
    ProfileDriver driver(switch_, profile_, reader_);
    driver.readWhole({{"NumberOfEmails", "0"}, {"CaptureEntries", "1"}}, {}, {{"Fri", "17:05", "26"}});
    CronCaptureItem copy = *profile_.capture();
    copy.LastExecution = 1700000000;
    copy.NextExecution = 1800000000;
    switch_.takeTraces();

    profile_.dumpProfileInfo(&copy);

    EXPECT_THAT(switch_.takeTraces(),
                testing::ElementsAre(testing::HasSubstr("      Command       = show support callhome\n"
                                                        "      LastExecution = Tue, 14  Nov  2023  22:13:20  +0000\n"
                                                        "      NextExecution = Fri, 15  Jan  2027  08:00:00  +0000\n"
                                                        "\n")));
}

}  // namespace
