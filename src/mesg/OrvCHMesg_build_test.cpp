#include "Sw_Log_Type.h"
#include "mesg/OrvMesgNumbers.h"
#include "testing/mesg/MesgTest.h"

#include <optional>

using testing::ElementsAre;
using testing::IsEmpty;

using OrvCHMesgBuild = MesgTest;

struct BuilderCase {
    int (*build)(OrvCHMesg& mesg);
    const char* id;
    const char* text;
    std::int32_t level;
    const char* testProfile;
};

static const BuilderCase kBuilders[] = {
    {[](OrvCHMesg& mesg) { return mesg.buildSwitchPowerUpData(); }, "8B00.0003",
     "The switch has powered up and it is operational", 1, ""},
    {[](OrvCHMesg& mesg) { return mesg.buildTestData("Night 100%s"); }, "8B00.0002", "CALLHOME TEST PROFILE MESSAGE", 5,
     "Night 100%s"},
    {[](OrvCHMesg& mesg) { return mesg.buildSwitchStateData("Off%dline"); }, "8B00.0004",
     "The switch operational state has changed to Off%dline", 1, ""},
};

static void expectBuilt(const OrvCHMesg& mesg, const BuilderCase& builder) {
    EXPECT_EQ(mesg.Type, OrvCHMesg::kLogEvent);
    EXPECT_EQ(mesg.Time, kNowText);
    EXPECT_EQ(mesg.ID, builder.id);
    EXPECT_EQ(mesg.Text, builder.text);
    EXPECT_EQ(mesg.TestProfile, builder.testProfile);
    EXPECT_EQ(mesg.DuplicateCount, 0);
    EXPECT_EQ(mesg.DuplicateTime, "");
    ASSERT_NE(mesg.logEvent(), nullptr);
    EXPECT_EQ(mesg.cronCapture(), nullptr);
    EXPECT_EQ(mesg.logEvent()->Level, builder.level);
    EXPECT_EQ(mesg.logEvent()->App, "Orv");
    EXPECT_EQ(mesg.logEvent()->Blade + mesg.logEvent()->VID + mesg.logEvent()->Components, "");
}

TEST_F(OrvCHMesgBuild, buildsEachOwnMessageOnTypeDataOfTheRightKind) {
    for (const BuilderCase& builder : kBuilders) {
        OrvCHMesg mesg(OrvCHMesg::kLogEvent);
        const LogEventData* const before = mesg.logEvent();
        forgetTraces();

        ASSERT_EQ(builder.build(mesg), 0);

        expectBuilt(mesg, builder);
        EXPECT_EQ(mesg.logEvent(), before);
        EXPECT_THAT(traces(), ElementsAre("Entry"));
    }
}

TEST_F(OrvCHMesgBuild, createsMissingTypeData) {
    for (const BuilderCase& builder : kBuilders) {
        OrvCHMesg mesg;
        ASSERT_EQ(builder.build(mesg), 0);
        expectBuilt(mesg, builder);
    }
}

TEST_F(OrvCHMesgBuild, replacesCaptureDataByLogEventData) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    ASSERT_EQ(mesg.buildSwitchPowerUpData(), 0);
    expectBuilt(mesg, kBuilders[0]);
}

TEST_F(OrvCHMesgBuild, namesTheMethodInTheTrace) {
    OrvCHMesg mesg;
    ASSERT_EQ(mesg.buildSwitchPowerUpData(), 0);
    ASSERT_EQ(mesg.buildTestData("x"), 0);
    ASSERT_EQ(mesg.buildSwitchStateData("x"), 0);
    EXPECT_THAT(traceLines(), ElementsAre("OrvCHMesg buildSwitchPowerUpData: Entry", "OrvCHMesg buildTestData: Entry",
                                          "OrvCHMesg buildSwitchStateData: Entry"));
}

static Sw_Log_Type portRecord() {
    Sw_Log_Type record;
    record.kind = 2;
    record.number = 0x0BCD00EFu;
    record.slot = 3;
    record.port = 5;
    record.componentClass = 64;
    record.seconds = 1700000000;
    record.microseconds = 123456;
    record.text = "Port 5 is offline";
    return record;
}

TEST_F(OrvCHMesgBuild, fillsAMessageFromALogRecord) {
    OrvCHMesg mesg(OrvCHMesg::kLogEvent);

    EXPECT_EQ(mesg.extractData(portRecord()), 0);

    EXPECT_EQ(mesg.Time, "Tue Nov 14 22:13:20.123 UTC 2023");
    EXPECT_EQ(mesg.ID, "0BCD.00EF");
    EXPECT_EQ(mesg.Text, "Port 5 is offline");
    EXPECT_EQ(mesg.duplicateKey(), "Critical|Blade: 3||5||Port||Port 5 is offline");
}

TEST_F(OrvCHMesgBuild, readsTheSecondsOfARecordUnsigned) {
    Sw_Log_Type record = portRecord();
    record.seconds = 0xFFFFFFFFu;
    record.microseconds = 999;
    OrvCHMesg mesg(OrvCHMesg::kLogEvent);

    EXPECT_EQ(mesg.extractData(record), 0);

    EXPECT_EQ(mesg.Time, "Sun Feb 07 06:28:15.000 UTC 2106");
}

struct TextCase {
    const char* record;
    const char* message;
};

TEST_F(OrvCHMesgBuild, cutsTheTextAtItsLastLineFeed) {
    const TextCase cases[] = {
        {"one line", "one line"},
        {"one line\n", "one line"},
        {"first\nsecond", "first"},
        {"first\nsecond\n", "first\nsecond"},
        {"a\nb\nc", "a\nb"},
        {"\n", ""},
        {"", ""},
        {"\nsecond", ""},
        {"50% done\n", "50% done"},
    };
    for (const TextCase& c : cases) {
        Sw_Log_Type record = portRecord();
        record.text = c.record;
        OrvCHMesg mesg(OrvCHMesg::kLogEvent);
        EXPECT_EQ(mesg.extractData(record), 0);
        EXPECT_EQ(mesg.Text, c.message);
    }
}

TEST_F(OrvCHMesgBuild, judgesTheLevelByTheTextWithoutItsLineFeed) {
    Sw_Log_Type record = portRecord();
    record.kind = 0;
    record.text = "CALLHOME TEST MESSAGE - FAULT\n";
    OrvCHMesg mesg(OrvCHMesg::kLogEvent);

    EXPECT_EQ(mesg.extractData(record), 0);

    EXPECT_EQ(mesg.logEvent()->Level, 4);
}

struct IdCase {
    const char* id;
    int result;
    std::int32_t type;
    std::vector<std::string> traces;
};

TEST_F(OrvCHMesgBuild, createsTypeDataByTheIdentifier) {
    const std::vector<std::string> logEvent = {"Entry", "Message Type = LogEvent"};
    const IdCase cases[] = {
        {"8B0012345", -1, 0, {"Entry", "Message ID field separator invalid"}},
        {"8B0.01234", -1, 0, {"Entry", "Message ID field separator invalid"}},
        {"8B00123.4", -1, 0, {"Entry", "Message ID field separator invalid"}},
        {".123.4567", -1, 0, {"Entry", "Message ID field separator invalid"}},
        {"0123.45678", -1, 0, {"Entry", "Message ID length invalid"}},
        {"0123.456", -1, 0, {"Entry", "Message ID length invalid"}},
        {"", -1, 0, {"Entry", "Message ID length invalid"}},
        {"0123.4567", 0, 1, logEvent},
        {"7FFF.FFFF", 0, 1, logEvent},
        {"0000.0000", 0, 1, logEvent},
        {"8000.0000", 0, 1, logEvent},
        {"FFFF.FFFF", 0, 1, logEvent},
        {"zzzz.%s%d", 0, 1, logEvent},
        {"0123.4.67", 0, 1, logEvent},
    };
    for (const IdCase& c : cases) {
        OrvCHMesg mesg;
        mesg.ID = c.id;
        forgetTraces();
        EXPECT_EQ(mesg.createMesgByType(), c.result) << c.id;
        EXPECT_EQ(mesg.Type, c.type) << c.id;
        EXPECT_EQ(mesg.logEvent() != nullptr, c.type == 1) << c.id;
        EXPECT_EQ(traces(), c.traces) << c.id;
        EXPECT_EQ(mesg.ID, c.id);
    }
}

TEST_F(OrvCHMesgBuild, takesEveryIdentifierOfTheOwnGroupForALogEvent) {
    for (const char* id : {"8B00.0002", "8B00.0003", "8B00.0004", "8B00.F000", "8B00.F001", "8B00.FFFE", "8B00.FFFF"}) {
        OrvCHMesg mesg;
        mesg.ID = id;
        EXPECT_EQ(mesg.createMesgByType(), 0);
        EXPECT_EQ(mesg.Type, OrvCHMesg::kLogEvent) << id;
    }
}

// What every identifier is read as while this holds a number: no identifier reads as one above 0x7FFFFFFF.
static std::optional<std::uint32_t> numberRead;

extern "C" {
std::int32_t __real_orvMesgNumber(const std::string& digits);
std::int32_t __wrap_orvMesgNumber(const std::string& digits) {
    return numberRead ? static_cast<std::int32_t>(*numberRead) : __real_orvMesgNumber(digits);
}
}

// What becomes of a message with or without type data whose identifier is read as the number.
static int createForNumber(OrvCHMesg& mesg, std::uint32_t number) {
    mesg.ID = "8B00.FFFF";
    numberRead = number;
    const int result = mesg.createMesgByType();
    numberRead.reset();
    return result;
}

TEST_F(OrvCHMesgBuild, createsCaptureDataForTheCapturesNumber) {
    for (const std::int32_t before : {OrvCHMesg::kNoType, OrvCHMesg::kLogEvent, OrvCHMesg::kCronCapture}) {
        OrvCHMesg mesg(before);
        if (before == OrvCHMesg::kCronCapture) {
            mesg.cronCapture()->MissingAttributes = 0;
        }
        forgetTraces();

        EXPECT_EQ(createForNumber(mesg, 0x8B00FFFFu), 0);

        EXPECT_EQ(mesg.Type, OrvCHMesg::kCronCapture);
        EXPECT_EQ(mesg.logEvent(), nullptr);
        ASSERT_NE(mesg.cronCapture(), nullptr);
        EXPECT_EQ(mesg.cronCapture()->MissingAttributes, 127);
        EXPECT_THAT(traceLines(), ElementsAre("OrvCHMesg createMesgByType: Entry",
                                              "OrvCHMesg createMesgByType: Message Type = CronCapture"));
    }
}

TEST_F(OrvCHMesgBuild, createsNothingForOtherNumbersOfTheOwnGroup) {
    for (const std::uint32_t number : {0x8B00F001u, 0x8B00FFFEu}) {
        OrvCHMesg mesg;
        forgetTraces();

        EXPECT_EQ(createForNumber(mesg, number), 0);

        EXPECT_EQ(mesg.Type, OrvCHMesg::kNoType);
        EXPECT_EQ(mesg.logEvent(), nullptr);
        EXPECT_EQ(mesg.cronCapture(), nullptr);
        EXPECT_THAT(traces(), ElementsAre("Entry"));
    }
}

TEST_F(OrvCHMesgBuild, createsLogEventDataForTheFirstNumbersOfTheOwnGroupAndForOtherGroups) {
    for (const std::uint32_t number : {0x8B000002u, 0x8B00F000u, 0x8B010000u, 0x8AFFFFFFu, 0xFFFFFFFFu}) {
        OrvCHMesg mesg;
        forgetTraces();

        EXPECT_EQ(createForNumber(mesg, number), 0);

        EXPECT_EQ(mesg.Type, OrvCHMesg::kLogEvent);
        EXPECT_NE(mesg.logEvent(), nullptr);
        EXPECT_EQ(mesg.cronCapture(), nullptr);
        EXPECT_THAT(traces(), ElementsAre("Entry", "Message Type = LogEvent"));
    }
}

TEST_F(OrvCHMesgBuild, replacesTypeDataThatIsThereAlready) {
    OrvCHMesg mesg(OrvCHMesg::kCronCapture);
    mesg.ID = "0123.4567";
    EXPECT_EQ(mesg.createMesgByType(), 0);
    EXPECT_EQ(mesg.cronCapture(), nullptr);
    ASSERT_NE(mesg.logEvent(), nullptr);

    mesg.logEvent()->LevelRestored = true;
    EXPECT_EQ(mesg.createMesgByType(), 0);
    EXPECT_FALSE(mesg.logEvent()->LevelRestored);
}

TEST_F(OrvCHMesgBuild, startsWithTheTypeDataAskedFor) {
    const OrvCHMesg none;
    EXPECT_EQ(none.Type, 0);
    EXPECT_EQ(none.logEvent(), nullptr);
    EXPECT_EQ(none.cronCapture(), nullptr);
    const OrvCHMesg event(1);
    EXPECT_EQ(event.Type, 1);
    EXPECT_NE(event.logEvent(), nullptr);
    EXPECT_EQ(event.cronCapture(), nullptr);
    const OrvCHMesg capture(2);
    EXPECT_EQ(capture.Type, 2);
    EXPECT_EQ(capture.logEvent(), nullptr);
    EXPECT_NE(capture.cronCapture(), nullptr);
    for (const std::int32_t other : {0, 3, -1}) {
        const OrvCHMesg unknown(other);
        EXPECT_EQ(unknown.logEvent(), nullptr);
        EXPECT_EQ(unknown.cronCapture(), nullptr);
        EXPECT_EQ(unknown.Type, 0);
    }
    EXPECT_THAT(traces(), IsEmpty());
}

TEST(OrvMesgId, writesTwoGroupsOfFourUpperCaseDigits) {
    EXPECT_EQ(orvMesgId(0x8B000002u), "8B00.0002");
    EXPECT_EQ(orvMesgId(0), "0000.0000");
    EXPECT_EQ(orvMesgId(0xFFFFFFFFu), "FFFF.FFFF");
    EXPECT_EQ(orvMesgId(0x000abcdeu), "000A.BCDE");
}

TEST(OrvMesgId, readsHexadecimalDigitsUpToTheSignedLimit) {
    EXPECT_EQ(orvMesgNumber("01234567"), 0x01234567);
    EXPECT_EQ(orvMesgNumber("7fffFFFF"), 0x7FFFFFFF);
    EXPECT_NE(static_cast<std::uint32_t>(orvMesgNumber("8B00FFFF")), 0x8B00FFFFu);
    EXPECT_NE(static_cast<std::uint32_t>(orvMesgNumber("8B00F001")), 0x8B00F001u);
}

struct KindCase {
    std::uint32_t number;
    OrvMesgKind kind;
};

TEST(OrvMesgId, classifiesNumbers) {
    const KindCase cases[] = {
        {0, OrvMesgKind::kLogEvent},
        {4, OrvMesgKind::kLogEvent},
        {0x7FFFFFFFu, OrvMesgKind::kLogEvent},
        {0x8B00F000u, OrvMesgKind::kLogEvent},
        {0x8B00F001u, OrvMesgKind::kNone},
        {0x8B00FFFEu, OrvMesgKind::kNone},
        {0x8B00FFFFu, OrvMesgKind::kCronCapture},
        {0x8B010000u, OrvMesgKind::kLogEvent},
        {0x8B01FFFFu, OrvMesgKind::kLogEvent},
        {0x8AFFFFFFu, OrvMesgKind::kLogEvent},
        {0xFFFFFFFFu, OrvMesgKind::kLogEvent},
    };
    for (const KindCase& c : cases) {
        EXPECT_EQ(orvMesgKind(static_cast<std::int32_t>(c.number)), c.kind) << std::hex << c.number;
    }
}
