#include "switchd/services/EventLog.h"

#include "MessageCodes.h"
#include "Sw_Log_Type.h"
#include "platform/wire/EnsWire.h"
#include "platform/wire/EventLogWire.h"
#include "testing/BusParty.h"
#include "testing/LoopbackSwitch.h"
#include "testing/Uncatalogued.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

class EventLogTest : public ::testing::Test {
protected:
    EventLogTest() {
        subscriber_.send(ServiceAddress::EVENTS, MessageFormat::ENS, EnsCode::SUBSCRIBE,
                         encodeFields(EnsRequest{1, 0}));
        sw_.pump();
        subscriber_.take();
        Uncatalogued::acceptAll();  // its texts are made up
    }
    void enter(std::uint16_t code, const EventLogEntry& entry) {
        component_.send(ServiceAddress::EVENT_LOG, MessageFormat::EVENT_LOG, code, encodeFields(entry));
        sw_.pump();
    }
    std::vector<Sw_Log_Type> published() {
        std::vector<Sw_Log_Type> records;
        for (const Hsb_Message& message : subscriber_.take()) {
            const auto event = decodeFields<EnsEventData>(message.payload());
            EXPECT_EQ(event->category, 1u);
            EXPECT_EQ(event->number, 0u);
            EXPECT_THAT(event->data, SizeIs(312));
            EXPECT_EQ(Sw_Log_Type::decode(event->data, records.emplace_back()), 0);
        }
        return records;
    }

    LoopbackSwitch sw_;
    BusParty component_{sw_.bus()};
    BusParty subscriber_{sw_.bus()};
};

const EventLogEntry ENTRY{15, 0x8B000001u, 1, 2, 3, 4, 4096, "OrvApp", "something happened"};

}  // namespace

TEST_F(EventLogTest, keepsAnEntryWithTheTimeAtWhichItCame) {
    sw_.tick(7);

    enter(EventLogCode::ENTRY, ENTRY);

    EXPECT_THAT(sw_.logEntries(),
                ElementsAre(LogEntry{1, 1700000007, 123456, 15, 0x8B000001u, 4096, "OrvApp", "something happened"}));
}

TEST_F(EventLogTest, keepsAlarmsLikeEntries) {
    enter(EventLogCode::ALARM, {16, 0, -1, -1, -1, -1, 4096, "OrvApp", "OrvApp - cannot allocate memory"});

    EXPECT_THAT(sw_.eventLog(), ElementsAre(LogLine{16, 0, "OrvApp - cannot allocate memory"}));
    EXPECT_THAT(published(), SizeIs(1));
}

TEST_F(EventLogTest, publishesEachEntryAsALogRecord) {
    enter(EventLogCode::ENTRY, ENTRY);

    const std::vector<Sw_Log_Type> records = published();
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].kind, 15);
    EXPECT_EQ(records[0].number, 0x8B000001u);
    EXPECT_EQ(records[0].slot, 1);
    EXPECT_EQ(records[0].chip, 2);
    EXPECT_EQ(records[0].port, 3);
    EXPECT_EQ(records[0].spare, 4);
    EXPECT_EQ(records[0].flags, 4096u);
    EXPECT_EQ(records[0].seconds, 1700000000u);
    EXPECT_EQ(records[0].microseconds, 123456u);
    EXPECT_EQ(records[0].text, "something happened");
}

TEST_F(EventLogTest, keepsALongTextWholeAndPublishesWhatFits) {
    EventLogEntry longEntry = ENTRY;
    longEntry.text = std::string(1000, 'x');

    enter(EventLogCode::ENTRY, longEntry);

    EXPECT_THAT(sw_.eventLog(), ElementsAre(LogLine{15, 0x8B000001u, std::string(1000, 'x')}));
    EXPECT_EQ(published().at(0).text, std::string(227, 'x'));
}

TEST_F(EventLogTest, cutsATextThatIsLongerThanAnyLineShouldBe) {
    EventLogEntry longEntry = ENTRY;
    longEntry.text = std::string(EventLog::MAX_TEXT + 1, 'x');

    enter(EventLogCode::ENTRY, longEntry);

    EXPECT_THAT(sw_.eventLog(), ElementsAre(LogLine{15, 0x8B000001u, std::string(EventLog::MAX_TEXT, 'x')}));
}

TEST_F(EventLogTest, keepsTheOrderOfEntriesFromSeveralComponents) {
    EventLogEntry entry = ENTRY;
    for (const char* text : {"one", "two", "three"}) {
        entry.text = text;
        (entry.text == "two" ? subscriber_ : component_)
            .send(ServiceAddress::EVENT_LOG, MessageFormat::EVENT_LOG, EventLogCode::ENTRY, encodeFields(entry));
    }
    sw_.pump();

    EXPECT_THAT(sw_.eventTexts(15), ElementsAre("one", "two", "three"));
}

TEST_F(EventLogTest, ignoresWhatItCannotRead) {
    component_.send(ServiceAddress::EVENT_LOG, MessageFormat::EVENT_LOG, EventLogCode::ENTRY, {1, 2, 3});
    enter(99, ENTRY);
    component_.send(ServiceAddress::EVENT_LOG, MessageFormat::DS, EventLogCode::ENTRY, encodeFields(ENTRY));
    sw_.pump();

    EXPECT_THAT(sw_.eventLog(), IsEmpty());
    EXPECT_THAT(published(), IsEmpty());
}

namespace {

class FullLog final : public EventLogStore {
public:
    int append(LogEntry&) override { return -1; }
    int read(const LogSelection&, std::size_t, std::vector<LogEntry>&) override { return -1; }
    const std::string& reason() const override { return reason_; }

private:
    std::string reason_ = "the disk is full";
};

}  // namespace

TEST_F(EventLogTest, publishesAnEntryThatCouldNotBeKept) {
    FullLog full;
    EventLog log(sw_.switchSide(), full, sw_.services().events());
    Sw_Log_Type record;
    record.text = "lost for the log";

    EXPECT_EQ(log.enter(record, "OrvApp"), -1);
    sw_.pump();

    EXPECT_EQ(published().at(0).text, "lost for the log");
}
