// A log record as the bus brings it, and the message that becomes of it: its file says the same.
#include "Sw_Log_Type.h"
#include "fuzz/Stage.h"
#include "fuzz/Target.h"
#include "mesg/OrvCHMesg.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace orv_fuzz {

namespace {

constexpr char kFile[] = "/ostrel/conf/orv/callHome/queues/send/m8";

void checkRecord(const Sw_Log_Type& record) {
    const std::vector<std::uint8_t> written = record.encode();
    ASSERT_EQ(written.size(), Sw_Log_Type::SIZE);
    Sw_Log_Type again;
    ASSERT_EQ(Sw_Log_Type::decode(written, again), 0);
    EXPECT_EQ(again.encode(), written);
    EXPECT_LT(again.text.size(), Sw_Log_Type::TEXT_SIZE);
}

// Kept: a text of several lines is written as it stands, and such a file is not read back.
bool hasLines(const OrvCHMesg& mesg) {
    const auto has = [](const std::string& text) { return text.find('\n') != std::string::npos; };
    return has(mesg.Text) || has(mesg.logEvent()->Components);
}

void checkMessage(const Sw_Log_Type& record) {
    const TempRoot& root = Stage::get().root();
    OrvCHMesg mesg(OrvCHMesg::kLogEvent);
    EXPECT_EQ(mesg.extractData(record), 0);
    EXPECT_EQ(mesg.ID.size(), 9u);
    EXPECT_LE(mesg.Text.size(), Sw_Log_Type::TEXT_SIZE);
    auto envelope = std::make_unique<OrvCHEnvelope>();
    envelope->Recipients = {"ann@example.com"};
    mesg.addEnvelope(std::move(envelope));
    mesg.FileName = kFile;
    ASSERT_EQ(mesg.save(), 0);
    EXPECT_GE(mesg.bytesToSave(), static_cast<std::int32_t>(root.read(kFile).size()));
    OrvCHMesg again;
    again.FileName = kFile;
    if (again.restore() == 0 && !hasLines(mesg)) {
        EXPECT_EQ(again.duplicateKey(), mesg.duplicateKey());
        EXPECT_EQ(again.Time, mesg.Time);
        EXPECT_EQ(again.ID, mesg.ID);
        again.probe();
    } else {
        EXPECT_TRUE(hasLines(mesg)) << mesg.Text;
    }
}

void run(Bytes data) {
    Sw_Log_Type record;
    record.number = 4711;
    const int read = Sw_Log_Type::decode(data, record);
    EXPECT_EQ(read, data.size() < Sw_Log_Type::SIZE ? -1 : 0);
    if (read < 0) {
        EXPECT_EQ(record.number, 4711u);
        return;
    }
    checkRecord(record);
    checkMessage(record);
    Stage::get().takeSent();
}

std::vector<Seed> seeds() {
    Sw_Log_Type record;
    record.kind = 2;
    record.number = 0x01234567;
    record.slot = 1;
    record.chip = 2;
    record.port = 5;
    record.componentClass = 128;
    record.seconds = 1700000000;
    record.microseconds = 123456;
    record.text = "Port 5 went down\n";
    Sw_Log_Type located = record;
    located.kind = 16;
    located.locationIndex = 3;
    located.location1 = 1;
    located.location2 = -2;
    located.locationName1 = "chassis";
    located.locationName2 = "fan";
    Sw_Log_Type fault = record;
    fault.kind = 0;
    fault.text = "Blade fault\nin two lines\n";
    Sw_Log_Type own = record;
    own.flags = 4096;
    own.number = 0x8B000002;
    own.text = std::string(300, '%');
    Sw_Log_Type portAlone = record;
    portAlone.kind = 3;
    portAlone.chip = -1;
    const auto bytes = [](const Sw_Log_Type& each) { return textOf(each.encode()); };
    return {{"port", bytes(record)},
            {"port_alone", bytes(portAlone)},
            {"located", bytes(located)},
            {"fault_in_lines", bytes(fault)},
            {"own", bytes(own)},
            {"too_short", bytes(record).substr(1)},
            {"longer", bytes(record) + "x"}};
}

}  // namespace

const Target kLogRecord{"log_record", run, seeds};

}  // namespace orv_fuzz
