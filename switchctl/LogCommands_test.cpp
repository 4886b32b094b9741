#include "app_log.h"
#include "testing/Uncatalogued.h"
#include "testing/switchctl/SwitchctlTest.h"

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
    EXPECT_EQ(done({"log", "--json"}), "{\"entries\":[]}\n");
    write(2, 0x8b00000c, "text");

    EXPECT_EQ(
        done({"log", "--json"}),
        "{\"entries\":[{\"time\":\"2023-11-14T22:13:20.123456+0000\",\"level\":2,\"id\":1,\"number\":\"0x8b00000c\","
        "\"flags\":4096,\"component\":\"OrvApp\",\"text\":\"text\"}]}\n");
}

TEST_F(LogCommands, beginsAfterAnIdInEitherForm) {
    write(15, 1, "first");
    write(15, 2, "second");

    const std::string second = "2023-11-14T22:13:20.123456+0000 15 2/0x00000002 4096 OrvApp second\n";
    EXPECT_EQ(done({"log", "--since", "1"}), second);
    EXPECT_EQ(done({"log", "--since", "1/0x00000001"}), second);
    EXPECT_EQ(done({"log", "--since", "2"}), "");
    EXPECT_THAT(run({"log", "--since", "x"}).err,
                HasSubstr("\"x\" is not an id; write it as log prints it: 17 or 17/0x8b000001\n"));
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

}  // namespace
