// What waits while a copy of the files to the standby is running, and what is made up for afterwards.
#include "testing/mesgq/MesgQTest.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class OrvCHMesgQSyncTest : public MesgQTest {
protected:
    OrvCHMesgQSyncTest() { open(); }

    std::string shownByTheProbe() {
        takeTrace();
        queue_->probe();
        return takeTrace().at(1);
    }
};

TEST_F(OrvCHMesgQSyncTest, aConfigurationReadPutsTheFlushOffUntilTheEnd) {
    park("counted");
    add("counted");
    park("silent");
    queue_->setSyncInProgress(true);
    EXPECT_EQ(queue_->readConfig(), 0);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), (Texts{"counted", "silent"}));
    EXPECT_TRUE(entry(ORV_CH_MESG_Q_DUPLICATE, 0).dupEligible);
    EXPECT_THAT(shownByTheProbe(), HasSubstr("  pendingDuplicateFlush           = true\n"));

    queue_->setSyncInProgress(false);
    queue_->oneSecondChores();
    EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"counted"});
    EXPECT_THAT(shownByTheProbe(), HasSubstr("  pendingDuplicateFlush           = false\n"));
}

TEST_F(OrvCHMesgQSyncTest, aConfigurationReadThatCannotBeSentAsksForNoFlush) {
    park("one");
    queue_->setSyncInProgress(true);
    component_.remove();
    EXPECT_EQ(queue_->readConfig(), -1);
    EXPECT_THAT(shownByTheProbe(), HasSubstr("  pendingDuplicateFlush           = false\n"));
    EXPECT_THAT(takeTrace(), Not(testing::Contains("flushDuplicateQueue: Entry\n")));
}

TEST_F(OrvCHMesgQSyncTest, aMarkedEntryGivenBackKeepsItsFile) {
    add("one");
    OrvCHMesg* const next = queue_->peekOpen();
    queue_->clearQueue();
    queue_->setSyncInProgress(true);
    EXPECT_EQ(queue_->peekClose(next), 0);
    EXPECT_EQ(switch_.root().read(std::string(kSendDir) + "/m0"), messageFile("one") + stateBlock(0, 1));
    checkConsistency();
}

}  // namespace
