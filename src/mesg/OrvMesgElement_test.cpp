#include "mesg/OrvMesgElement.h"

#include "testing/mesg/MesgTest.h"

#include <sstream>

using testing::ElementsAre;
using testing::IsEmpty;

using OrvMesgElement = MesgTest;

struct ElementCase {
    const char* file;
    int result;
    const char* value;
    const char* rest;  // of the stream
    std::vector<std::string> traces;
};

TEST_F(OrvMesgElement, readsAValueAndItsEndLine) {
    const std::vector<std::string> ended = {"[FAIL] unexpected EOF (<Tag>)"};
    const std::vector<std::string> noEnd = {"[FAIL] missing EOR (<Tag>)"};
    const ElementCase cases[] = {
        {"value\n</->\nmore", 0, "value", "more", {}},
        {"value\n</->", 0, "value", "", {}},
        {"\n</->\n", 0, "", "", {}},
        {"</->\n</->\n", 0, "</->", "", {}},
        {" 50%s \n</->\n", 0, " 50%s ", "", {}},
        {"", -1, "", "", ended},
        {"value", -1, "value", "", ended},
        {"value\n", -1, "value", "", ended},
        {"value\nrest\n", -1, "value", "", noEnd},
        {"two\nlines\n</->\n", -1, "two", "</->\n", noEnd},
        {"value\n</->\r\n", -1, "value", "", noEnd},
        {"</->\nmore\n", -1, "</->", "", noEnd},
    };
    for (const ElementCase& c : cases) {
        forgetTraces();
        std::istringstream stream(c.file);
        std::string value = "left over";
        EXPECT_EQ(restoreThruDashTag("<Tag>", stream, value), c.result) << c.file;
        EXPECT_EQ(value, c.value) << c.file;
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), c.rest) << c.file;
        EXPECT_EQ(traces(), c.traces) << c.file;
    }
}

TEST_F(OrvMesgElement, endsWithALineThatHasANul) {
    std::istringstream stream("value\n</->\n" + std::string("val\0ue\n</->\n", 12));
    std::string value;
    EXPECT_EQ(restoreThruDashTag("<Tag>", stream, value), 0);
    forgetTraces();
    EXPECT_EQ(restoreThruDashTag("<Tag>", stream, value), -1);
    EXPECT_EQ(value, "");
    EXPECT_THAT(traces(), ElementsAre("[FAIL] unexpected EOF (<Tag>)"));
    EXPECT_TRUE(orvAtEnd(stream));
}

TEST_F(OrvMesgElement, tellsOpeningTagsFromOtherLines) {
    for (const char* line : {"<Tag>", "<>", "<a b>", "<<>", "<->"}) {
        EXPECT_TRUE(orvIsOpeningTag(line)) << line;
    }
    for (const char* line : {"<", "", ">", "</Tag>", "</>", "<Tag", "Tag>", " <Tag>", "<Tag> ", "<Tag>\r"}) {
        EXPECT_FALSE(orvIsOpeningTag(line)) << line;
    }
}

struct SkipCase {
    const char* file;
    int result;
    const char* rest;
};

TEST_F(OrvMesgElement, skipsUnknownElementsWithWhatIsNestedInThem) {
    const SkipCase cases[] = {
        {"value\n</->\nmore\n", 0, "more\n"},
        {"</->\nmore\n", 0, "more\n"},
        {"</Tag>\nmore\n", 0, "more\n"},
        {"</Tag>", 0, ""},
        {"<In>\nvalue\n</->\n</Tag>\nmore\n", 0, "more\n"},
        {"<In>\n<Deep>\n</Deep>\nvalue\n</In>\n</->\nmore\n", 0, "more\n"},
        {"</In>\n</tag>\n</Tag >\n</\n<\n</Tag>\nmore\n", 0, "more\n"},
        {"<In>\n</Tag>\n</In>\n</Tag>\nmore\n", 0, "more\n"},
        {"", -1, ""},
        {"value\n", -1, ""},
        {"<In>\n</->\n", -1, ""},
        {"<In>\n</Tag>\n", -1, ""},
    };
    for (const SkipCase& c : cases) {
        std::istringstream stream(c.file);
        EXPECT_EQ(orvSkipElement("<Tag>", stream), c.result) << c.file;
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), c.rest) << c.file;
    }
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(OrvMesgElement, readsListItemsVerbatim) {
    std::istringstream stream("!a@x\n\n</->\n<Tag>\n</Other>\n</List>\nmore\n");
    std::vector<std::string> items = {"first"};
    EXPECT_EQ(orvReadList("</List>", stream, items), 0);
    EXPECT_THAT(items, ElementsAre("first", "!a@x", "", "</->", "<Tag>", "</Other>"));
}

TEST_F(OrvMesgElement, keepsTheItemsOfAListWithoutEnd) {
    std::istringstream stream("one\ntwo");
    std::vector<std::string> items;
    EXPECT_EQ(orvReadList("</List>", stream, items), -1);
    EXPECT_THAT(items, ElementsAre("one", "two"));
}

TEST_F(OrvMesgElement, readsTheAttachmentListBackFromItsStart) {
    CronCaptureData capture;
    capture.Attachments = {"old"};
    capture.AttachmentCursor = 0;
    std::istringstream stream("a.gz\nb.gz\n</CronAttchList>\n");

    EXPECT_TRUE(capture.restore("<CronAttchList>", stream));

    EXPECT_THAT(capture.Attachments, ElementsAre("a.gz", "b.gz"));
    EXPECT_EQ(capture.AttachmentCursor, -1);
    EXPECT_EQ(capture.MissingAttributes, 127 & ~64);
    capture.Attachments.clear();
}

TEST_F(OrvMesgElement, doesNotTakeAnAttachmentListWithoutEnd) {
    CronCaptureData capture;
    std::istringstream stream("a.gz\n");
    EXPECT_FALSE(capture.restore("<CronAttchList>", stream));
    EXPECT_EQ(capture.MissingAttributes, 127);
    EXPECT_EQ(capture.RestoreStatus, 0);
    EXPECT_THAT(traces(), IsEmpty());
    capture.Attachments.clear();
}

struct CaptureElementCase {
    const char* tag;
    std::string CronCaptureData::*field;
    int bit;
};

static const CaptureElementCase kCaptureElements[] = {
    {"<CronSeq>", &CronCaptureData::Sequence, 0},   {"<CronDay>", &CronCaptureData::DayOfWeek, 1},
    {"<CronTime>", &CronCaptureData::TimeOfDay, 2}, {"<CronInterval>", &CronCaptureData::Interval, 3},
    {"<CronShell>", &CronCaptureData::Shell, 4},    {"<CronCommand>", &CronCaptureData::Command, 5},
};

TEST_F(OrvMesgElement, readsEachCaptureTextBackAndClearsItsBit) {
    for (const CaptureElementCase& c : kCaptureElements) {
        CronCaptureData capture;
        std::istringstream stream("some text\n</->\n");
        EXPECT_TRUE(capture.restore(c.tag, stream));
        EXPECT_EQ(capture.*c.field, "some text") << c.tag;
        EXPECT_EQ(capture.MissingAttributes, 127 & ~(1 << c.bit)) << c.tag;
        EXPECT_EQ(capture.RestoreStatus, 0);
    }
}

TEST_F(OrvMesgElement, remembersACaptureTextThatCannotBeRead) {
    for (const CaptureElementCase& c : kCaptureElements) {
        CronCaptureData capture;
        forgetTraces();
        std::istringstream stream("some text\nmore\n");
        EXPECT_TRUE(capture.restore(c.tag, stream));
        EXPECT_EQ(capture.MissingAttributes, 127) << c.tag;
        EXPECT_EQ(capture.RestoreStatus, -1) << c.tag;
        EXPECT_THAT(traces(), ElementsAre("[FAIL] missing EOR (" + std::string(c.tag) + ")"));
    }
}

struct EventElementCase {
    const char* tag;
    std::string LogEventData::*field;
};

static const EventElementCase kEventElements[] = {
    {"<Blade>", &LogEventData::Blade}, {"<ASIC>", &LogEventData::ASIC}, {"<Port>", &LogEventData::Port},
    {"<VID>", &LogEventData::VID},     {"<App>", &LogEventData::App},   {"<Comp>", &LogEventData::Components},
};

TEST_F(OrvMesgElement, readsEachLogEventTextBack) {
    for (const EventElementCase& c : kEventElements) {
        LogEventData data;
        std::istringstream good("some text\n</->\n");
        EXPECT_TRUE(data.restore(c.tag, good));
        EXPECT_EQ(data.*c.field, "some text") << c.tag;
        EXPECT_FALSE(data.LevelRestored);
        EXPECT_EQ(data.RestoreStatus, 0);

        std::istringstream bad("some text\n");
        EXPECT_TRUE(data.restore(c.tag, bad));
        EXPECT_EQ(data.RestoreStatus, -1) << c.tag;
    }
}

struct LevelElementCase {
    const char* file;
    std::int32_t level;
    bool restored;
    std::int32_t status;
};

TEST_F(OrvMesgElement, readsTheLevelBackByItsName) {
    const LevelElementCase cases[] = {
        {"Info\n</->\n", 0, true, 0}, {"Fault\n</->\n", 4, true, 0}, {"None\n</->\n", 5, true, 0},
        {"warn\n</->\n", 5, true, 0}, {"\n</->\n", 5, true, 0},      {"Alarm\n", 1, false, -1},
    };
    for (const LevelElementCase& c : cases) {
        LogEventData data;
        data.Level = 1;
        std::istringstream stream(c.file);
        EXPECT_TRUE(data.restore("<Level>", stream));
        EXPECT_EQ(data.Level, c.level) << c.file;
        EXPECT_EQ(data.LevelRestored, c.restored) << c.file;
        EXPECT_EQ(data.RestoreStatus, c.status) << c.file;
    }
}

TEST_F(OrvMesgElement, leavesForeignElementsToOthers) {
    LogEventData data;
    CronCaptureData capture;
    std::istringstream stream("untouched\n");
    EXPECT_FALSE(data.restore("<CronSeq>", stream));
    EXPECT_FALSE(data.restore("<Text>", stream));
    EXPECT_FALSE(capture.restore("<Level>", stream));
    EXPECT_FALSE(capture.restore("<Text>", stream));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "untouched\n");
}
