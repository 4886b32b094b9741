#include "cmon_client.h"
#include "testing/switchctl/SwitchctlTest.h"

using testing::HasSubstr;

namespace {

// Where the component stands after each step of its start.
class SwitchCommands : public SwitchctlDaemonTest {
protected:
    void answer(Hsb_Message& message) override {
        if (message.format() == MessageFormat::CMON && message.code() == CmonCode::READ_CONF && acknowledges_) {
            EXPECT_GE(cmon_client(&daemon_).conf_read_ack(0), 0);
        }
    }
    // As status shows it.
    std::string stateNow() {
        const std::string text = run({"status", "--timeout", "0.3"}).out;
        const std::string label = "components    OrvApp ";
        const std::size_t start = text.find(label) + label.size();
        return text.substr(start, text.find(' ', start) - start);
    }
    bool acknowledges_ = true;
};

TEST_F(SwitchCommands, statusFollowsTheComponentsStart) {
    EXPECT_EQ(stateNow(), "registered");
    acknowledges_ = false;
    ASSERT_GE(cmon_client(&daemon_).ready_for_conf(), 0);
    switch_.pump();
    EXPECT_EQ(stateNow(), "ready");
    ASSERT_GE(cmon_client(&daemon_).conf_read_ack(0), 0);
    switch_.pump();
    EXPECT_EQ(stateNow(), "started");
}

TEST_F(SwitchCommands, watchShowsTheStatusAgainAndAgainAndAsksForNoProbe) {
    std::size_t probes = 0;
    daemon_.onMessage = [&, former = daemon_.onMessage](Hsb_Message& message) {
        probes += message.format() == MessageFormat::PROBE ? 1u : 0u;
        former(message);
    };

    const Outcome result = run({"watch", "--interval", "1", "--count", "2", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::DONE);
    const std::size_t first = result.out.find("\ncomponents    OrvApp ");
    EXPECT_NE(first, std::string::npos);
    EXPECT_NE(result.out.find("\ncomponents    OrvApp ", first + 1), std::string::npos);
    EXPECT_EQ(result.out.find('\x1b'), std::string::npos) << "it is no terminal";
    EXPECT_EQ(probes, 0u);
}

TEST_F(SwitchCommands, waitNeedsTheNameOfAComponent) {
    EXPECT_EQ(run({"wait", "", "started"}).status, ExitStatus::WRONG_USAGE);
}

TEST_F(SwitchCommands, waitEndsWhenTheStateIsReached) {
    EXPECT_EQ(done({"wait", "orvApp", "registered"}), "");
    ASSERT_GE(cmon_client(&daemon_).ready_for_conf(), 0);

    EXPECT_EQ(done({"wait", "orvApp", "started"}), "");
    EXPECT_EQ(done({"wait", "orvApp", "ready", "--json"}),
              "{\"component\":\"orvApp\",\"state\":\"ready\",\"schema\":1}\n");
    EXPECT_EQ(done({"wait", "orvApp", "configured"}), "");
}

TEST_F(SwitchCommands, waitTellsHowFarTheComponentHasComeWhenTimeIsUp) {
    const Outcome result = run({"wait", "orvApp", "started", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: orvApp was not started in 0.3 s: it is registered\n");
    EXPECT_EQ(run({"wait", "nobody", "ready", "--timeout", "0.3"}).err,
              "switchctl: nobody was not ready in 0.3 s: it is absent\n");
}

TEST_F(SwitchCommands, waitKnowsFourStates) {
    EXPECT_THAT(run({"wait", "orvApp", "running"}).err,
                HasSubstr("unknown state \"running\"; it is registered, ready, configured or started\n"));
    EXPECT_EQ(run({"wait", "orvApp", "absent"}).status, ExitStatus::WRONG_USAGE);
    EXPECT_EQ(run({"wait", "orvApp"}).status, ExitStatus::WRONG_USAGE);
}

}  // namespace
