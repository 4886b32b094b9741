#include "mesg/LogEventData.h"

#include "Sw_Log_Type.h"
#include "testing/mesg/MesgTest.h"

static Sw_Log_Type recordOfKind(std::int32_t kind) {
    Sw_Log_Type record;
    record.kind = kind;
    record.componentClass = 64;
    return record;
}

static LogEventData extracted(const Sw_Log_Type& record) {
    LogEventData data;
    data.extract(record, record.text);
    return data;
}

struct LevelCase {
    std::int32_t kind;
    const char* text;
    std::int32_t level;
};

TEST(LogEventData, takesTheLevelFromTheKindAndTheText) {
    const LevelCase cases[] = {
        {2, "anything", 2},
        {3, "anything", 1},
        {1, "anything", 5},
        {5, "anything", 5},
        {7, "Blade fault", 5},
        {-1, "System fault", 5},
        {16, "anything", 5},
        {2, "Blade fault", 2},
        {3, "System fault", 1},
        {0, "Blade fault", 4},
        {0, "blade FAULT in slot 3", 4},
        {0, "Blade faul", 3},
        {0, " Blade fault", 3},
        {0, "System fault", 4},
        {0, "SYSTEM FAULTS", 4},
        {0, "System faul", 3},
        {0, "CALLHOME TEST MESSAGE - FAULT", 4},
        {0, "Callhome test message - fault", 4},
        {0, "CALLHOME TEST MESSAGE - FAULTS", 3},
        {0, "CALLHOME TEST MESSAGE - FAUL", 3},
        {0, "", 3},
        {0, "anything", 3},
    };
    for (const LevelCase& c : cases) {
        Sw_Log_Type record = recordOfKind(c.kind);
        record.text = c.text;
        EXPECT_EQ(extracted(record).Level, c.level) << c.kind << " " << c.text;
    }
}

struct ClassCase {
    std::uint32_t code;
    const char* app;
};

TEST(LogEventData, namesTheComponentByItsClass) {
    const ClassCase cases[] = {
        {1, "NameServer"},   {2, "MgmtServer"}, {4, "Zoning"},  {8, "Switch"},
        {32, "Blade"},       {64, "Port"},      {128, "Eport"}, {256, "Snmp"},
        {1024, "CimServer"}, {2048, "CLI"},     {4096, "Orv"},  {16, ""},
        {512, ""},           {0, ""},           {3, ""},        {8192, ""},
        {0xFFFFFFFFu, ""},
    };
    for (const ClassCase& c : cases) {
        Sw_Log_Type record = recordOfKind(2);
        record.componentClass = c.code;
        EXPECT_EQ(extracted(record).App, c.app) << c.code;
    }
}

TEST(LogEventData, namesNoComponentForKindsZeroAndSixteen) {
    EXPECT_EQ(extracted(recordOfKind(0)).App, "");
    EXPECT_EQ(extracted(recordOfKind(16)).App, "");
    EXPECT_EQ(extracted(recordOfKind(1)).App, "Port");
    EXPECT_EQ(extracted(recordOfKind(17)).App, "Port");
}

struct PlaceCase {
    std::int32_t slot;
    std::int32_t chip;
    std::int32_t port;
    const char* blade;
    const char* asic;
    const char* portText;
};

TEST(LogEventData, describesSlotChipAndPort) {
    const PlaceCase cases[] = {
        {-1, -1, -1, "", "", ""},
        {0, -1, -1, "Blade: 0", "", ""},
        {12, -1, 5, "Blade: 12", "", "5"},
        {-1, 2, 5, "", "2.5", ""},
        {-1, 2, -1, "", "2.-1", ""},
        {-1, -1, 0, "", "", "0"},
        {-2, -3, -4, "Blade: -2", "-3.-4", ""},
    };
    for (const PlaceCase& c : cases) {
        Sw_Log_Type record = recordOfKind(2);
        record.slot = c.slot;
        record.chip = c.chip;
        record.port = c.port;
        const LogEventData data = extracted(record);
        EXPECT_EQ(data.Blade, c.blade);
        EXPECT_EQ(data.ASIC, c.asic);
        EXPECT_EQ(data.Port, c.portText);
    }
}

struct LocationCase {
    std::int32_t kind;
    std::int16_t index;
    const char* name1;
    const char* name2;
    const char* components;
};

TEST(LogEventData, describesTheLocationOfKindsAboveFive) {
    const LocationCase cases[] = {
        {5, -1, "fan", "blade", ""},
        {0, 3, "fan", "blade", ""},
        {6, -1, "fan", "blade", "1.-2"},
        {7, 3, "fan", "", "fan:1.-2.3"},
        {7, 3, "fan", "blade", "fan/blade:1.-2.3"},
        {7, 0, "", "blade", "/blade:1.-2.0"},
        {7, -2, "", "", ":1.-2.-2"},
        {16, 3, "100%s", "", "100%s:1.-2.3"},
    };
    for (const LocationCase& c : cases) {
        Sw_Log_Type record = recordOfKind(c.kind);
        record.location1 = 1;
        record.location2 = -2;
        record.locationIndex = c.index;
        record.locationName1 = c.name1;
        record.locationName2 = c.name2;
        EXPECT_EQ(extracted(record).Components, c.components) << c.kind << " " << c.index;
    }
}

TEST(LogEventData, clearsWhatAnEarlierRecordLeft) {
    LogEventData data = *sampleLogEvent()->logEvent();

    data.extract(recordOfKind(0), "");

    EXPECT_EQ(data.Blade, "");
    EXPECT_EQ(data.ASIC, "");
    EXPECT_EQ(data.Port, "");
    EXPECT_EQ(data.VID, "");
    EXPECT_EQ(data.App, "");
    EXPECT_EQ(data.Components, "");
}

TEST(LogEventData, estimatesAllSevenElementsThoughEmptyOnesAreNotWritten) {
    LogEventData data;
    data.Level = 5;
    EXPECT_EQ(data.bytesToSave(), 91 + 4);

    const LogEventData full = *sampleLogEvent()->logEvent();
    EXPECT_EQ(full.bytesToSave(), 91 + 5 + 8 + 3 + 1 + 2 + 4 + 9);
}

TEST(LogEventData, startsEmptyAtLevelZero) {
    const LogEventData data;
    EXPECT_EQ(data.Level, 0);
    EXPECT_EQ(data.duplicateKey(), "Info|||||||");
    EXPECT_EQ(data.Reserved, 0);
    EXPECT_FALSE(data.LevelRestored);
    EXPECT_EQ(data.RestoreStatus, 0);
}
