// What the judge says of files: the queue's, a capture's, and that neither they nor memory grow.
#include "catalogue/OrvLogEntries.h"
#include "testing/box/JudgeTest.h"

namespace box {

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

}  // namespace box
