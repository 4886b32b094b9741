#include "app_log.h"
#include "switchctl/text/Text.h"
#include "testing/Uncatalogued.h"
#include "testing/switchctl/SwitchctlTest.h"

#include <chrono>

using testing::HasSubstr;

namespace {

class LogCommands : public SwitchctlDaemonTest {
protected:
    void SetUp() override {
        SwitchctlDaemonTest::SetUp();
        Uncatalogued::acceptAll();
    }
    void write(int level, std::uint32_t number, const char* text) {
        app_log(level, number, -1, -1, -1, -1, 4096, &daemon_, "%s", text);
        switch_.pump();
    }
};

TEST_F(LogCommands, printsTimeLevelIdFlagsComponentAndText) {
    write(15, 0x8b000001, "first");
    write(2, 0x8b00000c, "a text\nof two lines");

    EXPECT_EQ(done({"log"}),
              "2023-11-14T22:13:20.123456+0000 15 1/0x8b000001 4096 OrvApp first\n"
              "2023-11-14T22:13:20.123456+0000 2 2/0x8b00000c 4096 OrvApp a text\\nof two lines\n");
}

TEST_F(LogCommands, printsJson) {
    EXPECT_EQ(done({"log", "--json"}), "{\"entries\":[],\"schema\":1}\n");
    write(2, 0x8b00000c, "text");

    EXPECT_EQ(
        done({"log", "--json"}),
        "{\"entries\":[{\"time\":\"2023-11-14T22:13:20.123456+00:00\",\"level\":2,\"id\":1,\"number\":\"0x8b00000c\","
        "\"flags\":4096,\"component\":\"OrvApp\",\"text\":\"text\"}],\"schema\":1}\n");
}

TEST_F(LogCommands, beginsAfterAnIdInEitherForm) {
    write(15, 1, "first");
    write(15, 2, "second");

    const std::string second = "2023-11-14T22:13:20.123456+0000 15 2/0x00000002 4096 OrvApp second\n";
    EXPECT_EQ(done({"log", "--since", "1"}), second);
    EXPECT_EQ(done({"log", "--since", "1/0x00000001"}), second);
    EXPECT_EQ(done({"log", "--since", "2"}), "");
    EXPECT_THAT(run({"log", "--since", "x"}).err,
                HasSubstr("\"x\" is not an id; write it as log prints it: 17 or 17/0x8b000001; nor is it a time: "
                          "2026-11-22T10:30:00, 2026-11-22, 10:30 or \"2h ago\"\n"));
    EXPECT_THAT(run({"log", "--since", "5/zz"}).err, HasSubstr("\"5/zz\" is not an id;"));
}

TEST_F(LogCommands, leavesOutLevelsAboveTheOneAskedFor) {
    write(3, 1, "kept");
    write(15, 2, "left out");
    write(0, 3, "kept too");

    EXPECT_EQ(done({"log", "--level", "3"}),
              "2023-11-14T22:13:20.123456+0000 3 1/0x00000001 4096 OrvApp kept\n"
              "2023-11-14T22:13:20.123456+0000 0 3/0x00000003 4096 OrvApp kept too\n");
}

TEST_F(LogCommands, readsAsManyPagesAsThereAre) {
    std::string expected;
    for (std::uint32_t number = 1; number <= 1201; ++number) {
        app_log(31, number, -1, -1, -1, -1, 0, &daemon_, "line");
        char text[64];
        std::snprintf(text, sizeof text, "%u/0x%08x 0 OrvApp line\n", unsigned{number}, unsigned{number});
        expected += std::string("2023-11-14T22:13:20.123456+0000 31 ") + text;
    }
    switch_.pump();

    EXPECT_EQ(done({"log"}), expected);
}

// The text of each entry that is printed.
std::string textsOf(const std::string& lines) {
    std::string texts;
    for (const std::string& line : Text::split(lines, '\n')) {
        texts += line.substr(line.rfind(' ') + 1);
    }
    return texts;
}

TEST_F(LogCommands, beginsAndEndsAtATime) {
    write(15, 1, "A");
    switch_.clock().advance(3600000);
    write(15, 2, "B");
    switch_.clock().advance(3600000);
    write(15, 3, "C");

    EXPECT_EQ(textsOf(done({"log", "--since", "90 min ago"})), "BC");
    EXPECT_EQ(textsOf(done({"log", "--since", "2023-11-14T23:13:20.123456"})), "BC");
    EXPECT_EQ(textsOf(done({"log", "--since", "2023-11-14T23:13:20.123457"})), "C");
    EXPECT_EQ(textsOf(done({"log", "--until", "2023-11-14T23:30"})), "AB");
    EXPECT_EQ(textsOf(done({"log", "--until", "2"})), "AB");
    EXPECT_EQ(textsOf(done({"log", "--since", "1", "--until", "2"})), "B");
    EXPECT_EQ(textsOf(done({"log", "--since", "00:10"})), "C");
    EXPECT_EQ(run({"log", "--until", "soon"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"log", "--follow", "--until", "10:30"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(LogCommands, printsOnlyTheLastSoManyThatAreWanted) {
    for (int number = 0; number < 1200; ++number) {
        write(number % 2 == 0 ? 3 : 15, 1, std::to_string(number % 10).c_str());
    }

    EXPECT_EQ(textsOf(done({"log", "-n", "3"})), "789");
    EXPECT_EQ(textsOf(done({"log", "-n", "3", "--level", "3"})), "468");
    EXPECT_EQ(Text::split(done({"log", "--lines", "1100"}), '\n').size(), 1101u);
    EXPECT_EQ(Text::split(done({"log", "-n", "9999"}), '\n').size(), 1201u);
    EXPECT_EQ(run({"log", "-n", "0"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(LogCommands, theLastOfAnEmptyLogAreNone) {
    EXPECT_EQ(done({"log", "-n", "5"}), "");
}

TEST_F(LogCommands, printsOneComponentOrOneTextAlone) {
    write(15, 1, "Alpha");
    app_log(15, 2, -1, -1, -1, -1, 0, nullptr, "beta");
    switch_.pump();

    EXPECT_EQ(textsOf(done({"log", "--component", "orvapp"})), "Alpha");
    EXPECT_EQ(textsOf(done({"log", "--component", "-"})), "beta");
    EXPECT_EQ(textsOf(done({"log", "--component", "other"})), "");
    EXPECT_EQ(textsOf(done({"log", "--grep", "aLPh"})), "Alpha");
    EXPECT_EQ(textsOf(done({"log", "--grep", ".*"})), "");
}

TEST_F(LogCommands, isQuietAboutWhatTheDaemonAlwaysWrites) {
    log(orv_log::kBuildDetailRequest, "Global.Callhome.FromAddr");
    log(orv_log::kBuildInfoRequest, "Global.Callhome.FilesAllowed");
    log(orv_log::kQueueEmpty);
    app_log(17, 0x8b000001, -1, -1, -1, -1, 0, nullptr, "build request for x");
    switch_.pump();

    const Outcome quiet = run({"log"});
    EXPECT_THAT(quiet.out, testing::Not(HasSubstr("FromAddr")));
    EXPECT_THAT(quiet.out, HasSubstr("Message queue is empty"));
    EXPECT_THAT(quiet.out, HasSubstr(" - build request for x\n"));  // It is not the daemon's.
    EXPECT_EQ(quiet.err, "switchctl: 2 routine entries left out; --all shows them\n");
    EXPECT_THAT(done({"log", "--all"}), HasSubstr("build request for Global.Callhome.FromAddr\n"));
    EXPECT_THAT(done({"log", "--json"}), HasSubstr("build request for Global.Callhome.FromAddr"));
}

TEST_F(LogCommands, explainsUnderEachEntryWhatTheCatalogueHas) {
    log(orv_log::kTestNoSender, "Ops");
    write(15, 77, "unknown");

    EXPECT_THAT(done({"log", "--explain"}),
                testing::EndsWith("in the CallHome setup\n"
                                  "    cause: A test was asked for without a sender address.\n"
                                  "    remedy: switchctl callhome setup --from ADDRESS\n"
                                  "2023-11-14T22:13:20.123456+0000 15 2/0x0000004d 4096 OrvApp unknown\n"));
    EXPECT_THAT(done({"log", "--explain", "--json"}),
                HasSubstr("\"cause\":\"A test was asked for without a sender address.\",\"remedy\":\"switchctl "
                          "callhome setup --from ADDRESS\"}"));
}

TEST_F(LogCommands, explainNeedsNoSwitchAndRefusesWhatNobodyKnows) {
    EXPECT_THAT(done({"explain", "550", "5.1.1"}), HasSubstr("enhanced status 5.1.1\n    there is no such mailbox; "));
    EXPECT_THAT(done({"--json", "explain", "sender-missing"}),
                testing::StartsWith("{\"explanations\":[{\"kind\":\"problem\",\"name\":\"sender-missing\","));
    EXPECT_EQ(run({"explain", "nonsense"}).status, ExitStatus::REFUSED);
}

}  // namespace
