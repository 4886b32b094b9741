#include "catalogue/OrvLogEntries.h"
#include "platform/wire/Fields.h"
#include "testing/box/JudgeTest.h"

#include <set>

namespace box {

TEST_F(JudgeTest, hasNothingToSayAgainstAMailOfAnEvent) {
    judge_.published(3);
    mail(3);
    judge_.stepped(facts_);
    judge_.finished(facts_);

    EXPECT_EQ(judge_.problem(), "");
}

TEST_F(JudgeTest, seesAnEntryThatIsInNoCatalogue) {
    log(2, 0x8b000014u, "Successful recovery of SMTP communications");
    EXPECT_EQ(broken(), "");
    log(2, 0x8b000001u, "Something else");

    EXPECT_EQ(broken(), "catalogue");
}

TEST_F(JudgeTest, seesAnEntryThatTellsOfAFailureWhereThereWasNone) {
    facts_.failedCalls = 1;
    log(16, 0, "Error returned from ready_for_conf()");
    EXPECT_EQ(broken(), "");
    facts_.failedCalls = 0;
    log(16, 0, "Error returned from ready_for_conf()");

    EXPECT_EQ(broken(), "cause");
}

TEST_F(JudgeTest, seesAMailOfAnEventThatThereNeverWas) {
    judge_.published(3);
    mail(4);

    EXPECT_EQ(broken(), "known");
}

TEST_F(JudgeTest, seesTwoDialoguesAtATime) {
    judge_.published(3);
    facts_.openDialogues = 2;
    mail(3);

    EXPECT_EQ(broken(), "one dialogue");
}

TEST_F(JudgeTest, seesAMailThatComesTwice) {
    judge_.published(3);
    judge_.published(3);
    mail(3);
    mail(3);
    EXPECT_EQ(broken(), "");
    mail(3);

    EXPECT_EQ(broken(), "doubles");
}

TEST_F(JudgeTest, allowsADoubleForEachEndOfALifeAndEachFailure) {
    facts_.lives = 2;
    facts_.troubles = 1;
    facts_.failedCalls = 1;
    facts_.failedAllocations = 1;
    judge_.published(3);
    for (unsigned i = 0; i < 5; ++i) {
        mail(3);
    }
    EXPECT_EQ(broken(), "");
    mail(3);

    EXPECT_EQ(broken(), "doubles");
}

TEST_F(JudgeTest, seesAMailThatComesAgainAfterAnOrderlyEnd) {
    facts_.troubles = 5;  // which would allow for five
    trace("peekClose", "entry (0) has not completed processing, leave it on the send queue");
    trace("peekOpen", "entry (0) opened in the send queue");
    judge_.published(3);
    mail(3);
    judge_.toldToEnd(facts_);
    judge_.ended(facts_, true);
    ++facts_.lives;
    FieldWriter out;
    judge_.encode(out);
    const auto bytes = out.take();
    FieldReader in(bytes);
    judge_ = Judge();
    judge_.decode(in);
    trace("peekOpen", "entry (0) opened in the send queue");
    EXPECT_EQ(broken(), "");
    mail(3);

    EXPECT_EQ(broken(), "doubles");
}

TEST_F(JudgeTest, seesALifeThatEndsThoughNobodyHasToldIt) {
    judge_.ended(facts_, false);
    EXPECT_EQ(broken(), "") << "killed";

    judge_.ended(facts_, true);

    EXPECT_EQ(broken(), "ends");
}

TEST_F(JudgeTest, letsALifeEndWhoseCallsHaveFailed) {
    facts_.anythingFailed = true;

    judge_.ended(facts_, true);

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, allowsADoubleAfterAKillThatMeetsAnEnd) {
    judge_.published(3);
    mail(3);
    judge_.toldToEnd(facts_);
    judge_.ended(facts_, false);
    ++facts_.lives;
    mail(3);

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, allowsNoDoubleForAnOrderlyEnd) {
    judge_.toldToEnd(facts_);
    judge_.ended(facts_, true);
    ++facts_.lives;
    judge_.published(3);
    mail(3);
    mail(3);

    EXPECT_EQ(broken(), "doubles");
}

TEST_F(JudgeTest, seesAMainThreadThatWaits) {
    judge_.mainWaits(facts_, "poll");
    EXPECT_EQ(broken(), "");
    judge_.mainWaits(facts_, "recv");

    EXPECT_EQ(broken(), "main thread");
}

TEST_F(JudgeTest, seesAMailOfNoOpenEntry) {
    trace("peekClose", "entry (0) has not completed processing, leave it on the send queue");
    judge_.published(3);
    mail(3);

    EXPECT_EQ(broken(), "books");
}

TEST_F(JudgeTest, leavesTheBooksWhereFailuresMayHaveSilencedTheTraces) {
    facts_.anythingFailed = true;
    judge_.published(3);
    judge_.published(4);
    mail(3);
    mail(4);
    trace("addInternal", "entry (0) added to the send queue");

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, seesTheMailsOfTwoEntriesWithoutATraceInBetween) {
    judge_.published(3);
    judge_.published(4);
    mail(3);
    mail(4);

    EXPECT_EQ(broken(), "books");
}

TEST_F(JudgeTest, seesWhatTheBooksMiss) {
    trace("addInternal", "entry (0) added to the send queue");

    EXPECT_EQ(broken(), "books");
}

TEST_F(JudgeTest, seesARequestOfAWrongLengthThatNobodyNames) {
    judge_.askedWrongly(facts_, true);
    log(15, kOrvLogId, "Error in ORV_API_MSG_CH_CHANGEOVER_CMD message");
    facts_.now += 10 * kSecond;
    judge_.stepped(facts_);
    EXPECT_EQ(broken(), "");
    judge_.askedWrongly(facts_, true);
    facts_.now += 10 * kSecond;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "named");
}

TEST_F(JudgeTest, letsADaemonThatIsNotFreeNameARequestOrNot) {
    judge_.askedWrongly(facts_, false);
    judge_.askedWrongly(facts_, false);
    log(15, kOrvLogId, "Error in ORV_API_MSG_CH_CHANGEOVER_CMD message");
    facts_.now += 10 * kSecond;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, seesAGoodRequestThatIsNamedAsAWrongOne) {
    log(15, kOrvLogId, "Error in ORV_API_MSG_CH_CHANGEOVER_CMD message");

    EXPECT_EQ(broken(), "named");
}

TEST_F(JudgeTest, seesALineToAServerThatLeavesNoTrace) {
    trace("sendRequest", "SMTP Send (incl CRLF) {RCPT TO:<a@example.com>\r\n}");
    judge_.clientSteps(facts_, ClientStep::kSends, "RCPT TO:<a@example.com>\r\n");
    EXPECT_EQ(broken(), "");
    judge_.clientSteps(facts_, ClientStep::kSends, "RCPT TO:<b@example.com>\r\n");

    EXPECT_EQ(broken(), "said");
}

TEST_F(JudgeTest, seesAForgottenRecipient) {
    trace("sendRequest", "SMTP Send (incl CRLF) {RCPT TO:<a@example.com>\r\n}");
    judge_.clientSteps(facts_, ClientStep::kSends, "RCPT TO:<a@example.com>\r\n");
    trace("peekDelete", "entry (0) has completed processing, (duplicates not allowed) remove it");
    judge_.mainWaits(facts_, "poll");

    EXPECT_EQ(broken(), "recipients");
}

TEST_F(JudgeTest, knowsARecipientWhoseLineIsSentInPieces) {
    trace("sendRequest", "SMTP Send (incl CRLF) {RCPT TO:<a@example.com>\r\n}");
    for (const char* const piece : {"RC", "PT TO:<a@exam", "ple.com>\r\n"}) {
        judge_.clientSteps(facts_, ClientStep::kSends, piece);
    }
    EXPECT_EQ(broken(), "");
    trace("peekDelete", "entry (0) has completed processing, (duplicates not allowed) remove it");
    judge_.mainWaits(facts_, "poll");

    EXPECT_EQ(broken(), "recipients");
    EXPECT_NE(judge_.problem().find("recipients: a@example.com neither"), std::string::npos) << judge_.problem();
}

TEST_F(JudgeTest, takesAnEntryOfTheEventLogForARecipientsAnswer) {
    trace("sendRequest", "SMTP Send (incl CRLF) {RCPT TO:<a@example.com>\r\n}");
    judge_.clientSteps(facts_, ClientStep::kSends, "RCPT TO:<a@example.com>\r\n");
    log(3, 0x8b000019u,
        "CallHome message send for profile P to recipient a@example.com failed on SMTP server s, port 25. Retry will "
        "not "
        "be attempted, ignoring recipient.");
    trace("peekDelete", "entry (0) has completed processing, (duplicates not allowed) remove it");
    judge_.mainWaits(facts_, "poll");

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, seesAnEventThatNeverComesToTheQueue) {
    judge_.expectsMessage(facts_);
    judge_.expectsMessage(facts_);
    trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
    judge_.stepped(facts_);
    EXPECT_EQ(broken(), "") << "its way has not ended yet";

    facts_.now += kSecond;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "received");
}

TEST_F(JudgeTest, seesARequestWithoutAnAnswer) {
    judge_.asked(facts_);
    judge_.answered();
    judge_.asked(facts_);
    judge_.stepped(facts_);
    EXPECT_EQ(broken(), "") << "it may be on its way";

    facts_.now += kSecond;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "answers");
}

TEST_F(JudgeTest, seesATraceOfAnotherTime) {
    judge_.written(facts_, "11/14/2023 UTC 22:15:00.000  1001 OrvApp main: on time\n");
    EXPECT_EQ(broken(), "");

    judge_.written(facts_,
                   "11/14/2023 UTC 22:15:00.000  1001 OrvApp main: two\nlines\n"
                   "11/14/2023 UTC 22:14:59.999  1001 OrvApp main: late\n");

    EXPECT_EQ(broken(), "clock");
}

TEST_F(JudgeTest, missesNoEventThatCameToTheQueueOrMayHaveFailed) {
    judge_.expectsMessage(facts_);
    trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
    facts_.now += kSecond;
    judge_.stepped(facts_);

    judge_.expectsMessage(facts_);
    facts_.now += kSecond;
    facts_.anythingFailed = true;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, seesAPauseThatIsNoneOfTheSequence) {
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 300 seconds");

    EXPECT_EQ(broken(), "delays");
}

TEST_F(JudgeTest, takesThePauseOfAMessageThatIsPutOffForItsOwn) {
    const std::string announced = "Will retry via SMTP server=s, port=25, after 300 seconds";
    trace("handleSucceedMesg", announced);
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 300 seconds");
    judge_.clientSteps(facts_, ClientStep::kConnects, "192.0.2.1:25");
    EXPECT_EQ(broken(), "");

    trace("handleFailMesg", announced);
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 300 seconds");
    EXPECT_EQ(broken(), "delays");
}

TEST_F(JudgeTest, doesNotJudgeAPauseWhoseTraceIsLost) {
    facts_.anythingFailed = true;
    trace("handleFailMesg", "Will retry via SMTP server=s, port=25, after 5 seconds");
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 5 seconds");
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 5 seconds");
    judge_.clientSteps(facts_, ClientStep::kConnects, "192.0.2.1:25");

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, judgesAPauseWhoseTraceIsThereWhateverFailed) {
    facts_.anythingFailed = true;
    trace("handleFailMesg", "Will retry via SMTP server=s, port=25, after 5 seconds");
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 5 seconds");
    judge_.clientSteps(facts_, ClientStep::kConnects, "192.0.2.1:25");

    EXPECT_EQ(broken(), "delays");
}

TEST_F(JudgeTest, seesRetriesThatAreGivenUpWhileAMessageWaits) {
    const std::string empty = "Message queue is empty, cancelling attempts to retry sending last message";
    log(3, 0x8b00000eu, empty);
    EXPECT_EQ(broken(), "");

    trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
    trace("addInternal",
          "entry (0) added to the send queue\n  Queue             Count  Space Used\n    init                0  "
          "         0\n    send                1         600\n    duplicate           0           0\n    "
          "persist             0           0\n  Total                 1         600");
    log(3, 0x8b00000eu, empty);

    EXPECT_EQ(broken(), "delays");
}

TEST_F(JudgeTest, seesARetryThatComesTooEarly) {
    log(3, 0x8b00000fu, "Will retry sending via SMTP server=s, port=25, after 5 seconds");
    facts_.now += 3 * kSecond;
    judge_.clientSteps(facts_, ClientStep::kConnects, "192.0.2.1:25");

    EXPECT_EQ(broken(), "delays");
}

TEST_F(JudgeTest, hasATestForEachRule) {
    const std::set<std::string> tested{"catalogue", "known",   "doubles",     "one dialogue", "files",    "main thread",
                                       "leaves",    "books",   "delays",      "recipients",   "restored", "flat",
                                       "received",  "answers", "attachments", "clock",        "cause",    "named",
                                       "said",      "bytes",   "ends"};
    for (const Judge::Rule& rule : Judge::rules()) {
        EXPECT_TRUE(tested.contains(rule.name)) << rule.name;
    }
}

}  // namespace box
