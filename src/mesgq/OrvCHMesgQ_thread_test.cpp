// A program of its own, in which nothing forks: the emulator of the target cannot do both reliably.
#include "testing/mesgq/MesgQTest.h"

#include <atomic>
#include <cstddef>
#include <thread>

namespace {

class OrvCHMesgQThreadTest : public MesgQTest {
protected:
    OrvCHMesgQThreadTest() {
        for (const char* directory : {kSendDir, kDuplicateDir, kPersistDir}) {
            switch_.root().write(std::string(directory) + "/order", "");  // opens without a shell
        }
        open();
    }
};

TEST_F(OrvCHMesgQThreadTest, sharesAnOpenMessageWithTheSendThreadUnderItsLock) {
    add("one");
    OrvCHMesg* const shared = queue_->peekOpen();
    std::atomic<bool> done{false};
    std::size_t read = 0;
    std::thread sender([&] {
        OrvCHEnvelope& envelope = *shared->Envelopes.front();
        while (!done) {
            const Mt::Lock lock(shared->lock());
            read += shared->DuplicateTime.size() + static_cast<std::size_t>(shared->DuplicateCount);
            envelope.setRecipientMark(envelope.recipientMark() == OrvCHEnvelope::kNoMark ? OrvCHEnvelope::kDelivered
                                                                                         : OrvCHEnvelope::kNoMark);
        }
    });
    for (int i = 0; i < 50; ++i) {
        add("one");
        queue_->clearQueue();
        switch_.clock().advance(1000);
    }
    done = true;
    sender.join();
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).duplicatesPending, 50u);
    EXPECT_EQ(queue_->peekDelete(shared, 0), 0);
    EXPECT_EQ(shared->DuplicateCount, 50);
}

}  // namespace
