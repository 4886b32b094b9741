// When the client sends, and what a dialogue's outcome makes of the message.
#include "testing/smtp/ClientFixture.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using OrvCHClientSendTest = ClientTest;

TEST_F(OrvCHClientSendTest, mailsTheQueueInOrderAndEachAtOnceAfterTheOneBefore) {
    useServerA();
    startSending();
    queueMail("first");
    queueMail("second");

    tick();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open first", "delete first 0", "open second", "delete second 0"));
    EXPECT_EQ(serverA_.mailsTaken().size(), 2u);
    EXPECT_THAT(serverA_.mailsTaken()[1].text, testing::HasSubstr("Text:           second\r\n"));
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.countdown(), -1);
}

TEST_F(OrvCHClientSendTest, waitsForEverythingThatSendingNeeds) {
    queueMail("mail");
    tick();
    EXPECT_THAT(queue_.takeCalls(), IsEmpty()) << "no thread, no address, no server";

    EXPECT_EQ(client_.startThread(), 0);
    serveUntil([&] { return client_.running(); });
    useServerA();
    tick();
    EXPECT_THAT(queue_.takeCalls(), IsEmpty()) << "no address of the switch";

    client_.switchAddressChanged();
    configure(serverEntries("", 0, "", 0));
    tick();
    EXPECT_THAT(queue_.takeCalls(), IsEmpty()) << "no server";

    useServerA();
    for (const char* sender : {"<undefined>", ""}) {
        identityValues_.From = sender;
        applyIdentity();
        tick(3);
        EXPECT_THAT(queue_.takeCalls(), IsEmpty()) << "no sender";
    }

    identityValues_.From = "switch@example.com";
    applyIdentity();
    tick();
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
}

TEST_F(OrvCHClientSendTest, takesNothingFromTheQueueOnceItStops) {
    useServerA();
    startSending();
    queueMail("mail");

    client_.stopSending();
    tick(3);

    EXPECT_FALSE(client_.sending());
    EXPECT_THAT(queue_.takeCalls(), IsEmpty());
}

TEST_F(OrvCHClientSendTest, finishesWhatIsUnderWayWhenItStopsAndStartsNothingElse) {
    useServerA();
    startSending();
    queueMail("first");
    queueMail("second");
    client_.oneSecondTick();

    client_.stopSending();
    EXPECT_TRUE(client_.sending());
    serveUntil([&] { return !client_.sending(); });

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open first", "delete first 0"));
}

// The next life would mail it to everybody again.
TEST_F(OrvCHClientSendTest, servesTheRecipientsThatWerePutOffWhenItStops) {
    serverA_.answerOnce(MailStage::kRcpt, ScriptedReply::line("451 later"));
    useBothServers();
    startSending();
    queueMail("first");
    queueMail("second");
    client_.oneSecondTick();

    client_.stopSending();
    serveUntil([&] { return !client_.sending(); });

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open first", "delete first 0"));
    EXPECT_EQ(serverB_.mailsTaken().size(), 1u);
}

TEST_F(OrvCHClientSendTest, asksTheQueueForNothingWhileItIsEmpty) {
    useServerA();
    startSending();

    tick(3);

    EXPECT_THAT(queue_.takeCalls(), IsEmpty());
    EXPECT_EQ(serverA_.connections(), 0u);
}

TEST_F(OrvCHClientSendTest, sendsNothingWhileTheQueueGivesNothing) {
    useServerA();
    startSending();
    queueMail("mail");
    queue_.lock(true);
    tick();
    EXPECT_FALSE(client_.sendOutstanding());

    queue_.lock(false);
    tick();

    EXPECT_EQ(serverA_.mailsTaken().size(), 1u);
}

TEST_F(OrvCHClientSendTest, hasOneMessageOnItsWayAtATime) {
    serverA_.answer(MailStage::kEndOfData, ScriptedReply::silence());
    useServerA();
    startSending();
    queueMail("first");
    queueMail("second");
    client_.oneSecondTick();
    ASSERT_TRUE(client_.sendOutstanding());

    client_.oneSecondTick();
    client_.tryStart();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open first"));
    ASSERT_TRUE(serverA_.waitUntil([&] { return serverA_.received(0).ends_with("\r\n.\r\n"); }));
    EXPECT_EQ(serverA_.connections(), 1u);
    serverA_.refuseConnections();
    serverA_.breakConnections();
    serveUntil([&] { return !client_.sendOutstanding(); });
}

TEST_F(OrvCHClientSendTest, reportsAThreadThatCannotBeLaunched) {
    // More than there is address space left for, and not near enough to its end to wrap.
    ASSERT_EQ(client_.setStackSize(~(std::size_t{1} << 24)), 0);

    EXPECT_EQ(client_.startThread(), -1);
    EXPECT_THAT(takeLog(), ElementsAre(logLine(orv_log::kSendThreadNotStarted)));
    EXPECT_FALSE(client_.running());

    ASSERT_EQ(client_.setStackSize(std::size_t{1} << 20), 0);
    EXPECT_EQ(client_.startThread(), 0);
    EXPECT_THAT(takeLog(), IsEmpty());
    serveUntil([&] { return client_.running(); });
}

TEST_F(OrvCHClientSendTest, showsAPortBeyond65535WholeAndConnectsToItsLowHalf) {
    serverA_.answer(MailStage::kRcpt, ScriptedReply::line("550 unknown"));
    const std::string port = std::to_string(serverA_.port() + 0x10000u);
    configure(serverEntries("1-127.0.0.1", serverA_.port() + 0x10000u, "", 0));
    EXPECT_THAT(recording_.takeSent(), Contains("set 12 2 1 Oper.Callhome.ActiveSMTPPort=" + port));
    startSending();
    queueMail("mail", {"b@x"});

    tick();

    EXPECT_EQ(serverA_.connections(), 1u);
    EXPECT_THAT(takeLog(), Contains(logLine(orv_log::kNoRecipientAccepted, "127.0.0.1",
                                            static_cast<int>(serverA_.port()) + 0x10000, "noc")));
}

TEST_F(OrvCHClientSendTest, startsItsThreadOnce) {
    EXPECT_EQ(client_.startThread(), 0);
    EXPECT_EQ(client_.startThread(), 0);
    serveUntil([&] { return client_.running(); });

    EXPECT_EQ(client_.refcnt(), 2);
}

TEST_F(OrvCHClientSendTest, tracesOnItsThreadUnderItsOwnName) {
    useServerA();
    startSending();
    queueMail("mail");

    tick();

    const auto traces = RecordingSwitch::parseTraces(recording_.root().read("/tmp/orv.out.SMTPClient"));
    EXPECT_THAT(traces, Contains("OrvThread run: Thread is running\n"));
    EXPECT_THAT(traces, Contains("OrvSendDialogue sendEnvelope: Processing envelope[noc]\n"));
}

TEST_F(OrvCHClientSendTest, tellsTheQueueWhetherEveryRecipientWasReached) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("550 unknown"));
    useServerA();
    startSending();
    queueMail("mail", {"a@x", "b@x"});

    tick();

    const LogTexts log{serverA_};
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 1"));
    EXPECT_THAT(takeLog(), ElementsAre(log.noRetry("noc", "b@x"), log.refusal("noc", "b@x", "550 unknown")));
}

// It may be mailed once more, as a duplicate, and then it is everybody's again.
TEST_F(OrvCHClientSendTest, givesTheQueueAFinishedMessageWithoutMarksAndDoneFlags) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("550 unknown"));
    useServerA();
    startSending();
    addEnvelope(queueMail("mail", {"a@x", "b@x"}), "vendor", {"v@x"}, "ShortText");

    tick();

    ASSERT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 1"));
    const auto& envelopes = queue_.finished().at(0)->Envelopes;
    ASSERT_EQ(envelopes.size(), 2u);
    EXPECT_THAT(envelopes[0]->Recipients, ElementsAre("a@x", "b@x"));
    EXPECT_THAT(envelopes[1]->Recipients, ElementsAre("v@x"));
    EXPECT_FALSE(envelopes[0]->Done);
    EXPECT_FALSE(envelopes[1]->Done);
}

TEST_F(OrvCHClientSendTest, givesARefusedRecipientItsSecondTryAtOnceOnTheOtherServer) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("452 full"));
    useBothServers();
    startSending();
    queueMail("mail", {"a@x", "b@x"});

    tick();

    const LogTexts log{serverA_};
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
    EXPECT_THAT(serverA_.mailsTaken().at(0).recipients, ElementsAre("a@x"));
    EXPECT_THAT(serverB_.mailsTaken().at(0).recipients, ElementsAre("b@x"));
    EXPECT_THAT(takeLog(),
                ElementsAre(log.retry("noc", "b@x"), log.refusal("noc", "b@x", "452 full"), willRetryNow(serverB_)));
    EXPECT_FALSE(client_.retryPending());
    EXPECT_EQ(client_.attempts(), 0u);
}

TEST_F(OrvCHClientSendTest, givesARefusedRecipientItsSecondTryOnTheSameServerWhenThereIsNoOther) {
    serverA_.answerRecipientOnce("b@x", ScriptedReply::line("452 full"));
    useServerA();
    startSending();
    queueMail("mail", {"a@x", "b@x"});

    tick();

    const LogTexts log{serverA_};
    ASSERT_EQ(serverA_.mailsTaken().size(), 2u);
    EXPECT_THAT(serverA_.mailsTaken()[1].recipients, ElementsAre("b@x"));
    EXPECT_THAT(takeLog(),
                ElementsAre(log.retry("noc", "b@x"), log.refusal("noc", "b@x", "452 full"), willRetryNow(serverA_)));
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
}

TEST_F(OrvCHClientSendTest, givesARecipientUpThatBothServersRefuse) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("452 full"));
    serverB_.answerRecipient("b@x", ScriptedReply::line("451 try again"));
    useBothServers();
    startSending();
    queueMail("mail", {"b@x"});

    tick();

    const LogTexts logA{serverA_};
    const LogTexts logB{serverB_};
    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 1"));
    EXPECT_THAT(takeLog(),
                ElementsAre(logA.noRecipient("noc"), logA.retry("noc", "b@x"), logA.refusal("noc", "b@x", "452 full"),
                            willRetryNow(serverB_), logB.noRecipient("noc"), logB.retryFailed("noc", "b@x"),
                            logB.refusal("noc", "b@x", "451 try again")));
}

TEST_F(OrvCHClientSendTest, cutsAnEntryOfTheThreadAt511Characters) {
    serverA_.answerRecipient("b@x", ScriptedReply::line("550 " + std::string(900, 'x')));
    useServerA();
    startSending();
    queueMail("mail", {"b@x"});

    tick();

    const std::string whole = LogTexts{serverA_}.refusal("noc", "b@x", "550 " + std::string(900, 'x'));
    const std::string prefix = entryLine(orv_log::kRecipientRefused, "");
    EXPECT_THAT(takeLog(), Contains(whole.substr(0, prefix.size() + 511)));
}

TEST_F(OrvCHClientSendTest, holdsAMailBackWhileTheIdentityIsReadAnew) {
    useServerA();
    startSending();
    queueMail("mail");
    ASSERT_EQ(identity_.readConfig(), 0);

    client_.oneSecondTick();

    ASSERT_TRUE(serverA_.waitUntil([&] { return serverA_.connections() == 1; }));
    EXPECT_EQ(serverA_.received(0), "") << "the connection waits for the identity";
    identityValues_.From = "new@example.com";
    applyIdentity();
    serveUntil([&] { return !client_.sendOutstanding(); });
    EXPECT_EQ(serverA_.mailsTaken().at(0).sender, "new@example.com");
}

TEST_F(OrvCHClientSendTest, tracesMessagesThatItDoesNotKnow) {
    OrvToMainMesg toMain(9);
    client_.handleMainMesg(&toMain);
    OrvToThreadMesg toThread(8);
    client_.handleThreadMesg(&toThread);

    EXPECT_THAT(recording_.takeTraces(),
                ElementsAre("OrvCHClient handleMainMesg: Unrecognized message ID [9] sent from child thread\n",
                            "OrvCHClient handleThreadMesg: Unrecognized message ID [8] sent from main thread\n"));
}

TEST_F(OrvCHClientSendTest, mailsWhatItHasAfterALongWaitWithoutServers) {
    startSending();
    queueMail("mail");
    tick(100);
    EXPECT_THAT(queue_.takeCalls(), IsEmpty());

    useServerA();
    tick();

    EXPECT_THAT(queue_.takeCalls(), ElementsAre("open mail", "delete mail 0"));
}
