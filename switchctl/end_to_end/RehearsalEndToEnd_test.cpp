// A rehearsal beside the daemon itself, in real time: the same outage, the same seconds.
//
// Takes as long as the outage; the longer pauses are those of a daemon whose delays run twenty times as fast.
#include "switchctl/ahead/Rehearsal.h"
#include "switchctl/client/Attributes.h"
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr int TIMES_AS_FAST = 20;

class RehearsalEndToEnd : public SwitchProcesses {
protected:
    void configure(bool both, int timesAsFast = 1) {
        setenv("HSB_BUS", bus_.address().c_str(), 1);
        setenv("HSB_ROOT", root().c_str(), 1);
        switchd_ = startSwitchd();
        Environment surroundings = environment();
        surroundings["HSB_TIME_SCALE"] = std::to_string(timesAsFast);
        daemon_ = std::make_unique<Child>(Program::DAEMON, Words{}, surroundings);
        done({"wait", "orvApp", "started", "--timeout", "30"});
        Words setup = {"callhome",
                       "setup",
                       "--enable",
                       "--from",
                       "switch@example.com",
                       "--smtp",
                       "1-127.0.0.1:" + std::to_string(primary_.port())};
        if (both) {
            setup.insert(setup.end(), {"--smtp2", "3-localhost:" + std::to_string(secondary_.port())});
        }
        done(setup);
        done({"profile", "add", "Operators", "--level", "Alarm", "--format", "FullText", "--email", "a@x"});
        awaitThat([&] { return switchctl({"callhome", "processed"}).output.find("Operators") != std::string::npos; });
        std::istringstream lines(done({"attr", "list"}));
        attributes_ = Attributes::parseFile(lines, "attr list");
    }

    template <typename Holds>
    static void awaitThat(const Holds& holds, Clock::duration limit = seconds(30)) {
        for (const auto deadline = Clock::now() + limit; !holds(); std::this_thread::yield()) {
            ASSERT_LT(Clock::now(), deadline);
        }
    }

    // The second in which the event's mail comes, since it was published, while both servers are down so long.
    double realDelivery(milliseconds outage, Clock::duration limit) {
        primary_.refuseConnections();
        secondary_.refuseConnections();
        const auto begin = Clock::now();
        done({"event", "log", "--type", "0", "--number", "0x10002", "rehearsed fault 0"});
        const auto up = begin + outage;
        // Nothing can be waited for but the time itself: it is what is measured.
        std::this_thread::sleep_until(up);
        primary_.acceptConnections();
        secondary_.acceptConnections();
        awaitThat([&] { return !primary_.mailsTaken().empty() || !secondary_.mailsTaken().empty(); }, limit);
        return std::chrono::duration<double>(Clock::now() - begin).count();
    }

    double rehearsedDelivery(const std::string& outage, bool both) const {
        std::vector<std::string> downs = {"1:" + outage};
        if (both) {
            downs.push_back("2:" + outage);
        }
        const Rehearsal rehearsal = Rehearsal::of(RehearsalPlan::parse(1, 1, downs), attributes_, std::time(nullptr));
        return static_cast<double>(rehearsal.events.at(0).delivered);
    }

    ScriptedMailServer primary_;
    ScriptedMailServer secondary_;
    std::vector<Attribute> attributes_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

// A second for the tick: the rehearsal's and the daemon's do not begin together.
TEST_F(RehearsalEndToEnd, deliversInTheSecondInWhichTheDaemonDoes) {
    configure(true);

    EXPECT_NEAR(rehearsedDelivery("7s", true), realDelivery(seconds(7), seconds(30)), 1.5);
}

// What the machine needs counts twenty times here; the pause is 300 s, the next longer one 600.
TEST_F(RehearsalEndToEnd, knowsTheLongerPausesToo) {
    configure(false, TIMES_AS_FAST);

    const double rehearsed = rehearsedDelivery("20s", false);
    const double real = realDelivery(milliseconds(seconds(20)) / TIMES_AS_FAST, seconds(60)) * TIMES_AS_FAST;

    EXPECT_GT(rehearsed, 300);
    EXPECT_NEAR(rehearsed, real, 40);
}

}  // namespace
