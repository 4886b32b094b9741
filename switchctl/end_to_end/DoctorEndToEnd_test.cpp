// doctor of a real switch: the daemon's own mails run into what doctor says.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <chrono>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class DoctorEndToEnd : public SwitchProcesses {
protected:
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp",
              "1-127.0.0.1:" + std::to_string(server_.port())});
        done({"profile", "add", "Ops", "--level", "Info", "--format", "Tsc1", "--email", "ops@x", "desk@x"});
        await("\"state\":\"ok\"");
    }

    std::string status() const { return switchctl({"status", "--json"}).output; }
    std::string doctor() const { return switchctl({"doctor", "--json", "--timeout", "4"}).output; }
    void await(const std::string& text) const { awaitIn(&DoctorEndToEnd::doctor, text); }
    void awaitStatus(const std::string& text) const { awaitIn(&DoctorEndToEnd::status, text); }
    void awaitIn(std::string (DoctorEndToEnd::*ask)() const, const std::string& text) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        std::string json = (this->*ask)();
        while (json.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            json = (this->*ask)();
        }
        EXPECT_THAT(json, HasSubstr(text));
    }
    void happen(const std::string& text) const { done({"event", "log", "--type", "0", "--number", "1", text}); }

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

TEST_F(DoctorEndToEnd, asksAsTheDaemonDoesAndSendsNoMail) {
    EXPECT_EQ(switchctl({"doctor"}).status, 0);
    const std::string asked = server_.received().back();
    EXPECT_THAT(server_.mailsTaken(), IsEmpty());

    happen("something");
    ASSERT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 1; }));

    const std::string sent = server_.received().back();
    EXPECT_THAT(asked, StartsWith(sent.substr(0, sent.find("DATA\r\n"))));
}

TEST_F(DoctorEndToEnd, namesTheServerThatHasComeBackWhileMailsWait) {
    server_.refuseConnections();
    happen("something");
    awaitStatus("\"lastFailure\":{");
    await("\"id\":\"server-unreachable\",\"state\":\"blocked\"");

    server_.acceptConnections();
    await("\"id\":\"server-works-again\",\"state\":\"failing\"");

    done({"callhome", "profile-change"});
    EXPECT_TRUE(server_.waitUntil([&] { return server_.mailsTaken().size() == 1; }));
    await("\"state\":\"ok\"");
}

// The daemon reads the answer to DATA for that to the mail.
TEST_F(DoctorEndToEnd, foreseesTheMailThatPiecesOfAReplyCost) {
    constexpr std::chrono::milliseconds LATE(250);
    server_.answer(MailStage::kEhlo, ScriptedReply::bytes("250-mail\r\n250 HELP\r\n").splitAt({10}, LATE));
    for (const MailStage stage : {MailStage::kMail, MailStage::kRcpt}) {
        server_.answer(stage, ScriptedReply::line("250 ok").delayed(LATE));
    }
    server_.answer(MailStage::kData, ScriptedReply::line("354 go ahead").delayed(LATE));
    server_.answer(MailStage::kEndOfData, ScriptedReply::line("554 refused").delayed(LATE));
    await("\"id\":\"replies-in-pieces\",\"state\":\"failing\"");

    happen("something");

    EXPECT_TRUE(
        server_.waitUntil([&] { return server_.received().back().find("\r\n.\r\nQUIT\r\n") != std::string::npos; }));
    awaitStatus("\"waiting\":0,\"open\":0,");
    EXPECT_THAT(status(), HasSubstr("\"lastFailure\":null"));
    EXPECT_THAT(server_.mailsTaken(), IsEmpty());
}

TEST_F(DoctorEndToEnd, ofADaemonThatIsStoppedStillAsksTheServers) {
    daemon_->signal(SIGSTOP);

    const ProcessOutcome stopped = switchctl({"doctor", "--json", "--timeout", "6"});

    EXPECT_EQ(stopped.status, 3);
    EXPECT_THAT(stopped.output, HasSubstr("\"id\":\"daemon-stopped\",\"state\":\"down\""));
    EXPECT_THAT(stopped.output, HasSubstr("\"works\":true"));
}

TEST_F(DoctorEndToEnd, ofADaemonThatDiedSaysThatItDoesNotRun) {
    daemon_->signal(SIGKILL);
    EXPECT_EQ(daemon_->wait(), -SIGKILL);

    await("\"id\":\"daemon-absent\",\"state\":\"down\"");
    EXPECT_EQ(switchctl({"doctor"}).status, 1);
}

}  // namespace
