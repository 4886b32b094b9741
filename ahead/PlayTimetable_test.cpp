#include "ahead/PlayTimetable.h"

#include "box/World.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace ahead {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// A switch with one profile and one mail server, over three minutes.
Timetable labSwitch() {
    box::World world(1);
    world.set("Global.Services.CallhomeEnable", "True");
    world.set("Global.Callhome.FromAddr", "switch@example.com");
    world.set("Global.Callhome.NF-SMTPAddr", "3-mail.example.com");
    world.set("Global.Callhome.SMTPPort", "25");
    world.set("Global.Callhome.SMTPEnable", "True");
    world.setProfile(0, {"Operators", "Alarm", "FullText", "Lab switch", {"a@example.com"}});
    world.set("Global.CallhomeDB.NumberOfProfiles", "1");
    Timetable table;
    table.begin = 1700000000;
    table.end = 180 * kSecond;
    table.attributes = world.attributes;
    return table;
}

void publish(Timetable& table, std::uint64_t second, const std::string& text) {
    LogRecord event;
    event.record.number = 0x00010001;
    event.record.text = text;
    const WireBytes bytes = encodeFields(event);
    table.steps.push_back({second * kSecond, Act::kPublish, 0, {bytes.begin(), bytes.end()}});
}

}  // namespace

TEST(PlayTimetable, bringsTheMailOfAnEventAtItsTime) {
    Timetable table = labSwitch();
    publish(table, 20, "a fan has stopped");

    const Outcome outcome = play(table);

    EXPECT_EQ(outcome.problem, "");
    ASSERT_THAT(outcome.mails, SizeIs(1));
    EXPECT_EQ(outcome.mails[0].at / kSecond, 20u);
    EXPECT_EQ(outcome.mails[0].server, 0u);
    EXPECT_EQ(outcome.mails[0].from, "switch@example.com");
    EXPECT_THAT(outcome.mails[0].to, ElementsAre("a@example.com"));
    EXPECT_THAT(outcome.mails[0].text, HasSubstr("Text:           a fan has stopped\r\n"));
}

TEST(PlayTimetable, triesAgainWhenTheServerIsBack) {
    Timetable table = labSwitch();
    table.mailTexts = false;
    table.steps.push_back({10 * kSecond, Act::kRefuses, 0, ""});
    publish(table, 20, "a fan has stopped");
    table.steps.push_back({23 * kSecond, Act::kComesUp, 0, ""});

    const Outcome outcome = play(table);

    ASSERT_THAT(outcome.mails, SizeIs(1));
    EXPECT_GE(outcome.mails[0].at, 25 * kSecond);
    EXPECT_EQ(outcome.mails[0].text, "");
    ASSERT_GE(outcome.tries.size(), 2u);
    EXPECT_EQ(outcome.tries[0].at / kSecond, 20u);
    EXPECT_EQ(outcome.tries[0].where, "192.0.2.1:25");
    ASSERT_FALSE(outcome.log.empty());
}

TEST(PlayTimetable, bringsTheTracesThatAreListenedForAndNoOthers) {
    Timetable table = labSwitch();
    table.steps.push_back({20 * kSecond, Act::kProbe, 0, ""});
    table.listenFor = {"Profile Information:"};

    const Outcome outcome = play(table);

    ASSERT_THAT(outcome.traces, SizeIs(1));
    EXPECT_EQ(outcome.traces[0].at, 20 * kSecond);
    EXPECT_THAT(outcome.traces[0].text, HasSubstr("Name              = Operators\n"));
}

TEST(PlayTimetable, startsTheDaemonOnTheFilesThatItIsGiven) {
    Timetable table = labSwitch();
    table.files.push_back({"/ostrel/conf/orv/callHome/capture.seq", "x"});

    EXPECT_NE(play(table).problem, "");
}

TEST(PlayTimetable, writesNothingBesideItsOwnDirectory) {
    for (const char* path : {"/tmp/../../../tmp/escaped", "escaped"}) {
        Timetable table = labSwitch();
        table.files.push_back({path, "x"});

        EXPECT_THAT(play(table).problem, StartsWith(path));
    }
}

TEST(Timetable, comesOutOfItsBytesAsItWentIn) {
    Timetable table = labSwitch();
    publish(table, 20, "a fan has stopped");
    table.files.push_back({"/tmp/x", std::string("a\0b", 3)});
    table.listenFor = {"x"};
    const WireBytes bytes = encodeFields(table);

    const auto again = decodeFields<Timetable>(bytes);

    ASSERT_TRUE(again);
    EXPECT_EQ(encodeFields(*again), bytes);
    EXPECT_EQ(again->steps[0].bytes, table.steps[0].bytes);
    EXPECT_FALSE(decodeFields<Timetable>(WireSpan(bytes).first(bytes.size() - 1)));
}

}  // namespace ahead
