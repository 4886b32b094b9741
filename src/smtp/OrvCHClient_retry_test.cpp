// What the client does when a dialogue fails: delays, changeover, recovery, and the entries about them in order.
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class OrvCHClientRetry : public ClientTest {
protected:
    // A mail that no server takes.
    void failFirstSend() {
        serverA_.refuseConnections();
        serverB_.refuseConnections();
        startSending();
        queueMail("mail");
        tick();
        ASSERT_TRUE(client_.retryPending());
        takeLog();
        queue_.takeCalls();
    }

    // The delays before the next sends, each of which fails.
    std::vector<int> delays(int failures) {
        std::vector<int> result;
        for (int i = 0; i < failures; ++i) {
            result.push_back(secondsUntilNextSend(4000));
        }
        return result;
    }
};

}  // namespace

TEST_F(OrvCHClientRetry, reportsAFailureGivesTheMessageBackAndSaysWhenItTriesAgain) {
    serverA_.answer(MailStage::kMail, ScriptedReply::line("451 busy 100%"));
    useBothServers();
    startSending();
    queueMail("mail");

    tick();

    EXPECT_THAT(takeLog(),
                ElementsAre(kCriticalLine,
                            encountered(serverA_, "SMTP RESPONSE Error", "SMTP server error Response", "451 busy 100%"),
                            willRetry(serverB_, 5)));
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "close mail"));
    EXPECT_TRUE(client_.retryPending());
    EXPECT_EQ(client_.countdown(), 5);
    EXPECT_EQ(client_.attempts(), 1u);
}

TEST_F(OrvCHClientRetry, publishesTheOtherServerBetweenTheFailureAndTheAnnouncedRetry) {
    serverA_.answer(MailStage::kMail, ScriptedReply::line("451 busy"));
    useBothServers();
    startSending();
    queueMail("mail");

    tick();

    EXPECT_THAT(
        recording_.takeSent(),
        ElementsAre("log " + kCriticalLine,
                    "log " + encountered(serverA_, "SMTP RESPONSE Error", "SMTP server error Response", "451 busy"),
                    "set 12 1 1 Oper.Callhome.NF-ActiveSMTPAddr=2-::1",
                    "set 12 1 1 Oper.Callhome.ActiveSMTPAddr=00000000",
                    "set 12 2 1 Oper.Callhome.ActiveSMTPPort=" + std::to_string(serverB_.port()),
                    "log " + willRetry(serverB_, 5)));
}

TEST_F(OrvCHClientRetry, tracesEachOutcomeInItsOwnWords) {
    const std::string serverA = "server=127.0.0.1, port=" + std::to_string(serverA_.port());
    const std::string serverB = "server=::1, port=" + std::to_string(serverB_.port());
    serverA_.answerOnce(MailStage::kMail, ScriptedReply::line("451 busy"));
    serverB_.answerRecipientOnce("b@x", ScriptedReply::line("452 full"));
    useBothServers();
    startSending();
    queueMail("mail", {"b@x"});
    recording_.takeTraces();

    tick();
    EXPECT_THAT(takeOutcomeTraces(),
                ElementsAre("OrvCHClient handleFailMesg: Encountered failure communicating with SMTP " + serverA +
                                ", Reason=[SMTP RESPONSE Error], Description=[SMTP server error Response], "
                                "Response=[451 busy]\n",
                            "OrvCHClient handleFailMesg: Will retry via SMTP " + serverB + ", after 5 seconds\n"));

    tick(5);
    EXPECT_THAT(takeOutcomeTraces(),
                ElementsAre("OrvCHClient handleSucceedMesg: Will retry via SMTP " + serverA + "\n"));
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "close mail", "open mail", "delete mail 0"));
}

TEST_F(OrvCHClientRetry, isNotCancelledByATickWhileItIsOnItsWay) {
    useServerA();
    failFirstSend();
    serverA_.acceptConnections();
    serverA_.answerOnce(MailStage::kEndOfData, ScriptedReply::silence());
    for (int i = 0; i < 5; ++i) {
        client_.oneSecondTick();
    }
    ASSERT_TRUE(client_.sendOutstanding());
    ASSERT_TRUE(
        serverA_.waitUntil([&] { return serverA_.connections() == 1 && serverA_.received(0).ends_with("\r\n.\r\n"); }));

    for (int i = 0; i < 10; ++i) {
        client_.oneSecondTick();
    }

    EXPECT_TRUE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 2u);
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail")) << "and it is sent once";
    serverA_.breakConnections();
    serveUntil([&] { return !client_.sendOutstanding(); });
    EXPECT_EQ(client_.countdown(), 300);
}

TEST_F(OrvCHClientRetry, keepsItsCountThroughASecondTryOfRecipients) {
    useBothServers();
    failFirstSend();
    EXPECT_THAT(delays(1), ElementsAre(5));
    ASSERT_EQ(client_.attempts(), 2u);
    serverA_.acceptConnections();
    serverB_.acceptConnections();
    serverA_.answer(MailStage::kRcpt, ScriptedReply::line("452 full"));
    serverB_.answer(MailStage::kEndOfData, ScriptedReply::silence());
    for (int i = 0; i < 5; ++i) {
        client_.oneSecondTick();
    }
    serveUntil([&] { return serverB_.connections() == 1 && serverB_.received(0).ends_with("\r\n.\r\n"); });

    EXPECT_TRUE(client_.sendOutstanding());
    EXPECT_TRUE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 2u);
    EXPECT_EQ(client_.countdown(), 0);

    serverB_.breakConnections();
    serveUntil([&] { return !client_.sendOutstanding(); });
    EXPECT_EQ(client_.attempts(), 3u);
    EXPECT_EQ(client_.countdown(), 300);
}

TEST_F(OrvCHClientRetry, triesTheOtherServerAfterFiveSeconds) {
    serverA_.refuseConnections();
    useBothServers();
    startSending();
    queueMail("mail");
    tick();
    takeLog();

    tick(4);
    EXPECT_EQ(serverB_.connections(), 0u);
    tick();

    EXPECT_EQ(serverB_.mailsTaken().size(), 1u);
    EXPECT_THAT(takeLog(), ElementsAre(kRecoveryLine));
    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 0u);
    EXPECT_EQ(client_.countdown(), -1);
}

TEST_F(OrvCHClientRetry, staysOnTheOtherServerAfterTheRecovery) {
    serverA_.refuseConnections();
    useBothServers();
    startSending();
    queueMail("first");
    tick(6);
    serverA_.acceptConnections();

    queueMail("second");
    tick();

    EXPECT_EQ(serverA_.mailsTaken().size(), 0u);
    EXPECT_EQ(serverB_.mailsTaken().size(), 2u);
}

TEST_F(OrvCHClientRetry, alternatesTheServersWithGrowingDelays) {
    useBothServers();
    failFirstSend();

    EXPECT_THAT(delays(9), ElementsAre(5, 5, 300, 300, 600, 600, 1800, 1800, 3600));

    const std::string refused = "Connection refused";
    const std::vector<std::string> log = takeLog();
    ASSERT_EQ(log.size(), 18u) << "two entries a failure, and no further critical one";
    EXPECT_EQ(log[0], encountered(serverB_, "Connect Error", refused, ""));
    EXPECT_EQ(log[1], willRetry(serverA_, 5));
    EXPECT_EQ(log[2], encountered(serverA_, "Connect Error", refused, ""));
    EXPECT_EQ(log[3], willRetry(serverB_, 300));
    EXPECT_EQ(log[17], willRetry(serverA_, 3600));
}

TEST_F(OrvCHClientRetry, triesTheOnlyServerAgainWithFasterGrowingDelays) {
    configure(serverEntries("", 0, "2-::1", serverB_.port()));
    recording_.takeSent();
    failFirstSend();

    EXPECT_THAT(delays(6), ElementsAre(5, 300, 600, 1800, 3600, 3600));

    EXPECT_EQ(takeLog()[1], willRetry(serverB_, 300));
}

TEST_F(OrvCHClientRetry, startsAfreshWithTheShortestDelayAfterARecovery) {
    useServerA();
    failFirstSend();
    EXPECT_THAT(delays(2), ElementsAre(5, 300));
    serverA_.acceptConnections();
    EXPECT_EQ(secondsUntilNextSend(4000), 600);
    takeLog();

    serverA_.refuseConnections();
    queueMail("next");
    tick();

    EXPECT_THAT(takeLog(), ElementsAre(kCriticalLine, encountered(serverA_, "Connect Error", "Connection refused", ""),
                                       willRetry(serverA_, 5)));
}

TEST_F(OrvCHClientRetry, isCancelledWhenTheQueueIsEmptied) {
    useServerA();
    failFirstSend();
    queue_.clear();

    tick();

    EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kQueueEmpty)));
    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 0u);
    EXPECT_EQ(client_.countdown(), -1);

    tick();
    EXPECT_THAT(takeLog(), IsEmpty()) << "once";
}

TEST_F(OrvCHClientRetry, sendsANewMessageAtOnceAfterItWasCancelled) {
    useServerA();
    failFirstSend();
    queue_.clear();
    tick();
    serverA_.acceptConnections();

    queueMail("new");
    tick();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open new", "delete new 0"));
}

TEST_F(OrvCHClientRetry, holdsBackNewerMessagesToo) {
    useServerA();
    failFirstSend();
    serverA_.acceptConnections();
    queueMail("newer");

    tick(4);
    EXPECT_THAT(queue_.takeCalls(), IsEmpty());
    tick();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0", "open newer", "delete newer 0"));
}

TEST_F(OrvCHClientRetry, isMadeUpForAtALaterTickWhenTheQueueGivesNothingAtItsTime) {
    useServerA();
    failFirstSend();
    serverA_.acceptConnections();
    queue_.lock(true);
    tick(50);
    EXPECT_EQ(client_.countdown(), 0);

    queue_.lock(false);
    tick();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
}

TEST_F(OrvCHClientRetry, isClearedByAConfigurationAndTheServersAreChosenAnew) {
    useBothServers();
    failFirstSend();
    EXPECT_THAT(delays(2), ElementsAre(5, 5));
    serverA_.acceptConnections();

    useBothServers();

    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 0u);
    EXPECT_EQ(client_.countdown(), -1);
    takeLog();
    tick();
    EXPECT_EQ(serverA_.mailsTaken().size(), 1u);
    EXPECT_THAT(takeLog(), IsEmpty()) << "no recovery is reported: the failure was forgotten";
}

TEST_F(OrvCHClientRetry, isNotArmedWithoutAUsableServerAndGoesOnWithTheNextConfiguration) {
    serverA_.answerOnce(MailStage::kEndOfData, ScriptedReply::silence());
    useServerA();
    startSending();
    queueMail("mail");
    client_.oneSecondTick();
    ASSERT_TRUE(serverA_.waitUntil([&] { return serverA_.received(0).ends_with("\r\n.\r\n"); }));
    configure(serverEntries("", 0, "", 0));
    recording_.takeSent();
    recording_.takeTraces();
    serverA_.breakConnections();
    serveUntil([&] { return !client_.sendOutstanding(); });

    EXPECT_THAT(
        takeOutcomeTraces(),
        ElementsAre("OrvCHClient handleFailMesg: Encountered failure communicating with SMTP server=127.0.0.1, port=" +
                        std::to_string(serverA_.port()) +
                        ", Reason=[Socket Closed Error], Description=[Connection reset by peer], "
                        "Response=[]\n",
                    "OrvCHClient handleFailMesg: SMTP addresses are defaults or disabled, will not retry sending "
                    "messages until a valid SMTP  address has been configured and enabled\n"));
    EXPECT_THAT(takeLog(),
                ElementsAre(kCriticalLine, encountered(serverA_, "Socket Closed Error", "Connection reset by peer", ""),
                            logLine(orv_log::kNoUsableServer)));
    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.countdown(), -1);
    queue_.takeCalls();
    tick(10);
    EXPECT_THAT(queue_.takeCalls(), IsEmpty());

    useServerA();
    tick();
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
}

TEST_F(OrvCHClientRetry, doesNotCountASecondTryOfRecipientsAsARecovery) {
    serverA_.refuseConnections();
    serverB_.answerRecipientOnce("b@x", ScriptedReply::line("452 full"));
    useBothServers();
    startSending();
    queueMail("mail", {"b@x"});
    tick();
    takeLog();
    serverA_.acceptConnections();

    tick(5);

    const LogTexts logB{serverB_};
    EXPECT_THAT(takeLog(),
                ElementsAre(logB.noRecipient("noc"), logB.retry("noc", "b@x"), logB.refusal("noc", "b@x", "452 full"),
                            kRecoveryLine, willRetryNow(serverA_), kRecoveryLine))
        << "each dialogue that reaches its end while a retry is pending says so";
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "close mail", "open mail", "delete mail 0"));
    EXPECT_FALSE(client_.retryPending());
}

TEST_F(OrvCHClientRetry, keepsTheMarksOfAMessageThroughAFailure) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("452 full"));
    serverB_.answer(MailStage::kMail, ScriptedReply::line("554 no"));
    useBothServers();
    startSending();
    const OrvCHMesg& mail = queueMail("mail", {"a@x", "b@x"});

    tick();

    EXPECT_THAT(mail.Envelopes[0]->Recipients, ElementsAre("!a@x", "$b@x"));
    const LogTexts logA{serverA_};
    EXPECT_THAT(
        takeLog(),
        ElementsAre(logA.retry("noc", "b@x"), logA.refusal("noc", "b@x", "452 full"), willRetryNow(serverB_),
                    kCriticalLine, encountered(serverB_, "SMTP RESPONSE Error", "SMTP server error Response", "554 no"),
                    willRetry(serverA_, 5)));
}
