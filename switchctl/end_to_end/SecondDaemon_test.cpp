// Two daemons for one switch: the second one ends before it has touched anything, and the first one does not notice.
#include "testing/app/ListeningPorts.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class SecondDaemon : public SwitchProcesses {
protected:
    using Files = std::map<std::string, std::string>;

    static std::string contentOf(const std::string& file) {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static Files filesBelow(const std::string& top) {
        Files files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) {
            if (entry.is_regular_file()) {
                files[entry.path()] = contentOf(entry.path());
            }
        }
        return files;
    }

    // Nothing has gone, and files have only grown: the first daemon goes on with its traces and its queue.
    static void expectUntouched(const Files& before, const Files& after) {
        for (const auto& [name, content] : before) {
            ASSERT_TRUE(after.contains(name)) << name;
            EXPECT_THAT(after.at(name), StartsWith(content)) << name;
        }
    }

    // A second daemon, which is to end by itself.
    static void expectRefused(const std::string& bus, const std::string& root, const std::string& reason) {
        Child second(Program::DAEMON, {}, {{"HSB_BUS", bus}, {"HSB_ROOT", root}});
        EXPECT_THAT(second.readAll(), HasSubstr("another daemon serves this switch: " + reason));
        EXPECT_EQ(second.wait(), 1);
    }

    void expectAlive(const Child& daemon) const {
        EXPECT_EQ(kill(daemon.pid(), 0), 0);
        EXPECT_THAT(done({"callhome", "probe"}), HasSubstr(" " + std::to_string(daemon.pid()) + " "));
    }

    // Until the daemon has come past everything that could have refused it.
    void awaitStartup(const Child& daemon) const {
        const std::string line = " " + std::to_string(daemon.pid()) + " OrvApp OrvApp: Application startup!";
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (contentOf(root() + "/tmp/orv.out.Main").find(line) == std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        }
    }
};

TEST_F(SecondDaemon, onTheSameBusAndRootIsRefused) {
    const auto switchd = startSwitchd();
    const auto first = startDaemon();
    const Files before = filesBelow(root());

    expectRefused(bus_.address(), root(), "in use is " + root() + "/");

    expectUntouched(before, filesBelow(root()));
    expectAlive(*first);
}

TEST_F(SecondDaemon, onTheSameRootIsRefusedOnAnyBus) {
    const auto switchd = startSwitchd();
    const auto first = startDaemon();
    const Files before = filesBelow(root());
    const PrivateBus another;

    expectRefused(another.address(), root(), "in use is " + root() + "/");

    expectUntouched(before, filesBelow(root()));
    expectAlive(*first);
}

TEST_F(SecondDaemon, onTheSameBusIsRefusedBelowAnyRoot) {
    const auto switchd = startSwitchd();
    const auto first = startDaemon();
    const Files before = filesBelow(root());
    const std::string another = directory() + "/another";
    std::filesystem::create_directories(another + "/tmp");
    std::filesystem::create_directories(another + "/ostrel/conf");

    expectRefused(bus_.address(), another, "on the bus there is already OrvApp");

    EXPECT_EQ(filesBelow(another), Files());
    expectUntouched(before, filesBelow(root()));
    expectAlive(*first);
}

TEST_F(SecondDaemon, thatWaitedForARootToComeIsRefusedThen) {
    const PrivateBus another;
    const auto early = std::make_unique<Child>(Program::DAEMON, Words{},
                                               Environment{{"HSB_BUS", another.address()}, {"HSB_ROOT", root()}});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    // It goes to the bus when it has looked for the root.
    while (
        !std::ranges::any_of(socketsOf(early->pid()), [](const auto& name) { return name.starts_with("socket:"); })) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    }
    const auto switchd = startSwitchd();
    const auto first = startDaemon();
    const Files before = filesBelow(root());

    Child itsSwitchd(Program::SWITCHD, {"--state", directory() + "/state2"},
                     {{"HSB_BUS", another.address()}, {"HSB_ROOT", root()}});

    EXPECT_THAT(early->readAll(), HasSubstr("another daemon serves this switch: in use is " + root() + "/"));
    EXPECT_EQ(early->wait(), 1);
    expectUntouched(before, filesBelow(root()));
    expectAlive(*first);
}

TEST_F(SecondDaemon, isTheFirstOneRightAfterAKill) {
    const auto switchd = startSwitchd();
    auto daemon = start(Program::DAEMON, {});
    for (int time = 0; time < 20; ++time) {
        SCOPED_TRACE(time);
        awaitStartup(*daemon);
        daemon->signal(SIGKILL);

        auto next = start(Program::DAEMON, {});

        EXPECT_EQ(daemon->wait(), -SIGKILL);
        daemon = std::move(next);
    }
    awaitStartup(*daemon);
    done({"wait", "orvApp", "started", "--timeout", "30"});
    expectAlive(*daemon);
}

TEST_F(SecondDaemon, isTheFirstOneRightAfterAnOrderlyEnd) {
    const auto switchd = startSwitchd();
    auto daemon = startDaemon();
    daemon->signal(SIGTERM);

    auto next = start(Program::DAEMON, {});

    EXPECT_EQ(daemon->wait(), 0);
    awaitStartup(*next);
}

}  // namespace
