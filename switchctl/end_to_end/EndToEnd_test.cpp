// switchd and switchctl as processes, on a real bus of the test's own.
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using EndToEnd = SwitchProcesses;

TEST_F(EndToEnd, firstStartSeedsTheStoreAndMakesTheSwitchsDirectories) {
    const auto switchd = startSwitchd();

    EXPECT_EQ(done({"attr", "get", "Default.Mfg.AllowCallhome"}), "Default.Mfg.AllowCallhome=True\n");
    EXPECT_TRUE(std::filesystem::is_directory(directory() + "/root/ostrel/conf"));
    EXPECT_TRUE(std::filesystem::is_directory(directory() + "/root/tmp"));
}

TEST_F(EndToEnd, endsOrderlyWhenToldTo) {
    for (const int number : {SIGTERM, SIGINT}) {
        const auto switchd = startSwitchd();
        switchd->signal(number);
        EXPECT_EQ(switchd->readAll(), "");
        EXPECT_EQ(switchd->wait(), 0);
    }
}

TEST_F(EndToEnd, whatWasSetIsThereAfterARestart) {
    {
        const auto switchd = startSwitchd();
        done({"attr", "set", "A.Key=1", "Global.Callhome.FromAddr=sw01@example.com"});
        done({"event", "log", "--type", "0", "--number", "0x10002", "Blade fault detected"});
        switchd->signal(SIGTERM);
        EXPECT_EQ(switchd->wait(), 0);
    }

    const auto switchd = startSwitchd();

    EXPECT_EQ(done({"attr", "get", "A.Key", "Global.Callhome.FromAddr"}),
              "A.Key=1\nGlobal.Callhome.FromAddr=sw01@example.com\n");
    EXPECT_THAT(done({"log"}), EndsWith(" 0 1/0x00010002 0 operator Blade fault detected\n"));
}

TEST_F(EndToEnd, whatWasSetSurvivesAKill) {
    {
        const auto switchd = startSwitchd();
        done({"attr", "set", "A.Key=1"});
        switchd->signal(SIGKILL);
        EXPECT_EQ(switchd->wait(), -SIGKILL);
    }

    const auto switchd = startSwitchd();

    EXPECT_EQ(done({"attr", "get", "A.Key"}), "A.Key=1\n");
}

TEST_F(EndToEnd, logFollowsWhatIsAdded) {
    const auto switchd = startSwitchd();
    done({"event", "log", "--type", "2", "--number", "1", "first"});
    const auto follower = start(Program::SWITCHCTL, {"log", "--follow", "--level", "3"});
    EXPECT_THAT(follower->readLine(), EndsWith(" 2 1/0x00000001 0 operator first\n"));

    done({"event", "log", "--type", "15", "--number", "2", "left out"});
    done({"event", "log", "--type", "3", "--number", "3", "third"});

    EXPECT_THAT(follower->readLine(), EndsWith(" 3 3/0x00000003 0 operator third\n"));
    switchd->signal(SIGTERM);
    EXPECT_EQ(follower->readAll(), "hsb: switchd has left the bus\nswitchctl: switchd has left the bus\n");
    EXPECT_EQ(follower->wait(), 3);
}

TEST_F(EndToEnd, switchctlWaitsForASwitchdThatComesLater) {
    const auto early = start(Program::SWITCHCTL, {"attr", "get", "Config.Switch.SymName", "--timeout", "30"});

    const auto switchd = startSwitchd();

    EXPECT_EQ(early->readAll(), "Config.Switch.SymName=switch\n");
    EXPECT_EQ(early->wait(), 0);
}

TEST_F(EndToEnd, switchctlGivesUpWithoutASwitchd) {
    const ProcessOutcome result = switchctl({"status", "--timeout", "0.5"});

    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "hsb: switchd did not come to the bus in 0.5 s\nswitchctl: switchd cannot be reached\n");
}

TEST_F(EndToEnd, switchctlGivesUpWithoutABus) {
    bus_.kill();

    const ProcessOutcome result = switchctl({"status"});

    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, StartsWith("hsb: cannot connect with the bus " + bus_.address() + ": "));
}

TEST_F(EndToEnd, loadsThousandsOfAttributesAtOnce) {
    const auto switchd = startSwitchd();
    std::string text;
    for (int number = 10000; number < 15000; ++number) {
        text += "Zz." + std::to_string(number) + "=" + std::string(400, 'v') + "\n";
    }
    std::ofstream(directory() + "/many") << text;

    EXPECT_EQ(done({"attr", "load", directory() + "/many"}), "");

    EXPECT_EQ(done({"attr", "list", "Zz."}), text);
}

TEST_F(EndToEnd, testTellsThatItsMessageWasClearedWithTheQueue) {
    const auto switchd = startSwitchd();
    const auto daemon = startDaemon();
    configureWithDeadServer();
    const auto test = start(Program::SWITCHCTL, {"callhome", "test", "Operators", "--timeout", "60"});
    EXPECT_EQ(test->readLine(), "Operators: accepted, waiting for the result\n");
    // Until the daemon has restored its queue, clear-queue leaves new messages alone. This one has been tried.
    const auto log = start(Program::SWITCHCTL, {"log", "--follow", "--level", "3"});
    std::string line = log->readLine();
    while (!line.empty() && line.find("Will retry sending") == std::string::npos) {
        line = log->readLine();
    }

    done({"callhome", "clear-queue"});

    const std::string told = test->readAll();
    EXPECT_THAT(told,
                HasSubstr("Operators: the mail server 127.0.0.1:1 has failed: Connect Error, Connection refused\n"));
    EXPECT_THAT(told, HasSubstr("Operators: Cleared\n"));
    EXPECT_THAT(told, HasSubstr("switchctl: the test message for Operators was discarded with the queue\n"));
    EXPECT_EQ(test->wait(), 1);
    const ProcessOutcome status = switchctl({"status"});
    EXPECT_EQ(status.status, 1);
    EXPECT_THAT(status.output, HasSubstr("the mail server 127.0.0.1:1 cannot be reached: Connection refused\n"));
    EXPECT_THAT(status.output, HasSubstr(" 1 cleared, "));
}

using SwitchdStart = SwitchProcesses;

TEST_F(SwitchdStart, wrongUsageSaysHowItIsDoneRight) {
    const std::pair<Words, const char*> cases[] = {
        {{}, "switchd: --state DIR is required\nUsage: switchd --state DIR\n"},
        {{"--state"}, "switchd: --state needs a directory\nUsage: switchd --state DIR\n"},
        {{"--state", ""}, "switchd: --state DIR is required\nUsage: switchd --state DIR\n"},
        {{"--state", "x", "more"}, "switchd: unknown argument \"more\"\nUsage: switchd --state DIR\n"},
    };
    for (const auto& [arguments, expected] : cases) {
        const ProcessOutcome result = run(Program::SWITCHD, arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.output, StartsWith(expected));
    }
}

TEST_F(SwitchdStart, helpIsNoFailure) {
    const ProcessOutcome result = run(Program::SWITCHD, {"--help"});

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("Usage: switchd --state DIR\n"));
    EXPECT_THAT(result.output, HasSubstr("HSB_TIME_SCALE"));
}

TEST_F(SwitchdStart, secondSwitchdOnTheBusIsToldSo) {
    const auto first = startSwitchd();

    const ProcessOutcome second = run(Program::SWITCHD, {"--state", directory() + "/other"});

    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output,
              "hsb: the name hsb.Switchd is taken: another switchd runs on this bus\n"
              "switchd: cannot take the services' places on the bus\n");
}

TEST_F(SwitchdStart, stateThatCannotBeADirectoryIsNamed) {
    std::ofstream(directory() + "/file") << "x";

    const ProcessOutcome result = run(Program::SWITCHD, {"--state", directory() + "/file/state"});

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "switchd: cannot create the directory " + directory() + "/file/state: Not a directory\n");
}

TEST_F(SwitchdStart, damagedDatabaseIsNamedAndLeftAsItIs) {
    std::filesystem::create_directory(state());
    const std::string garbage(8192, 'g');
    std::ofstream(state() + "/switch.db") << garbage;

    const ProcessOutcome result = run(Program::SWITCHD, {"--state=" + state()});

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, StartsWith("switchd: "));
    EXPECT_THAT(result.output, HasSubstr(state() + "/switch.db"));
    std::ifstream file(state() + "/switch.db");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), garbage);
}

TEST_F(SwitchdStart, endsWhenTheBusDies) {
    const auto switchd = startSwitchd();

    bus_.kill();

    EXPECT_THAT(switchd->readAll(), StartsWith("hsb: the connection with the bus broke: "));
    EXPECT_EQ(switchd->wait(), 1);
}

TEST_F(SwitchdStart, withoutABusSaysSo) {
    bus_.kill();

    const ProcessOutcome result = run(Program::SWITCHD, {"--state", state()});

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, StartsWith("hsb: cannot connect with the bus " + bus_.address() + ": "));
    EXPECT_THAT(result.output, EndsWith("switchd: cannot join the bus\n"));
}

}  // namespace
