// What a profile does when there is no memory for an envelope.
#include "profile/OrvProfileReader.h"
#include "testing/FailingCalls.h"
#include "testing/profile/RecordingSwitch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

TEST(OrvCHProfileMemory, raisesBothAlarmsAndMakesNoEnvelope) {
    RecordingSwitch recording;
    OrvCHProfile profile(0);
    ASSERT_EQ(profile.addEmail("a@x"), 0);
    std::unique_ptr<OrvCHEnvelope> envelope;
    {
        const FailingMemory noMemory(MemoryFaults::kNothrow);
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
    OrvCHProfile profile(0);
    ASSERT_EQ(profile.setName("a name that is too long for a short string"), -1);
    ASSERT_EQ(profile.setName("a name not kept in place"), 0);
    ASSERT_EQ(profile.addEmail("somebody@somewhere.example"), 0);
    bool failed = true;
    unsigned failures = 0;
    for (unsigned after = 0; failed; ++after) {
        const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
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

// Whether one of these lines holds this text.
bool tells(const std::vector<std::string>& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(),
                       [&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

struct Answer {
    int (OrvProfileReader::*process)(std::span<const DsEntry> entries, std::span<const std::int32_t> statuses);
    std::vector<DsEntry> entries;
};

DsEntry value(const std::string& key, const std::string& text) {
    return {key, dsClient::TYPE_STRING, text};
}

// The read goes on to its marker, unless the failure kept a request from being sent.
TEST(OrvCHProfileMemory, endsItsReadWhicheverAllocationFailsInAValue) {
    const std::string key = "Global.CallhomeDB.Profile.0.";
    const std::vector<Answer> answers{
        {&OrvProfileReader::processInitialConfigBulk,
         {value("Global.CallhomeDB.ProfileList.0", "a name not kept in place"), value(key + "Level", "Fault"),
          value(key + "Format", "a format not kept in place"), value(key + "MaxSize", "5000"),
          value(key + "EmailSubject", "a subject not kept in place"), value(key + "NumberOfEmails", "1"),
          value(key + "CaptureEnable", "True"), value(key + "CaptureEntries", "1")}},
        {&OrvProfileReader::processEmailConfigBulk, {value(key + "EmailList.0", "somebody@somewhere.example")}},
        {&OrvProfileReader::processCaptureTypesBulk, {value(key + "Capture.0.Type", "Cron")}},
        {&OrvProfileReader::processCaptureAttrsBulk,
         {value(key + "Capture.0.DayOfWeek", "Fri"), value(key + "Capture.0.TimeOfDay", "17:05"),
          value(key + "Capture.0.Interval", "2")}}};
    const std::vector<std::int32_t> statuses(8, 0);
    RecordingSwitch recording;
    unsigned ended = 0;  // in spite of a failure
    for (std::size_t which = 0; which < answers.size(); ++which) {
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            SCOPED_TRACE(std::to_string(which) + "/" + std::to_string(after));
            OrvCHProfile profile(0);
            OrvProfileReader reader(profile, recording.store());
            ASSERT_EQ(reader.readInitialConfig(), 0);
            recording.takeSent();
            failed = false;
            bool unsent = false;
            for (std::size_t i = 0; i < answers.size() && !unsent; ++i) {
                const std::span<const DsEntry> entries = answers[i].entries;
                const FailingMemory memory(MemoryFaults::kThrowing, i == which ? after : 1000000, 1);
                try {
                    unsent = (reader.*answers[i].process)(entries, statuses) < 0;
                } catch (const std::bad_alloc&) {
                    ADD_FAILURE() << "the answer is given up";
                }
                failed |= memory.failed();
            }
            const std::vector<std::string> sent = recording.takeSent();
            if (unsent) {
                EXPECT_TRUE(tells(sent, "Error reading DS bulk data entries") ||
                            tells(sent, "writeMarkerData() - DS error") || tells(sent, "problem reading"));
                continue;
            }
            ended += failed;
            EXPECT_TRUE(tells(sent, "set 10 ")) << "no marker";
        }
    }
    EXPECT_GE(ended, 3u);
}

}  // namespace
