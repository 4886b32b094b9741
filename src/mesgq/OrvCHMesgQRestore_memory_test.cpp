// A start of the queue when memory runs out: what is on flash is restored, or left there and named.
#include "testing/mesgq/MesgQMemoryTest.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace {

using testing::Contains;

// A start with two entries on flash for which so many allocations fail from the nth on. What failed is reported.
class OrvCHMesgQStartMemoryTest : public OrvCHMesgQMemoryTest {
protected:
    bool startWithout(unsigned nth, unsigned count) {
        wipeForAStart();
        for (const auto& [path, text] : kFiles) {
            switch_.root().write(path, messageFile(text) + stateBlock());
        }
        const FailingMemory failing(MemoryFaults::kObjects, nth - 1, count);
        queue_->oneSecondChores();
        return failing.failed();
    }
    Texts restored() const {
        Texts found = texts(ORV_CH_MESG_Q_SEND);
        std::ranges::sort(found);
        return found;
    }
    void goesOn() {
        ASSERT_TRUE(queue_->openForBusiness());
        EXPECT_EQ(queue_->statistics().reconstituted, queue_->sendCount());
        checkConsistency(false);
        EXPECT_EQ(add("later"), 0);
        EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), Contains("later"));
        mailNext();
        takeTexts();
    }

    const std::pair<std::string, std::string> kFiles[2] = {{std::string(kSendDir) + "/m0", "one"},
                                                           {std::string(kSendDir) + "/m1", "two"}};
};

TEST_F(OrvCHMesgQStartMemoryTest, aMomentWithoutMemoryCostsAStartNothing) {
    bool failed = true;
    unsigned nth = 0;
    while (failed) {
        SCOPED_TRACE(++nth);
        failed = startWithout(nth, 1);
        EXPECT_EQ(restored(), (Texts{"one", "two"}));
        const Texts said = takeTexts();
        EXPECT_LE(std::ranges::count(said, "OrvApp - cannot allocate memory"), 1);
        EXPECT_EQ(std::ranges::count(said, "Unable to allocate memory"), 0) << "nothing was left out";
        EXPECT_LE(said.size(), 3u);
        goesOn();
    }
    EXPECT_GT(nth, 50u);
}

// To name what is left out takes memory, too: that is the test after this one.
TEST_F(OrvCHMesgQStartMemoryTest, aStartThatFindsNoMemoryForLongerGoesOnAndLeavesTheFiles) {
    unsigned leftOut = 0;
    for (const unsigned count : {5u, 50u}) {
        bool failed = true;
        for (unsigned nth = 1; failed; nth += 3) {
            SCOPED_TRACE(nth);
            failed = startWithout(nth, count);
            for (const auto& [path, text] : kFiles) {
                EXPECT_TRUE(switch_.root().exists(path)) << "the next start may find memory for it";
                leftOut += std::ranges::count(restored(), text) == 0;
            }
            goesOn();
        }
    }
    EXPECT_GT(leftOut, 10u);
}

TEST_F(OrvCHMesgQMemoryTest, aFileThatFindsNoMemoryIsNamedLikeOneThatCannotBeRestored) {
    const std::string path = std::string(kSendDir) + "/m7";
    wipeForAStart();
    switch_.root().write(path, messageFile("one") + stateBlock());
    takeTrace();
    {
        const FailingAllocation failing(sizeof(OrvCHMesg), sizeof(OrvCHMesg));
        queue_->oneSecondChores();
    }
    EXPECT_EQ(takeTexts(),
              (Texts{"Unable to open file " + std::string(kSendDir) + "/order",
                     "System resource error - contact technical support", "OrvApp - cannot allocate memory",
                     "Error restoring message from " + path + ", ignoring"}));
    EXPECT_THAT(takeTrace(),
                Contains("reconstituteMsgFromFile: Problem restoring msg 7 from file " + path + ", ignoring\n"));
    EXPECT_EQ(queue_->sendCount(), 0u);
}

// The failure of a call is told before or after a moment without memory, not both times.
TEST_F(OrvCHMesgQStartMemoryTest, aFailureThatMeetsAMomentWithoutMemoryIsToldOnce) {
    const std::string kEntry = std::string(kSendDir) + "/m0";
    struct Row {
        const char* call;
        const char* part;
        int error;
        unsigned spared;
        std::string text;
    };
    const Row kRows[] = {{"openUnlinked", "/orv-queue-order", EACCES, 1, "Unable to open file /tmp/orv-queue-order"},
                         {"openUnlinked", "/m0", EACCES, 1, "Error opening " + kEntry + " for reading, ignoring"},
                         {"fclose", "/m0", EIO, 0, "Error closing " + kEntry}};
    for (const Row& row : kRows) {
        bool failed = true;
        for (unsigned nth = 1; failed; ++nth) {
            SCOPED_TRACE(row.text + ", " + std::to_string(nth));
            {
                const FailingCall failing(row.call, row.part, row.error, row.spared);
                failed = startWithout(nth, 1);
            }
            const Texts said = takeTexts();
            const auto otherListings = std::ranges::count(said, "Unable to allocate memory (4 bytes)");
            EXPECT_LE(std::ranges::count(said, row.text), 1 + otherListings) << testing::PrintToString(said);
        }
    }
}

TEST_F(OrvCHMesgQMemoryTest, anEntryThatFindsNoMemoryAtAStartIsToldOnce) {
    const std::string path = std::string(kSendDir) + "/m7";
    wipeForAStart();
    switch_.root().write(path, messageFile("one") + stateBlock());
    {
        const FailingAllocation failing(sizeof(OrvCHMesgQEntry), sizeof(OrvCHMesgQEntry));
        queue_->oneSecondChores();
    }
    EXPECT_EQ(takeTexts(),
              (Texts{"Unable to open file " + std::string(kSendDir) + "/order", "Unable to allocate memory",
                     "Unable to add message from file " + path + " to queue"}));
    EXPECT_EQ(queue_->sendCount(), 0u);
}

TEST_F(OrvCHMesgQMemoryTest, aQueueThatFindsNoMemoryTwiceIsLeftOutAndNamedOnce) {
    for (const char* directory : {kDuplicateDir, kSendDir, kPersistDir}) {
        wipeForAStart();
        switch_.root().write(std::string(kSendDir) + "/order", "");
        takeTrace();
        const std::string order = std::string(directory) + "/order";
        {
            const FailingAllocation failing(order.size() + 1, order.size() + 1);
            queue_->oneSecondChores();
        }
        EXPECT_TRUE(queue_->openForBusiness());
        const std::string kAlarm = "System resource error - contact technical support";
        const std::string kNoMemory = "OrvApp - cannot allocate memory";
        EXPECT_EQ(takeTexts(),
                  (Texts{kAlarm, kNoMemory, std::string("Error restoring messages from ") + directory + ", ignoring"}));
        EXPECT_THAT(takeTrace(), Contains(std::string("reconstituteQueue: Problem restoring the queue from ") +
                                          directory + ", ignoring\n"));
    }
}

}  // namespace
