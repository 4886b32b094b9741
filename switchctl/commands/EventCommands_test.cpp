#include "Ens.h"
#include "platform/wire/SocketAddress.h"
#include "testing/switchctl/SwitchctlTest.h"

using testing::HasSubstr;
using testing::SizeIs;

namespace {

class EventCommands : public SwitchctlDaemonTest {
protected:
    void SetUp() override {
        SwitchctlDaemonTest::SetUp();
        Ens_Consumer consumer(&daemon_, {0, 2, 0});
        for (const auto& [category, event] : {std::pair<int, int>{1, 0}, {66, 3}, {2, 56}, {90, 0}, {77, 5}}) {
            ASSERT_GT(consumer.subscribe(static_cast<std::uint32_t>(category), static_cast<std::uint32_t>(event)), 0);
        }
        switch_.pump();
        daemon_.take();
    }
    // The events that the daemon got, as category, number and data.
    std::vector<std::tuple<std::uint32_t, std::uint32_t, std::vector<std::uint8_t>>> events() {
        switch_.pump();
        std::vector<std::tuple<std::uint32_t, std::uint32_t, std::vector<std::uint8_t>>> result;
        for (const Hsb_Message& message : daemon_.take()) {
            if (message.format() == MessageFormat::ENS_EVENT) {
                const Ens_Event event(message);
                result.push_back({event.category(), event.number(), {event.data().begin(), event.data().end()}});
            }
        }
        return result;
    }
    Sw_Log_Type onlyRecord() {
        const auto all = events();
        EXPECT_THAT(all, SizeIs(1));
        Sw_Log_Type record;
        EXPECT_FALSE(all.empty());
        if (!all.empty()) {
            EXPECT_EQ(std::get<0>(all[0]), 1u);
            EXPECT_EQ(Sw_Log_Type::decode(std::get<2>(all[0]), record), 0);
        }
        return record;
    }
};

TEST_F(EventCommands, logPublishesARecordWithItsDefaults) {
    EXPECT_EQ(done({"event", "log", "--type", "0", "--number", "0x00010002", "Blade fault detected"}), "");

    Sw_Log_Type expected;
    expected.kind = 0;
    expected.number = 0x00010002;
    expected.text = "Blade fault detected";
    expected.seconds = LoopbackSwitch::START_SECONDS;
    expected.microseconds = LoopbackSwitch::START_MICROSECONDS;
    EXPECT_EQ(onlyRecord().encode(), expected.encode());
}

TEST_F(EventCommands, logSaysWhenNobodyIsMailedForIt) {
    for (const char* type : {"0", "2", "3"}) {
        EXPECT_EQ(run({"event", "log", "--type", type, "--number", "1", "text"}).err, "");
    }
    const Outcome other = run({"event", "log", "--type", "7", "--number", "1", "text"});
    EXPECT_EQ(other.status, ExitStatus::DONE);
    EXPECT_EQ(other.err, "switchctl: nobody is mailed for an event of type 7; CallHome takes 0, 2 and 3\n");
    EXPECT_EQ(run({"event", "log", "--type", "0", "--number", "1", "--flags", "4096", "text"}).err,
              "switchctl: nobody is mailed for it: flags 4096 mark the daemon's own entries\n");
    EXPECT_THAT(events(), SizeIs(5));
}

TEST_F(EventCommands, logPublishesEveryField) {
    run({"event",       "log",
         "--type",      "2",
         "--number",    "0xFFFFFFFF",
         "--slot",      "3",
         "--chip",      "1",
         "--port",      "7",
         "--class",     "9",
         "--flags",     "4096",
         "--location",  "3.1.2",
         "--names",     "Blade,Port",
         "--time",      "1600000000.5",
         "-- a text --"});

    Sw_Log_Type expected;
    expected.kind = 2;
    expected.number = 0xFFFFFFFF;
    expected.slot = 3;
    expected.chip = 1;
    expected.port = 7;
    expected.componentClass = 9;
    expected.flags = 4096;
    expected.location1 = 3;
    expected.location2 = 1;
    expected.locationIndex = 2;
    expected.locationName1 = "Blade";
    expected.locationName2 = "Port";
    expected.seconds = 1600000000;
    expected.microseconds = 500000;
    expected.text = "-- a text --";
    EXPECT_EQ(onlyRecord().encode(), expected.encode());
}

TEST_F(EventCommands, logTakesNegativeNumbersAndATextThatIsACommandsName) {
    run({"event", "log", "--type", "-5", "--number", "1", "--slot", "-1", "status"});

    const Sw_Log_Type record = onlyRecord();
    EXPECT_EQ(record.kind, -5);
    EXPECT_EQ(record.slot, -1);
    EXPECT_EQ(record.text, "status");
}

TEST_F(EventCommands, logNeedsTypeNumberAndText) {
    EXPECT_THAT(run({"event", "log", "--number", "1", "text"}).err, HasSubstr("--type is required"));
    EXPECT_THAT(run({"event", "log", "--type", "0", "text"}).err, HasSubstr("--number is required"));
    EXPECT_THAT(run({"event", "log", "--type", "0", "--number", "1"}).err, HasSubstr("TEXT is required"));
    EXPECT_THAT(run({"event", "log", "--type", "zero", "--number", "1", "text"}).err,
                HasSubstr("--type: \"zero\" is not a number from -2147483648 to 2147483647"));
    EXPECT_THAT(run({"event", "log", "--type", "0", "--number", "0x100000000", "text"}).err,
                HasSubstr("--number: \"0x100000000\" is not a number from 0 to 4294967295"));
    EXPECT_THAT(events(), SizeIs(0));
}

TEST_F(EventCommands, stateIsPublishedAsAText) {
    EXPECT_EQ(done({"event", "state", "Offline"}), "");

    const auto all = events();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(std::get<0>(all[0]), 66u);
    EXPECT_EQ(std::get<1>(all[0]), 3u);
    EXPECT_EQ(std::string(std::get<2>(all[0]).begin(), std::get<2>(all[0]).begin() + 7), "Offline");
}

TEST_F(EventCommands, addressPublishesAllOfThem) {
    EXPECT_EQ(done({"event", "address", "10.20.30.40", "fe80::1"}), "");

    const auto all = events();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(std::get<0>(all[0]), 2u);
    EXPECT_EQ(std::get<1>(all[0]), 56u);
    const auto change = decodeFields<InterfaceChange>(std::get<2>(all[0]));
    ASSERT_TRUE(change);
    EXPECT_EQ(change->interface, change->management);
    ASSERT_THAT(change->addresses, SizeIs(2));
    EXPECT_EQ(SocketAddress::text(change->addresses[0]), "10.20.30.40");
    EXPECT_EQ(SocketAddress::text(change->addresses[1]), "fe80::1");
}

TEST_F(EventCommands, addressRefusesWhatIsNone) {
    EXPECT_EQ(run({"event", "address", "sw01"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"event", "address"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_THAT(events(), SizeIs(0));
}

TEST_F(EventCommands, hostnameIsPublishedAsAText) {
    EXPECT_EQ(done({"event", "hostname", "sw01.example.com"}), "");

    const auto all = events();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(std::get<0>(all[0]), 90u);
    EXPECT_EQ(std::get<1>(all[0]), 0u);
    EXPECT_EQ(std::string(std::get<2>(all[0]).begin(), std::get<2>(all[0]).begin() + 16), "sw01.example.com");
}

TEST_F(EventCommands, rawPublishesAnythingAtAll) {
    EXPECT_EQ(done({"event", "raw", "--category", "77", "--number", "5", "--hex", "00ff41"}), "");
    EXPECT_EQ(done({"--json", "event", "raw", "--category", "77", "--number", "5"}),
              "{\"published\":true,\"schema\":1}\n");

    const auto all = events();
    ASSERT_THAT(all, SizeIs(2));
    EXPECT_EQ(std::get<0>(all[0]), 77u);
    EXPECT_EQ(std::get<1>(all[0]), 5u);
    EXPECT_EQ(std::get<2>(all[0]), (std::vector<std::uint8_t>{0, 255, 65}));
    EXPECT_THAT(std::get<2>(all[1]), SizeIs(0));
}

}  // namespace
