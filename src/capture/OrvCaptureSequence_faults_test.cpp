// The sequence number's file when any one of its calls fails, or is the process's last.
#include "capture/OrvCaptureSequence.h"
#include "mesg/OrvSequenceSource.h"
#include "testing/FailingCalls.h"
#include "testing/profile/RecordingSwitch.h"
#include "word_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

namespace {

constexpr char kPath[] = "/ostrel/conf/orv/callHome/capture.seq";

class OrvCaptureSequenceFaults : public testing::Test {
protected:
    void write(std::uint32_t number) {
        std::array<std::uint8_t, 4> bytes{};
        storeNative32(bytes, number);
        root_.write(kPath, {bytes.begin(), bytes.end()});
    }

    RecordingSwitch switch_;
    TempRoot& root_ = switch_.root();
};

TEST_F(OrvCaptureSequenceFaults, goesOnWithTheOldOrTheNewNumberAfterAKillAtAnyCall) {
    unsigned kills = 0;
    for (bool killed = true; killed; ++kills) {
        write(41);

        killed = killedAt(kills + 1, root_.path(), [] { OrvCaptureSequence().nextSequence(); });

        const OrvCaptureSequence sequence;
        EXPECT_THAT(sequence.last(), testing::AnyOf(41u, 42u)) << kills;
        EXPECT_EQ(std::filesystem::file_size(root_.at(kPath)), 4u) << kills;
    }
    EXPECT_GT(kills, 6u);
}

TEST_F(OrvCaptureSequenceFaults, startsAfterAFirstStartThatWasKilledAtAnyCall) {
    unsigned kills = 0;
    for (bool killed = true; killed; ++kills) {
        killed = killedAt(kills + 1, root_.path(), [] { OrvCaptureSequence(); });

        EXPECT_EQ(OrvCaptureSequence().last(), 0u) << kills;
        EXPECT_FALSE(root_.exists(std::string(kPath) + ".new")) << kills;
        std::filesystem::remove(root_.at(kPath));
    }
    EXPECT_GT(kills, 8u);
}

TEST_F(OrvCaptureSequenceFaults, startsAgainWhicheverCallFailsWhileANumberIsKept) {
    for (const int error : {ENOSPC, EIO, EMFILE, EINTR}) {
        bool failed = true;
        for (unsigned nth = 1; failed; ++nth) {
            write(41);
            OrvCaptureSequence sequence;
            std::uint32_t number = 42;
            {
                const FailingNth fault(nth, root_.path(), error);
                try {
                    number = sequence.nextSequence();
                } catch (const OrvFileError&) {
                    EXPECT_EQ(errno, error) << nth;
                    EXPECT_EQ(error, ENOSPC) << "what may pass is tried once more";
                }
                failed = fault.failed();
            }
            EXPECT_EQ(number, 42u);
            EXPECT_THAT(OrvCaptureSequence().last(), testing::AnyOf(41u, 42u)) << nth;
            EXPECT_EQ(sequence.nextSequence(), 43u) << nth;
        }
    }
}

TEST_F(OrvCaptureSequenceFaults, startsAgainWhicheverCallFailsAtTheFirstStart) {
    for (const int error : {ENOSPC, EIO, EMFILE, EINTR}) {
        bool failed = true;
        for (unsigned nth = 1; failed; ++nth) {
            {
                const FailingNth fault(nth, root_.path(), error);
                try {
                    const OrvCaptureSequence sequence;
                } catch (const OrvFileError& failure) {
                    EXPECT_EQ(error, ENOSPC) << nth << failure.what();
                }
                failed = fault.failed();
            }
            EXPECT_EQ(OrvCaptureSequence().last(), 0u) << nth;
            std::filesystem::remove(root_.at(kPath));
        }
    }
}

}  // namespace
