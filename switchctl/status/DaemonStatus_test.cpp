// What status says about the daemon itself: its start, its threads, what it ran out of.
#include "testing/switchctl/StatusTest.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class DaemonStatus : public StatusTest {
protected:
    void SetUp() override {
        StatusTest::SetUp();
        configure();
    }
    // The daemon's first record, before all that it writes into the event log.
    void traceStart() { traceTo("Main") << HEAD << "OrvApp OrvApp: Application startup!\n"; }
    // status says first that it cannot send, why, and what to do.
    void expectProblem(const std::string& text, const std::string& remedy = "restart orvApp") {
        EXPECT_THAT(status(), StartsWith("CallHome cannot send. What to mend, in this order:\n  1. " + text +
                                         "\n       " + remedy + "\ncomponents "));
        EXPECT_THAT(status({"--json"}),
                    StartsWith("{\"canSend\":false,\"problems\":[{\"cause\":\"daemon\",\"text\":\"" + text +
                               "\",\"remedy\":\"" + remedy + "\",\"id\":\""));
    }
    // It can send, and this is to be mended all the same.
    void expectFailing(const std::string& text) {
        EXPECT_THAT(status(),
                    StartsWith("CallHome can send.\nSomething is failing. What to mend, in this order:\n  1. " + text +
                               "\n       "));
        EXPECT_THAT(status({"--json"}), StartsWith("{\"canSend\":true,\"problems\":[{\"cause\":\""));
        EXPECT_THAT(status({"--json"}), HasSubstr("\"warnings\":[{\"cause\":\""));
        EXPECT_THAT(status({"--json"}), HasSubstr(",\"state\":\"failing\","));
    }
    void expectNothing() { EXPECT_THAT(status(), StartsWith("CallHome can send.\ncomponents ")); }
};

TEST_F(DaemonStatus, tellsWhatAStartCouldNotDo) {
    int second = 20;
    const auto start = [&] {
        traceTo("Main") << "11/14/2023 UTC 22:13:" << second << ".123  17 OrvApp OrvApp: Application startup!\n";
    };
    const auto succeedAtTheNextStart = [&] {
        switch_.clock().advance(1000);
        ++second;
        start();
        EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
    };
    start();
    log(orv_log::kSendThreadNotStarted);
    expectProblem("orvApp could not start its send thread: no mail leaves");
    succeedAtTheNextStart();
    log(orv_log::kConsumerNotAdded, 1u, 0u);
    expectProblem("orvApp could not subscribe to the switch's log: no event becomes a mail");
    succeedAtTheNextStart();
}

TEST_F(DaemonStatus, tellsTheTimeOfWhatMayBeOfAnEarlierStart) {
    log(orv_log::kSendThreadNotStarted);

    expectFailing("2023-11-14T22:13:20.123456+0000: orvApp could not start its send thread: no mail leaves");
}

TEST_F(DaemonStatus, tellsThatTheSendThreadHasEnded) {
    const std::string runs = std::string(HEAD) + "OrvThread run: Thread is running\n";
    traceTo("SMTPClient") << runs;
    expectNothing();

    for (const char* ending :
         {"OrvThread run: Thread is terminating, retval=0xffffffff\n", "OrvCHClient runThread: Terminating\n",
          "OrvThread pushSwLogAppMesg: thread exiting\n"}) {
        traceTo("SMTPClient") << HEAD << ending;
        expectProblem("orvApp's send thread has ended: no mail leaves");
        traceTo("SMTPClient") << runs;
        expectNothing();
    }
}

TEST_F(DaemonStatus, isNotMistakenByTheSendThreadOfAnEarlierDaemon) {
    traceTo("SMTPClient") << "11/14/2023 UTC 22:00:00.000  16 OrvCHClient runThread: Terminating\n";

    expectFailing("orvApp's send thread has traced nothing so far: it may not run");

    traceTo("SMTPClient") << HEAD << "OrvThread run: Thread is running\n";
    expectNothing();
}

// In a container every daemon may have the same number.
TEST_F(DaemonStatus, isNotMistakenByAnEarlierDaemonOfTheSameNumber) {
    traceTo("SMTPClient") << HEAD << "OrvCHClient runThread: Terminating\n";
    traceTo("Main") << HEAD << "OrvApp startTick: the one-second timer could not be started\n"
                    << "11/14/2023 UTC 22:13:21.000  17 OrvApp OrvApp: Application startup!\n";
    switch_.clock().advance(1000);

    expectFailing("orvApp's send thread has traced nothing so far: it may not run");
}

TEST_F(DaemonStatus, knowsThatARestartedDaemonHasForgottenARetry) {
    waiting_ = 1;
    log(orv_log::kRetryLater, "192.0.2.1", 25, 300);
    EXPECT_THAT(status(), HasSubstr("\nretry         in 300 s through 192.0.2.1:25\n"));

    switch_.clock().advance(1000);
    traceTo("Main") << "11/14/2023 UTC 22:13:21.000  17 OrvApp OrvApp: Application startup!\n";

    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
    EXPECT_THAT(status(), HasSubstr("\nretry         none\n"));
}

TEST_F(DaemonStatus, tellsThatTheClockDoesNotRun) {
    traceTo("Main") << HEAD << "OrvApp startTick: the one-second timer could not be started\n";

    expectProblem("orvApp could not start its clock: no mail leaves");
}

TEST_F(DaemonStatus, tellsThatTheQueueIsNotOpen) {
    queueOpen_ = "false";
    expectProblem("orvApp has not opened its queue: the event server has not answered it so far",
                  "switchctl status; where it still says so after some seconds, restart orvApp");
    queueSettingsRead_ = "false";
    expectProblem("orvApp has not opened its queue: it could not read the queue's settings",
                  "switchctl callhome profile-change");
    queueOpen_ = "x";
    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
}

TEST_F(DaemonStatus, tellsWhatItRanOutOf) {
    traceStart();
    log(orv_log::kSendFailed, "192.0.2.1", 25, "Socket Create Error", "Too many open files", "");
    EXPECT_THAT(status(),
                HasSubstr("  1. orvApp ran out of file descriptors, last at 2023-11-14T22:13:20.123456+0000: mails "
                          "may wait, and messages may not be kept on flash\n"));

    log(orv_log::kNoMemory);
    log(orv_log::kNoMemoryHere);
    EXPECT_THAT(status(),
                HasSubstr("  1. orvApp ran out of memory, last at 2023-11-14T22:13:20.123456+0000: events may "
                          "be lost\n"));
}

TEST_F(DaemonStatus, tellsThatItRanOutOfDescriptorsFromItsTraceToo) {
    traceTo("Main") << HEAD
                    << "OrvCHMesgQ saveEntryToFile: unable to open file /q/m0 for writing, errno = Too many open "
                       "files(24)\n";

    expectFailing("orvApp ran out of file descriptors: mails may wait, and messages may not be kept on flash");
}

TEST_F(DaemonStatus, isNotMistakenByWhatAServerSays) {
    log(orv_log::kSendFailed, "192.0.2.1", 25, "SMTP RESPONSE Error", "SMTP server error Response",
        "421 Description=[Too many open files], Response=[x]");

    EXPECT_THAT(status(), Not(HasSubstr("ran out of")));
}

TEST_F(DaemonStatus, tellsWhatElseIsWrong) {
    traceStart();
    log(orv_log::kConsumerNotAdded, 66u, 3u);
    log(orv_log::kConsumerNotAdded, 2u, 56u);
    log(orv_log::kConsumerNotAdded, 90u, 0u);
    log(orv_log::kCaptureThreadNotStarted);
    log(orv_log::kRestoreQueueFailed, "/ostrel/conf/orv/callHome/queues/send");

    for (const char* text :
         {"1. orvApp could not subscribe to the switch's state: no mail tells of its changes",
          "2. orvApp could not subscribe to the switch's addresses: it does not notice their changes",
          "3. orvApp could not subscribe to the switch's host name: it does not notice its changes",
          "4. orvApp could not start its capture thread: no capture is made",
          "5. orvApp could not restore a queue: what it holds on flash is not mailed"}) {
        EXPECT_THAT(status(), HasSubstr(std::string("  ") + text + "\n"));
    }
    EXPECT_THAT(status(), StartsWith("CallHome can send.\n"));
}

TEST_F(DaemonStatus, tellsThatTheMailServersRepliesAreOutOfStep) {
    traceTo("SMTPClient") << HEAD << "OrvSMTPClient recvResponse: SMTP StatusSMTPResponse (incl CRLF) {220-mail\r\n}\n"
                          << HEAD << "OrvSendDialogue presentClient: Send SMTP client identity as hostname: sw\n";

    EXPECT_THAT(
        status(),
        StartsWith("CallHome can send.\nSomething is failing. What to mend, in this order:\n  1. the mail server "
                   "sends its replies in pieces, or more than it is asked for: orvApp may take a refused mail for "
                   "a delivered one\n"));
    EXPECT_THAT(status({"--json"}), HasSubstr("\"id\":\"replies-out-of-step\",\"state\":\"failing\""));
}

TEST_F(DaemonStatus, ofADaemonThatAnswersProbesOnlySaysSoAndIsNoSuccess) {
    daemon_.onMessage = [this](Hsb_Message& message) {
        if (message.format() != MessageFormat::MANAGEMENT) {
            answer(message);
        }
    };

    const Outcome result = run({"status", "--timeout", "0.3"});

    EXPECT_EQ(result.status, ExitStatus::NO_ANSWER);
    EXPECT_EQ(result.err, "switchctl: orvApp did not answer in 0.3 s\n");
    EXPECT_THAT(result.out, StartsWith("CallHome can send.\n"));
    EXPECT_THAT(result.out,
                HasSubstr("\n  1. orvApp answers its probe and no request: it does not know where its answers "
                          "go\n       restart orvApp\n"));
}

// Halfway: registered, and no further.
class DaemonStartStatus : public SwitchctlDaemonTest {
protected:
    void trace(const char* record) {
        std::ofstream(switch_.root().at("/tmp/orv.out.Main"), std::ios::app)
            << "11/14/2023 UTC 22:13:20.123  17 " << record;
    }
    void expectFirst(const std::string& text, const std::string& remedy) {
        EXPECT_THAT(run({"status", "--timeout", "0.3"}).out,
                    StartsWith("CallHome cannot send. What to mend, in this order:\n  1. " + text + "\n       " +
                               remedy + "\n"));
    }
    void answer(Hsb_Message& message) override {
        if (message.format() == MessageFormat::PROBE) {
            EXPECT_EQ(message.reply(MessageFormat::PROBE, ProbeCode::REPLY), 0);
        }
    }
};

TEST_F(DaemonStartStatus, tellsThatAStartHasComeToAHalt) {
    expectFirst("orvApp is starting: it is registered", "switchctl wait orvApp started");

    trace("OrvApp DSApiReady: error from ready_for_conf\n");
    expectFirst("orvApp could not say that it is ready, so it is never told to read its configuration",
                "restart orvApp");

    trace("OrvApp DSApiReady: \n\"---- requiredAddressesInitialized() FAILED\n\n");
    expectFirst("orvApp could not ask where the switch's services are, so it never reads its configuration",
                "restart orvApp");
}

TEST_F(DaemonStartStatus, tellsThatTheConfigurationWasReadForNothing) {
    trace("OrvApp OrvApp: Application startup!\n");
    log(orv_log::kAckFailed);

    expectFirst("orvApp could not say that it has read its configuration, so its threads never start",
                "restart orvApp");
}

TEST_F(DaemonStartStatus, tellsHowTheLastStartEnded) {
    daemon_.remove();
    switch_.pump();
    trace("main createApplication: eventfd: Too many open files\n");

    expectFirst("orvApp does not run: its last start ended with \"eventfd: Too many open files\"", "orvApp");
}

}  // namespace
