// The daemon is told to end while it does something: real processes, and a mail server that takes its time.
#include "testing/ScriptedMailServer.h"
#include "testing/switchctl/SwitchProcesses.h"

#include <signal.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace {

using std::chrono::seconds;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

class OrderlyStop : public SwitchProcesses {
protected:
    void SetUp() override {
        switchd_ = startSwitchd();
        daemon_ = startDaemon();
        done({"callhome", "setup", "--enable", "--from", "a@x", "--smtp",
              "1-127.0.0.1:" + std::to_string(server_.port())});
        done({"profile", "add", "Operators", "--level", "Alarm", "--format", "Tsc1", "--email", "a@x"});
        awaitReady();
    }

    void awaitReady() const {
        const auto deadline = Clock::now() + seconds(20);
        while (switchctl({"status"}).status != 0) {
            ASSERT_LT(Clock::now(), deadline);
        }
    }

    void publish(const std::string& text) const {
        done({"event", "log", "--type", "0", "--number", "0x00010002", "--slot", "3", text});
    }

    // An event whose mail the server has received and not yet answered.
    void publishAndAwaitItsText(const std::string& text) {
        publish(text);
        ASSERT_TRUE(server_.waitUntil([&] {
            const auto events = textsReceived();
            return !events.empty() && text == events.back();
        }));
    }

    void awaitWaiting(int messages) const {
        const auto deadline = Clock::now() + seconds(20);
        const std::string waiting = "waiting  " + std::to_string(messages) + " of";
        while (done({"callhome", "queue"}).find(waiting) == std::string::npos) {
            ASSERT_LT(Clock::now(), deadline);
        }
    }

    // Tells the daemon to end; how long that takes. Its status must be 0.
    Clock::duration stop() {
        const auto start = Clock::now();
        daemon_->signal(SIGTERM);
        EXPECT_EQ(daemon_->wait(), 0);
        return Clock::now() - start;
    }

    void restartDaemon() {
        daemon_ = startDaemon();
        awaitReady();
    }

    // The event of each whole text that the server has got, in order: what it makes of one it could not answer any
    // more is its own affair, and a conforming one delivers it.
    std::vector<std::string> textsReceived() const {
        constexpr char END[] = "\r\n.\r\n";
        std::vector<std::string> events;
        for (std::string received : server_.received()) {
            for (std::size_t end = 0; (end = received.find(END)) != std::string::npos;
                 received.erase(0, end + sizeof END - 1)) {
                const std::size_t start = received.find("Event ");
                events.push_back(start < end ? received.substr(start, 7) : "?");
            }
        }
        return events;
    }
    // The same once there are so many and the queue is empty.
    std::vector<std::string> mailed(std::size_t count) const {
        EXPECT_TRUE(server_.waitUntil([&] { return textsReceived().size() >= count; }));
        awaitWaiting(0);
        return textsReceived();
    }
    using Mailed = std::vector<std::string>;

    ScriptedMailServer server_;
    std::unique_ptr<Child> switchd_;
    std::unique_ptr<Child> daemon_;
};

TEST_F(OrderlyStop, comesAtOnceWhenNoMailIsUnderWay) {
    EXPECT_LT(stop(), seconds(4));
    EXPECT_EQ(server_.connections(), 0u);
}

TEST_F(OrderlyStop, comesAtOnceWhenAMailWaitsForItsNextTry) {
    server_.refuseConnections();
    publish("Event A");
    while (done({"log"}).find("Will retry sending") == std::string::npos) {
    }

    EXPECT_LT(stop(), seconds(4));

    server_.acceptConnections();
    restartDaemon();
    EXPECT_EQ(mailed(1), Mailed{"Event A"});
}

TEST_F(OrderlyStop, letsTheMailThatIsUnderWayComeToItsEnd) {
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(1)));
    publishAndAwaitItsText("Event A");
    publish("Event B");

    EXPECT_LT(stop(), seconds(5));
    EXPECT_EQ(textsReceived(), Mailed{"Event A"}) << "and no other is started";

    restartDaemon();
    EXPECT_EQ(mailed(2), (Mailed{"Event A", "Event B"})) << "each once";
}

TEST_F(OrderlyStop, isNotHurriedBySignalsThatComeMeanwhile) {
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(1)));
    publishAndAwaitItsText("Event A");
    daemon_->signal(SIGTERM);
    daemon_->signal(SIGINT);

    EXPECT_LT(stop(), seconds(5));

    restartDaemon();
    publish("Event B");
    EXPECT_EQ(mailed(2), (Mailed{"Event A", "Event B"}));
}

TEST_F(OrderlyStop, waitsFiveSecondsForAServerAndNoLonger) {
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(60)));
    publishAndAwaitItsText("Event A");

    const auto taken = stop();

    EXPECT_GE(taken, seconds(4));
    EXPECT_LT(taken, seconds(8));
    restartDaemon();
    EXPECT_EQ(mailed(2), (Mailed{"Event A", "Event A"}));
    EXPECT_LT(stop(), seconds(4));
    restartDaemon();
    publish("Event B");
    EXPECT_EQ(mailed(3), (Mailed{"Event A", "Event A", "Event B"})) << "once more, and never again";
}

// The mail is taken only after the daemon was told to end.
TEST_F(OrderlyStop, doesNotRepeatAMailThatWasTakenWhenTheServerIsSilentAfterwards) {
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(1)));
    server_.answerOnce(MailStage::kQuit, ScriptedReply::silence());
    publishAndAwaitItsText("Event A");

    EXPECT_LT(stop(), seconds(4));

    restartDaemon();
    publish("Event B");
    EXPECT_EQ(mailed(2), (Mailed{"Event A", "Event B"}));
}

TEST_F(OrderlyStop, doesNotRepeatAMailWhoseServerIsSilentAtQuitJustThen) {
    server_.answerOnce(MailStage::kQuit, ScriptedReply::silence());
    publish("Event A");
    ASSERT_TRUE(server_.waitUntil([&] {
        const auto received = server_.received();
        return !received.empty() && received.back().ends_with("QUIT\r\n");
    }));

    EXPECT_LT(stop(), seconds(4)) << "well within its patience";

    restartDaemon();
    publish("Event B");
    EXPECT_EQ(mailed(2), (Mailed{"Event A", "Event B"}));
}

TEST_F(OrderlyStop, losesNothingWhenAKillCutsItShort) {
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(60)));
    publishAndAwaitItsText("Event A");
    publish("Event B");
    awaitWaiting(1);  // beside the one that is open

    daemon_->signal(SIGTERM);
    daemon_->signal(SIGKILL);

    EXPECT_EQ(daemon_->wait(), -SIGKILL);
    restartDaemon();
    EXPECT_THAT(mailed(3), testing::UnorderedElementsAre("Event A", "Event A", "Event B"));
}

// The same mail goes to the recipients that are due for a second try.
TEST_F(OrderlyStop, goesOnToTheSecondTryOfTheMailThatIsUnderWay) {
    done({"profile", "add", "Others", "--level", "Alarm", "--format", "Tsc1", "--email", "b@x", "--email", "c@x"});
    awaitReady();
    server_.answerRecipientOnce("b@x", ScriptedReply::line("450 later"));
    server_.answerOnce(MailStage::kEndOfData, ScriptedReply::line("250 taken").delayed(seconds(1)));
    publishAndAwaitItsText("Event A");

    EXPECT_LT(stop(), seconds(5));

    EXPECT_EQ(textsReceived(), (Mailed{"Event A", "Event A", "Event A"})) << "to a@x, to c@x, and to b@x";
    EXPECT_THAT(server_.mailsTaken().back().recipients, testing::ElementsAre(HasSubstr("b@x")));
    restartDaemon();
    publish("Event B");
    EXPECT_EQ(mailed(5), (Mailed{"Event A", "Event A", "Event A", "Event B", "Event B"}));
}

}  // namespace
