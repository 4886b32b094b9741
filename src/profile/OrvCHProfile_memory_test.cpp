// What a profile does when there is no memory for an envelope.
#include "profile/FailingMemory.h"
#include "profile/OrvCHProfile.h"
#include "profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

TEST(OrvCHProfileMemory, raisesBothAlarmsAndMakesNoEnvelope) {
    RecordingSwitch recording;
    OrvCHProfile profile(0, recording.store());
    ASSERT_EQ(profile.addEmail("a@x"), 0);
    std::unique_ptr<OrvCHEnvelope> envelope;
    {
        const FailingMemory noMemory(FailingMemory::kNothrow);
        envelope = profile.envelopeFor(kOrvLevelNone, false);
        EXPECT_TRUE(noMemory.failed());
    }

    EXPECT_EQ(envelope, nullptr);
    EXPECT_EQ(profile.processedCount(), 0u);
    EXPECT_EQ(profile.processedLast(), "NotApplicable");
    EXPECT_THAT(recording.takeSent(), ElementsAre("alarm 0 10050034 System resource error - contact technical support",
                                                  "alarm 16 0 OrvApp - cannot allocate memory"));
    EXPECT_NE(profile.envelopeFor(kOrvLevelNone, false), nullptr);
}

// Whichever allocation fails, the profile counts only the envelopes that it gave away.
TEST(OrvCHProfileMemory, countsNothingThatItCouldNotFinish) {
    RecordingSwitch recording;
    OrvCHProfile profile(0, recording.store());
    ASSERT_EQ(profile.setName("a name that is too long for a short string"), -1);
    ASSERT_EQ(profile.setName("a name not kept in place"), 0);
    ASSERT_EQ(profile.addEmail("somebody@somewhere.example"), 0);
    bool failed = true;
    unsigned failures = 0;
    for (int after = 0; failed; ++after) {
        const FailingMemory noMemory(FailingMemory::kThrowing, after, 1);
        std::unique_ptr<OrvCHEnvelope> envelope;
        try {
            envelope = profile.envelopeFor(kOrvLevelNone, false);
        } catch (const std::bad_alloc&) {
            ++failures;
        }
        failed = noMemory.failed();
        EXPECT_EQ(envelope == nullptr, failed);
        EXPECT_EQ(profile.processedCount(), failed ? 0u : 1u);
    }
    EXPECT_GE(failures, 3u);
}

}  // namespace
