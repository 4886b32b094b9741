#include "box/search/Judge.h"

#include "box/BoxDirectory.h"
#include "catalogue/OrvLogEntries.h"
#include "platform/wire/Wire.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace box {
namespace {

// A history in which nothing is wrong, until a test makes something so.
class JudgeTest : public testing::Test {
protected:
    JudgeTest() {
        facts_.now = 100 * kSecond;
        facts_.openDialogues = 1;
        facts_.root = directory_.path();
        std::filesystem::create_directories(send_);
        trace("peekOpen", "entry (0) opened in the send queue");
    }

    void mail(unsigned event) {
        judge_.mailTaken(facts_, {"switch@example.com", {Judge::kOperator}, "event number " + std::to_string(event)});
    }
    void log(int level, std::uint32_t number, const std::string& text) {
        LogEntry entry;
        entry.level = level;
        entry.number = number;
        entry.flags = kOrvOwnEntryFlags;
        entry.component = "OrvApp";
        entry.text = text;
        judge_.logged(facts_, entry);
    }
    void order(const std::vector<std::uint32_t>& words) {
        std::ofstream file(send_ + "/order", std::ios::binary);
        for (const std::uint32_t word : words) {
            file.write(reinterpret_cast<const char*>(&word), sizeof word);
        }
    }
    void trace(const std::string& method, const std::string& text) {
        const std::uint64_t second = 22 * 3600 + 13 * 60 + 20 + facts_.now / kSecond;  // of the day
        char time[32];
        std::snprintf(time, sizeof time, "%02u:%02u:%02u.000", static_cast<unsigned>(second / 3600 % 24),
                      static_cast<unsigned>(second / 60 % 60), static_cast<unsigned>(second % 60));
        judge_.written(facts_,
                       "11/14/2023 UTC " + std::string(time) + "  1001 OrvCHMesgQ " + method + ": " + text + "\n");
    }
    // The rule that was broken.
    std::string broken() const {
        const std::string& problem = judge_.problem();
        const std::size_t begin = problem.find(": ");
        return begin == std::string::npos ? "" : problem.substr(begin + 2, problem.find(": ", begin + 2) - begin - 2);
    }

    const BoxDirectory directory_{""};
    const std::string send_ = directory_.path() + "/ostrel/conf/orv/callHome/queues/send";
    Facts facts_;
    Judge judge_;
};

}  // namespace

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
    WireWriter out;
    judge_.encode(out);
    const auto bytes = out.take();
    WireReader in(bytes);
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

TEST_F(JudgeTest, seesAnOrderFileThatListsWhatIsNotThere) {
    order({1, 7});
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "files");
}

TEST_F(JudgeTest, excusesAFileOfWhichTheEventLogSaysThatItCouldNotBeWritten) {
    order({2, 7, 8});
    std::ofstream(send_ + "/m8") << "a message";
    facts_.failedCalls = 1;
    log(15, 0x8b000001u, "Unable to open file /ostrel/conf/orv/callHome/queues/send/m7 for writing");
    judge_.stepped(facts_);
    EXPECT_EQ(broken(), "");

    std::filesystem::remove(send_ + "/m8");
    judge_.stepped(facts_);
    EXPECT_EQ(broken(), "files");
}

TEST_F(JudgeTest, excusesTheFilesOfALifeThatFoundNoMemory) {
    order({1, 7});
    facts_.memoryFailed = true;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "");
}

TEST_F(JudgeTest, seesAMainThreadThatWaits) {
    judge_.mainWaits(facts_, "poll");
    EXPECT_EQ(broken(), "");
    judge_.mainWaits(facts_, "recv");

    EXPECT_EQ(broken(), "main thread");
}

TEST_F(JudgeTest, seesWhatNeverLeaves) {
    std::ofstream(send_ + "/m8") << "a message";
    judge_.finished(facts_);

    EXPECT_EQ(broken(), "leaves");
}

TEST_F(JudgeTest, letsStayWhatWasNamedAsUnreadable) {
    std::ofstream(send_ + "/m8") << "half a message";
    log(16, 0x8b000001u, "Error restoring message from /ostrel/conf/orv/callHome/queues/send/m8, ignoring");
    judge_.finished(facts_);
    EXPECT_EQ(broken(), "");

    std::ofstream(send_ + "/m9") << "a message";
    judge_.finished(facts_);

    EXPECT_EQ(broken(), "leaves");
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

TEST_F(JudgeTest, seesAChargeThatIsNotWhatTheFileStandsFor) {
    trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
    trace("addInternal",
          "entry (8) added to the send queue\n    init 0 0\n    send 1 600\n    duplicate 0 0\n    "
          "persist 0 0\n  Total   1 600");
    std::ofstream(send_ + "/m8") << "<OrvCHMesg>\n</OrvCHMesg>\n";
    order({1, 8});
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "bytes");
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

TEST_F(JudgeTest, seesACapturesMailThatIsNotWhole) {
    judge_.mailTaken(facts_, {"switch@example.com", {"a@example.com"}, "boundary=\"b\"\r\n\r\n--b\r\n\r\ntext\r\n"});

    EXPECT_EQ(broken(), "attachments");
}

TEST_F(JudgeTest, seesACaptureThatLeavesAFileOutThoughNothingHasFailed) {
    const std::string line = "11/14/2023 UTC 22:15:00.000  1001 OrvCHCapture execCapture: /a/logfile.gz is left out\n";
    facts_.anythingFailed = true;
    judge_.written(facts_, line);
    EXPECT_EQ(broken(), "");
    facts_.anythingFailed = false;

    judge_.written(facts_, line);
    EXPECT_EQ(broken(), "attachments");

    judge_ = Judge();
    judge_.toldToEnd(facts_);
    judge_.written(facts_, line);
    EXPECT_EQ(broken(), "");
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

TEST_F(JudgeTest, seesAnEntryThatIsNotRestored) {
    std::ofstream(send_ + "/m8") << "a message";
    judge_.begins(directory_.path());
    order({1, 8});
    trace("processInitQueue", "Entry");
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "restored");
}

TEST_F(JudgeTest, seesMoreFilesThatCannotBeReadThanThereWereKills) {
    const auto restoreNone = [this] {
        judge_.begins(directory_.path());
        trace("processInitQueue", "Entry");
        for (const char* const file : {"m1", "m8"}) {
            log(16, kOrvLogId, "Error restoring message from " + send_ + "/" + file + ", ignoring");
        }
        judge_.stepped(facts_);
    };
    std::ofstream(send_ + "/m1") << "half";
    std::ofstream(send_ + "/m8") << "half";
    order({2, 1, 8});
    judge_.ended(facts_, false);
    judge_.ended(facts_, false);
    restoreNone();
    EXPECT_EQ(broken(), "");

    judge_ = Judge();
    judge_.ended(facts_, false);
    restoreNone();
    EXPECT_EQ(broken(), "restored");

    std::ofstream(send_ + "/m8") << "<OrvCHMesg>\n<CronSeq>\n17\n";
    judge_ = Judge();
    judge_.ended(facts_, false);
    restoreNone();
    EXPECT_EQ(broken(), "") << "one is a capture";
}

TEST_F(JudgeTest, seesMemoryThatGrows) {
    for (facts_.objects = 100; facts_.objects < 110; ++facts_.objects) {
        judge_.stepped(facts_);
    }
    EXPECT_EQ(broken(), "");
    facts_.objects = 200;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "flat");
}

TEST_F(JudgeTest, seesDescriptorsThatGrow) {
    facts_.descriptors = 100;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "flat");
}

TEST_F(JudgeTest, seesFilesThatGrow) {
    facts_.files = 1000;
    judge_.stepped(facts_);

    EXPECT_EQ(broken(), "flat");
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
