// switchd and switchctl as processes, on a real bus of the test's own.
#include "platform/transport/dbus/PrivateBus.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

constexpr int PATIENCE_MS = 30000;

// A child process whose output stands in a pipe. It does not outlive the test.
class Child {
public:
    Child(const std::string& program, const Words& arguments, const Environment& environment) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            execute(program, arguments, environment);
        }
        close(ends[1]);
        output_ = ends[0];
    }
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(output_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void signal(int number) const {
        ASSERT_GT(pid_, 0);  // kill() takes -1 for everybody.
        kill(pid_, number);
    }

    // The next line with its line feed; what there was at the end of the output or of our patience.
    std::string readLine() {
        while (unread_.find('\n') == std::string::npos && readMore()) {
        }
        const std::size_t end = std::min(unread_.find('\n'), unread_.size() - 1);
        std::string line = unread_.substr(0, end + 1);
        unread_.erase(0, end + 1);
        return line;
    }
    // All further output, until it ends.
    std::string readAll() {
        while (readMore()) {
        }
        return std::exchange(unread_, "");
    }
    // The exit status, or minus the signal that ended it.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    bool readMore() {
        pollfd waiting{output_, POLLIN, 0};
        char bytes[65536];
        const ssize_t count = poll(&waiting, 1, PATIENCE_MS) == 1 ? read(output_, bytes, sizeof bytes) : 0;
        unread_.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0;
    }

    [[noreturn]] static void execute(const std::string& program, const Words& arguments,
                                     const Environment& environment) {
        unsetenv("HSB_BUS");
        unsetenv("HSB_ROOT");
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        for (const auto& [name, value] : environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        std::vector<char*> words = {const_cast<char*>(program.c_str())};
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        execv(program.c_str(), words.data());
        _exit(127);
    }

    pid_t pid_ = -1;
    int output_ = -1;
    std::string unread_;
};

struct Outcome {
    int status;
    std::string output;  // stdout and stderr
};

class EndToEnd : public testing::Test {
protected:
    const std::string& directory() const { return bus_.directory(); }
    std::string state() const { return directory() + "/state"; }
    Environment environment() const { return {{"HSB_BUS", bus_.address()}, {"HSB_ROOT", directory() + "/root"}}; }

    std::unique_ptr<Child> start(const std::string& program, const Words& arguments) const {
        return std::make_unique<Child>(program, arguments, environment());
    }
    Outcome run(const std::string& program, const Words& arguments) const {
        const auto child = start(program, arguments);
        std::string output = child->readAll();
        return {child->wait(), output};
    }
    Outcome switchctl(const Words& arguments) const { return run(SWITCHCTL, arguments); }
    // switchctl that succeeds; what it prints.
    std::string done(const Words& arguments) const {
        const Outcome result = switchctl(arguments);
        EXPECT_EQ(result.status, 0) << result.output;
        return result.output;
    }
    // switchd that answers.
    std::unique_ptr<Child> startSwitchd() const {
        auto child = start(SWITCHD, {"--state", state()});
        EXPECT_EQ(done({"status", "--timeout", "30"}), "no components\n");
        return child;
    }

    PrivateBus bus_;
};

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
    const auto follower = start(SWITCHCTL, {"log", "--follow", "--level", "3"});
    EXPECT_THAT(follower->readLine(), EndsWith(" 2 1/0x00000001 0 operator first\n"));

    done({"event", "log", "--type", "15", "--number", "2", "left out"});
    done({"event", "log", "--type", "3", "--number", "3", "third"});

    EXPECT_THAT(follower->readLine(), EndsWith(" 3 3/0x00000003 0 operator third\n"));
    switchd->signal(SIGTERM);
    EXPECT_EQ(follower->readAll(), "hsb: switchd has left the bus\nswitchctl: switchd has left the bus\n");
    EXPECT_EQ(follower->wait(), 3);
}

TEST_F(EndToEnd, switchctlWaitsForASwitchdThatComesLater) {
    const auto early = start(SWITCHCTL, {"attr", "get", "Config.Switch.SymName", "--timeout", "30"});

    const auto switchd = startSwitchd();

    EXPECT_EQ(early->readAll(), "Config.Switch.SymName=switch\n");
    EXPECT_EQ(early->wait(), 0);
}

TEST_F(EndToEnd, switchctlGivesUpWithoutASwitchd) {
    const Outcome result = switchctl({"status", "--timeout", "2"});

    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "hsb: switchd did not come to the bus in 2 s\nswitchctl: switchd cannot be reached\n");
}

TEST_F(EndToEnd, switchctlGivesUpWithoutABus) {
    bus_.kill();

    const Outcome result = switchctl({"status"});

    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, StartsWith("hsb: cannot connect with the bus " + bus_.address() + ": "));
}

TEST_F(EndToEnd, switchctlGivesUpOnASwitchdThatHangs) {
    const auto switchd = startSwitchd();
    switchd->signal(SIGSTOP);

    const Outcome result = switchctl({"attr", "list", "--timeout", "2"});

    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output, "switchctl: switchd did not answer in 2 s\n");
    switchd->signal(SIGCONT);
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

TEST_F(EndToEnd, carriesTheLargestValueThatAStoreTakes) {
    const auto switchd = startSwitchd();
    std::ofstream(directory() + "/large") << "Zz.Large=" << std::string(10u << 20, 'v') << "\n";
    std::ofstream(directory() + "/larger") << "Zz.Larger=" << std::string((10u << 20) + 1, 'v') << "\n";

    EXPECT_EQ(done({"attr", "load", directory() + "/large"}), "");
    EXPECT_EQ(done({"attr", "get", "Zz.Large"}).size(), std::string("Zz.Large=\n").size() + (10u << 20));
    const Outcome larger = switchctl({"attr", "load", directory() + "/larger"});
    EXPECT_EQ(larger.status, 2);
    EXPECT_THAT(larger.output, HasSubstr("the value of Zz.Larger is too long; a value has at most 10 MB\n"));
}

class SwitchdStart : public EndToEnd {};

TEST_F(SwitchdStart, wrongUsageSaysHowItIsDoneRight) {
    const std::pair<Words, const char*> cases[] = {
        {{}, "switchd: --state DIR is required\nUsage: switchd --state DIR\n"},
        {{"--state"}, "switchd: --state needs a directory\nUsage: switchd --state DIR\n"},
        {{"--state", ""}, "switchd: --state DIR is required\nUsage: switchd --state DIR\n"},
        {{"--state", "x", "more"}, "switchd: unknown argument \"more\"\nUsage: switchd --state DIR\n"},
    };
    for (const auto& [arguments, expected] : cases) {
        const Outcome result = run(SWITCHD, arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.output, StartsWith(expected));
    }
}

TEST_F(SwitchdStart, helpIsNoFailure) {
    const Outcome result = run(SWITCHD, {"--help"});

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, StartsWith("Usage: switchd --state DIR\n"));
    EXPECT_THAT(result.output, HasSubstr("HSB_TIME_SCALE"));
}

TEST_F(SwitchdStart, secondSwitchdOnTheBusIsToldSo) {
    const auto first = startSwitchd();

    const Outcome second = run(SWITCHD, {"--state", directory() + "/other"});

    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output,
              "hsb: the name hsb.Switchd is taken: another switchd runs on this bus\n"
              "switchd: cannot take the services' places on the bus\n");
}

TEST_F(SwitchdStart, stateThatCannotBeADirectoryIsNamed) {
    std::ofstream(directory() + "/file") << "x";

    const Outcome result = run(SWITCHD, {"--state", directory() + "/file/state"});

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "switchd: cannot create the directory " + directory() + "/file/state: Not a directory\n");
}

TEST_F(SwitchdStart, damagedDatabaseIsNamedAndLeftAsItIs) {
    std::filesystem::create_directory(state());
    const std::string garbage(8192, 'g');
    std::ofstream(state() + "/switch.db") << garbage;

    const Outcome result = run(SWITCHD, {"--state=" + state()});

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

    const Outcome result = run(SWITCHD, {"--state", state()});

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, StartsWith("hsb: cannot connect with the bus " + bus_.address() + ": "));
    EXPECT_THAT(result.output, EndsWith("switchd: cannot join the bus\n"));
}

}  // namespace
