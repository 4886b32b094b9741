// The road of a log event in one process: from the switch's bus to a mail server and back.
#include "MessageCodes.h"
#include "testing/app/DaemonFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kSendQueue[] = "/ostrel/conf/orv/callHome/queues/send";

class Road : public DaemonFixture {
protected:
    void publishBladeFault() {
        Sw_Log_Type record;
        record.kind = 0;
        record.number = 0x00010002;
        record.slot = 3;
        record.chip = 2;
        record.port = 5;
        record.componentClass = 32;
        record.seconds = 1700000000;
        record.microseconds = 123456;
        record.text = "Blade fault detected in slot 3";
        switch_->publishLog(record);
    }
    std::string onlyMail(const ScriptedMailServer& server) {
        const std::vector<ScriptedMail> mails = server.mailsTaken();
        return mails.size() == 1 ? mails[0].text : std::to_string(mails.size()) + " mails";
    }
    void fillIdentity() {
        switch_->set("Global.Callhome.ReplyToAddr", "reply@example.com");
        switch_->set("Global.Snmp.Contact", "Pat Example");
        switch_->set("Global.Snmp.Location", "Rack 7");
        switch_->set("Global.Callhome.StreetAddr",
                     "\xC2\xA7"
                     "1 Example Road"
                     "\xC2\xA7");
        switch_->set("Global.Callhome.PhoneNumber", "+1 555 0100");
        switch_->set("Global.Callhome.EmailAddr", "pat@example.com");
    }
    // Ticks until the condition holds; the threads get their time in between.
    [[nodiscard]] bool tickUntil(const std::function<bool()>& condition, unsigned most) {
        for (unsigned second = 0; second < most; ++second) {
            if (condition()) {
                return true;
            }
            switch_->tick();
        }
        return condition();
    }
    [[nodiscard]] bool waitForFailures(std::size_t count) {
        return switch_->runUntil([&] {
            std::size_t failures = 0;
            for (const LogLine& line : switch_->eventLog()) {
                failures += line.id == 0x8b000013u;
            }
            return failures >= count;
        });
    }
    [[nodiscard]] bool waitForEmptyQueue() {
        return switch_->runUntil([this] { return root_.list(kSendQueue) == std::vector<std::string>{"order"}; });
    }
};

TEST_F(Road, mailsALogEventInFullText) {
    fillIdentity();
    startReady();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 1));

    EXPECT_EQ(onlyMail(primary_),
              "Date: Tue, 14  Nov  2023  22:13:22  +0000\r\n"
              "From: switch@example.com\r\n"
              "Bcc:  \r\n"
              "Reply-To: reply@example.com\r\n"
              "Subject: [CallHome: Operators] Lab switch\r\n"
              "\r\n"
              "\r\n"
              "------------    Event Details\r\n"
              "SwitchName:     switch\r\n"
              "SwitchIP:       192.168.0.1\r\n"
              "SwitchWWN:      10:00:02:00:00:00:00:01\r\n"
              "Text:           Blade fault detected in slot 3\r\n"
              "ID:             0001.0002\r\n"
              "Time:           Tue Nov 14 22:13:20.123 UTC 2023\r\n"
              "Level:          Fault\r\n"
              "Blade:          Blade: 3\r\n"
              "ASIC:           2.5\r\n"
              "\r\n"
              "\r\n"
              "------------    Switch Location\r\n"
              "Rack 7\r\n"
              "\r\n"
              "\r\n"
              "------------    Contact Information\r\n"
              "Pat Example\r\n"
              "1 Example Road\r\n"
              "+1 555 0100\r\n"
              "pat@example.com\r\n"
              "\r\n"
              "\r\n");
}

TEST_F(Road, mailsNothingWithoutAnEvent) {
    fillIdentity();
    startReady();
    switch_->tick();

    EXPECT_EQ(primary_.connections(), 0u);
    EXPECT_EQ(root_.list(kSendQueue), std::vector<std::string>{});
}

TEST_F(Road, mailsALogEventInTsc1) {
    addProfile({.name = "Support", .format = "Tsc1", .emails = {"tsc@example.com"}, .subject = "Event"});
    enableCallHome();
    useServer("", primary_);
    startDaemon();
    switch_->tick();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 1));

    EXPECT_EQ(onlyMail(primary_),
              "Date: Tue, 14  Nov  2023  22:13:22  +0000\r\n"
              "From: switch@example.com\r\n"
              "Bcc:  \r\n"
              "Subject: [CallHome-Event: Support] Event\r\n"
              "\r\n"
              "\r\n"
              "SN:             SW0000000001\r\n"
              "DuplicateCount: 0\r\n"
              "SwitchName:     switch\r\n"
              "SwitchIP:       192.168.0.1\r\n"
              "SwitchWWN:      10:00:02:00:00:00:00:01\r\n"
              "Text:           Blade fault detected in slot 3\r\n"
              "ID:             0001.0002\r\n"
              "Time:           Tue Nov 14 22:13:20.123 UTC 2023\r\n"
              "Level:          Fault\r\n"
              "Blade:          Blade: 3\r\n"
              "ASIC:           2.5\r\n"
              "Port:           \r\n"
              "vFabric:        \r\n"
              "Application:    \r\n"
              "Component:      \r\n"
              "\r\n");
}

TEST_F(Road, speaksOnePlainDialogueAMail) {
    startReady();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForEmptyQueue());

    const std::string dialogue = primary_.received(0);
    EXPECT_EQ(dialogue.substr(0, dialogue.find("Date: ")),
              "EHLO [192.168.0.1]\r\nMAIL FROM:<switch@example.com>\r\nRCPT TO:<operator@example.com>\r\nDATA\r\n");
    EXPECT_EQ(dialogue.substr(dialogue.find("\r\n.\r\n")), "\r\n.\r\nQUIT\r\n");
}

TEST_F(Road, arrivesThroughTheSecondaryFiveSecondsAfterThePrimaryRefused) {
    useServer("1", secondary_);
    primary_.refuseConnections();
    startReady();
    switch_->forgetEventLog();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForFailures(1));

    switch_->tick(4);
    EXPECT_EQ(secondary_.connections(), 0u);
    switch_->tick();
    ASSERT_TRUE(waitForMails(secondary_, 1));
    ASSERT_TRUE(waitForLog("Successful recovery of SMTP communications"));

    const std::string primary = "127.0.0.1, port=" + std::to_string(primary_.port());
    const std::string secondary = "127.0.0.1, port=" + std::to_string(secondary_.port());
    std::vector<LogLine> lines = operatorLog();
    std::erase_if(lines, [](const LogLine& line) { return (line.id >> 16) != 0x8b00u; });
    EXPECT_THAT(lines, ElementsAre(LogLine{2, 0x8b000012u, "Critical protocol failure with SMTP server"},
                                   LogLine{3, 0x8b000013u,
                                           "Encountered failure communicating with SMTP server=" + primary +
                                               ", Reason=[Connect Error], Description=[Connection refused], "
                                               "Response=[]"},
                                   LogLine{3, 0x8b00000fu,
                                           "Will retry sending via SMTP server=" + secondary + ", after 5 seconds"},
                                   LogLine{2, 0x8b000014u, "Successful recovery of SMTP communications"}));
}

TEST_F(Road, givesATemporarilyRefusedRecipientItsOneRetryOnTheOtherServer) {
    useServer("1", secondary_);
    addProfile({.name = "Two", .level = "Fault", .emails = {"busy@example.com", "fine@example.com"}});
    enableCallHome();
    useServer("", primary_);
    primary_.answerRecipient("busy@example.com", ScriptedReply::line("452 later"));
    startDaemon();
    switch_->tick();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForMails(secondary_, 1));
    ASSERT_TRUE(waitForEmptyQueue());

    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("fine@example.com"));
    EXPECT_THAT(secondary_.mailsTaken()[0].recipients, ElementsAre("busy@example.com"));
    EXPECT_THAT(primary_.mailsTaken(), SizeIs(1));
}

TEST_F(Road, givesAPermanentlyRefusedRecipientUpAndDeliversToTheOther) {
    addProfile({.name = "Two", .level = "Fault", .emails = {"gone@example.com", "fine@example.com"}});
    enableCallHome();
    useServer("", primary_);
    primary_.answerRecipient("gone@example.com", ScriptedReply::line("550 no such user"));
    startDaemon();
    switch_->tick();
    switch_->forgetEventLog();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 1));
    ASSERT_TRUE(waitForEmptyQueue());

    EXPECT_THAT(primary_.mailsTaken()[0].recipients, ElementsAre("fine@example.com"));
    EXPECT_THAT(primary_.mailsTaken(), SizeIs(1));
    const std::string port = std::to_string(primary_.port());
    std::vector<LogLine> lines = operatorLog();
    std::erase_if(lines, [](const LogLine& line) { return (line.id >> 16) != 0x8b00u; });
    EXPECT_THAT(lines, ElementsAre(LogLine{3, 0x8b000019u,
                                           "CallHome message send for profile Two to recipient gone@example.com failed "
                                           "on SMTP server 127.0.0.1, port " +
                                               port + ". Retry will not be attempted, ignoring recipient."},
                                   LogLine{3, 0x8b000015u,
                                           "Profile Two, gone@example.com via SMTP Server 127.0.0.1/" + port +
                                               ", SMTP error: 550 no such user"}));
}

TEST_F(Road, countsRepeatsAndMailsThemOnceWhenTheThrottlePeriodIsOver) {
    startReady();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 1));
    ASSERT_TRUE(waitForEmptyQueue());

    for (int i = 0; i < 5; ++i) {
        publishBladeFault();
    }
    switch_->tick(15);
    EXPECT_THAT(primary_.mailsTaken(), SizeIs(1));
    ASSERT_TRUE(tickUntil([this] { return !root_.exists("/ostrel/conf/orv/callHome/queues/duplicate/m0"); }, 5));
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 2));

    EXPECT_NE(primary_.mailsTaken()[1].text.find(
                  "------------    Message is a duplicate: last of 5 repeated messages...\r\n"),
              std::string::npos);
}

TEST_F(Road, mailsWhatWaitedWhenTheDaemonIsKilledAndStartedAgain) {
    primary_.refuseConnections();
    startReady();
    publishBladeFault();
    switch_->tick();
    ASSERT_TRUE(waitForFailures(1));

    restartSwitch();
    primary_.acceptConnections();
    startDaemon();
    switch_->tick(2);
    ASSERT_TRUE(waitForMails(primary_, 1));

    EXPECT_NE(onlyMail(primary_).find("Text:           Blade fault detected in slot 3\r\n"), std::string::npos);
    ASSERT_TRUE(waitForEmptyQueue());
}

TEST_F(Road, sendsNothingWhileTheSenderIsThePlaceholder) {
    startReady();
    switch_->set("Global.Callhome.FromAddr", "");
    switch_->manage(ManagementCode::PROFILE_CHANGE);
    publishBladeFault();
    switch_->tick(10);

    EXPECT_EQ(primary_.connections(), 0u);
}

TEST_F(Road, reportsAnOpenTestMessageAsClearedWhenTheQueueIsCleared) {
    primary_.answerOnce(MailStage::kMail, ScriptedReply::silence());
    startReady();
    switch_->testProfile("Operators");
    switch_->tick();
    ASSERT_TRUE(switch_->runUntil(
        [this] { return primary_.connections() == 1 && primary_.received(0).find("MAIL FROM") != std::string::npos; }));
    switch_->takeManagementReplies();

    switch_->manage(ManagementCode::CLEAR_QUEUE);
    primary_.breakConnections();
    ASSERT_TRUE(switch_->runUntil([this] { return switch_->managementReplies().size() >= 2; }));

    const ManagementReply result = switch_->managementReplies().back();
    EXPECT_EQ(result.code, ManagementCode::TEST_PROFILE_RESULTS);
    EXPECT_EQ(result.payload[3], 2);  // cleared
}

TEST_F(Road, queuesEventsAndTestMessagesForADayWithoutExpiry) {
    startReady();
    publishBladeFault();
    switch_->testProfile("Operators");
    switch_->tick();

    EXPECT_THAT(traced("OrvCHMesgQ add: testMsg"),
                ElementsAre("OrvCHMesgQ add: testMsg = false, persist = false, persistRepostPeriod = 86400, "
                            "expireCountdown = -1",
                            "OrvCHMesgQ add: testMsg = true, persist = false, persistRepostPeriod = 86400, "
                            "expireCountdown = -1"));
}

TEST_F(Road, keepsMailingALongBurstInOrder) {
    startReady();
    for (int i = 0; i < 50; ++i) {
        switch_->publishLog(0, 0x00020000u + static_cast<unsigned>(i), "Blade fault number " + std::to_string(i));
    }
    switch_->tick();
    ASSERT_TRUE(waitForMails(primary_, 50));

    for (std::size_t i = 0; i < 50; ++i) {
        EXPECT_NE(primary_.mailsTaken()[i].text.find("Blade fault number " + std::to_string(i) + "\r\n"),
                  std::string::npos)
            << i;
    }
}

}  // namespace
