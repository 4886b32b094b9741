// Events and their profiles without a controller: a set-up that a test writes, and a real queue behind.
#include "Sw_Log_Type.h"
#include "callhome/OrvCHIncoming.h"
#include "dbg/OrvEventLog.h"
#include "testing/mesgq/MesgQTest.h"

namespace {

class OrvCHMatchingTest : public MesgQTest {
protected:
    OrvCHMatchingTest() {
        open();
        setUp_.readyForMessage = true;
        addProfile("Operators", "Alarm");
        addProfile("Everybody", "Info");
    }
    void addProfile(const char* name, const char* level) {
        auto profile = std::make_unique<OrvCHProfile>(static_cast<std::uint32_t>(setUp_.profiles.size()));
        EXPECT_EQ(profile->setName(name), 0);
        EXPECT_EQ(profile->setLevel(level), 0);
        EXPECT_EQ(profile->addEmail("somebody@example.com"), 0);
        setUp_.profiles.push_back(std::move(profile));
    }
    int take(std::int32_t kind, std::uint32_t flags = 0) {
        Sw_Log_Type record;
        record.kind = kind;
        record.number = 0x00010000u + ++events_;
        record.flags = flags;
        record.text = "text";
        return incoming_.takeLogEvent(record.encode());
    }
    std::size_t queued() const { return texts(ORV_CH_MESG_Q_SEND).size(); }
    // The profiles of the newest message on the queue.
    Texts profiles() const {
        Texts names;
        for (const auto& envelope : entry(ORV_CH_MESG_Q_SEND, queued() - 1).message->Envelopes) {
            names.push_back(envelope->ProfileName);
        }
        return names;
    }

    OrvCHSetUp setUp_;
    OrvCHIncoming incoming_{setUp_, *queue_, responses_};
    std::uint32_t events_ = 0;
};

TEST_F(OrvCHMatchingTest, everyProfileWhoseLevelIsReachedGetsItsEnvelope) {
    EXPECT_EQ(take(0), 0);
    EXPECT_EQ(profiles(), (Texts{"Operators", "Everybody"}));
    EXPECT_EQ(take(3), 0);
    EXPECT_EQ(profiles(), Texts{"Everybody"});
}

TEST_F(OrvCHMatchingTest, whatNobodyWantsIsNotQueued) {
    setUp_.profiles.pop_back();
    EXPECT_EQ(take(3), 0);
    EXPECT_EQ(queued(), 0u);
}

TEST_F(OrvCHMatchingTest, onlyForeignEntriesOfThreeKindsCountAndOnlyUnderAllConditions) {
    for (const std::int32_t kind : {1, 4, -1}) {
        EXPECT_EQ(take(kind), 0);
    }
    EXPECT_EQ(take(0, kOrvOwnEntryFlags), 0);
    for (std::size_t bit = 0; bit < OrvCHSetUp::kStarted; ++bit) {
        setUp_.condition.reset(bit);
        EXPECT_EQ(take(0), 0);
        setUp_.condition.set(bit);
    }
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(take(2), 0);
    EXPECT_EQ(queued(), 1u);
}

// Nothing in a daemon clears the last condition; the ring is there for one that does.
TEST_F(OrvCHMatchingTest, eventsOfADaemonThatHasNotStartedAreKeptForThatMomentIfNothingElseIsMissing) {
    setUp_.condition.reset(OrvCHSetUp::kStarted);
    EXPECT_EQ(take(0), 0);
    setUp_.condition.reset(OrvCHSetUp::kServersUsable);
    EXPECT_EQ(take(0), 0);
    EXPECT_EQ(queued(), 0u);
    setUp_.condition.set(OrvCHSetUp::kServersUsable);
    setUp_.condition.set(OrvCHSetUp::kStarted);

    incoming_.processIncomingLogEventQ();

    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(profiles(), (Texts{"Operators", "Everybody"}));
    incoming_.processIncomingLogEventQ();
    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCHMatchingTest, messagesWaitForTheProfilesAndTheQueue) {
    setUp_.readyForMessage = false;
    EXPECT_EQ(take(0), 0);
    setUp_.readyForMessage = true;
    queue_->setSyncInProgress(true);
    EXPECT_EQ(incoming_.processIncomingMesgQ(), 0);
    EXPECT_EQ(queued(), 0u);
    queue_->setSyncInProgress(false);
    EXPECT_EQ(incoming_.processIncomingMesgQ(), 0);
    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCHMatchingTest, theSwitchsStateIsAMessageOnceAndOnlyWhereTheServiceIsAllowed) {
    setUp_.condition.reset(OrvCHSetUp::kServiceEnabled);
    EXPECT_EQ(incoming_.setSwitchState("Offline"), 0);
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(incoming_.switchOperState(), "Offline");
    setUp_.condition.set(OrvCHSetUp::kServiceEnabled);
    EXPECT_EQ(incoming_.setSwitchState("Online"), 0);
    EXPECT_EQ(incoming_.setSwitchState("Online"), 0);
    EXPECT_EQ(queued(), 1u);
}

TEST_F(OrvCHMatchingTest, aTestGoesToItsProfileWhateverTheLevelOrIsRefused) {
    EXPECT_EQ(incoming_.queueTestMesg("Operators"), 0);
    EXPECT_EQ(profiles(), Texts{"Operators"});
    EXPECT_EQ(incoming_.queueTestMesg("Nobody"), 0);
    EXPECT_EQ(queued(), 1u);
    setUp_.condition.reset(OrvCHSetUp::kServersUsable);

    EXPECT_EQ(incoming_.queueTestMesg("Operators"), 0);

    switch_.pump();
    EXPECT_EQ(switch_.eventLog().back(),
              (LogLine{2, 0x8b000006u,
                       "Unable to test profile Operators because the SMTP addresses are defaults or disabled in the "
                       "CallHome setup"}));
    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Operators", 1}}));
}

}  // namespace
