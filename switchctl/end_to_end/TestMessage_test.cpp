// callhome test of a real daemon: what it says of each recipient.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <chrono>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class TestMessage : public SwitchProcesses {
protected:
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp", "1-" + server()});
        done({"profile", "add", "Ops", "--level", "Info", "--format", "Tsc1", "--email", "ops@x", "desk@x"});
        awaitReady();
    }
    std::string server() const { return "127.0.0.1:" + std::to_string(server_.port()); }
    void awaitReady() const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (switchctl({"status"}).status != 0) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        }
    }
    ProcessOutcome test(const std::string& seconds = "30") const {
        return switchctl({"callhome", "test", "Ops", "--timeout", seconds});
    }

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

TEST_F(TestMessage, isASuccessOnlyWhenEveryRecipientWasTaken) {
    EXPECT_EQ(test().status, 0);

    server_.answerRecipient("desk@x", ScriptedReply::line("550 no such user"));
    const ProcessOutcome refused = test();

    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, HasSubstr("Ops: desk@x: refused by " + server() + ": \"550 no such user\"\n"));
    EXPECT_THAT(refused.output, HasSubstr("switchctl: the test message for Ops did not reach desk@x, refused by " +
                                          server() + ": \"550 no such user\"\n"));
    EXPECT_EQ(server_.mailsTaken().size(), 2u);
}

TEST_F(TestMessage, tellsOfARecipientThatWasPutOffAndThenTaken) {
    server_.answerRecipientOnce("desk@x", ScriptedReply::line("451 later"));

    const ProcessOutcome result = test();

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output,
                HasSubstr("Ops: desk@x: put off by " + server() + ": \"451 later\"; it is tried once more, at once\n"));
}

TEST_F(TestMessage, tellsWhenItIsTriedNext) {
    server_.refuseConnections();

    const ProcessOutcome result = test("2");

    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.output, HasSubstr("Ops: the mail server " + server() + " has failed: Connect Error, "));
    EXPECT_THAT(result.output, MatchesRegex("(.|\n)*switchctl: no result for Ops in 2 s; next try (now|at "
                                            "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]) through (.|\n)*"));
}

TEST_F(TestMessage, endsAtOnceWhenItsProfileHasNoAddress) {
    done({"attr", "set", "Global.CallhomeDB.Profile.0.NumberOfEmails=0"});
    done({"callhome", "profile-change"});

    const ProcessOutcome result = test();

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("switchctl: the test message for Ops is not sent: the profile Ops has no "
                                         "address: it receives nothing; mend it: switchctl attr set "));
}

}  // namespace
