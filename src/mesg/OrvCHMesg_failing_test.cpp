// The message's file on a flash that fails, is full, or under a daemon that is killed.
#include "testing/FailingCalls.h"
#include "testing/SmallFlash.h"
#include "testing/mesg/MesgTest.h"

#include <filesystem>
#include <functional>

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kState[] = "<OrvCHMesgQ>\nduplicatesPending = 0\n</OrvCHMesgQ>\n";

class OrvCHMesgFailing : public MesgTest {
protected:
    static std::unique_ptr<OrvCHMesg> repeated() {
        auto mesg = sampleLogEvent();
        mesg->DuplicateCount = 4711;
        mesg->DuplicateTime = kNowText;
        return mesg;
    }
    // What the file of an entry may hold before it is written again: the message alone, and with its state behind it.
    void eachFileBefore(const std::function<void()>& check) {
        for (const std::string& before : {kSampleFile + std::string(kState), std::string(kSampleFile),
                                          kSampleFile + std::string(5000, '\n') + kState}) {
            SCOPED_TRACE(before.size());
            before_ = before;
            check();
        }
    }
    void resetFile() { writeFile(kFile, before_); }
    // The number of repeats that a start would read.
    int restored() {
        OrvCHMesg mesg;
        mesg.FileName = kFile;
        EXPECT_EQ(mesg.restore(), 0);
        EXPECT_EQ(mesg.Text, sampleLogEvent()->Text);
        EXPECT_EQ(mesg.DuplicateTime, mesg.DuplicateCount == 4711 ? kNowText : sampleLogEvent()->DuplicateTime);
        return mesg.DuplicateCount;
    }
    static int saveFailingAt(unsigned nth, int error, bool& failed) {
        const FailingNth failing(nth, "/m7", error);
        const int result = repeated()->save();
        failed = failing.failed();
        return result;
    }
    // The file of repeated().
    std::string savedText() {
        auto mesg = repeated();
        mesg->FileName = "/tmp/saved";
        EXPECT_EQ(mesg->save(), 0);
        return readFile("/tmp/saved");
    }
    static int oldCount() { return sampleLogEvent()->DuplicateCount; }

private:
    std::string before_;
};

}  // namespace

TEST_F(OrvCHMesgFailing, aKillBetweenAnyTwoCallsLeavesTheOldMessageOrTheNew) {
    eachFileBefore([this] {
        unsigned nth = 0;
        bool killed = true;
        while (killed) {
            resetFile();
            killed = killedAt(++nth, "/m7", [] { EXPECT_EQ(repeated()->save(), 0); });
            EXPECT_THAT(restored(), AnyOf(oldCount(), 4711)) << nth;
        }
        EXPECT_GE(nth, 4u);
        EXPECT_EQ(readFile(kFile), savedText());
    });
}

TEST_F(OrvCHMesgFailing, noFailingCallDestroysTheMessageInTheFile) {
    for (const int error : {ENOSPC, EIO}) {
        eachFileBefore([&] {
            bool failed = true;
            for (unsigned nth = 1; failed; ++nth) {
                resetFile();
                const int result = saveFailingAt(nth, error, failed);
                EXPECT_THAT(restored(), AnyOf(oldCount(), 4711)) << nth;
                EXPECT_TRUE(result < 0 || restored() == 4711) << nth;
            }
        });
    }
}

TEST_F(OrvCHMesgFailing, aMessageThatFindsNoRoomToGrowStaysWhatItWas) {
    const auto mesg = sampleLogEvent();
    mesg->Text = std::string(20000, 't');
    ASSERT_EQ(mesg->save(), 0);
    const std::string before = readFile(kFile);
    mesg->DuplicateTime += kNowText;
    for (const std::size_t more : {0u, 1u, 27u}) {
        const SmallFlash full(before.size() + more);
        EXPECT_EQ(mesg->save(), -1);
        EXPECT_EQ(readFile(kFile), before) << more;
    }
}

TEST_F(OrvCHMesgFailing, aNewFileThatFindsNoRoomKeepsWhatCouldBeWritten) {
    const auto mesg = sampleLogEvent();
    mesg->Text = std::string(20000, 't');
    const SmallFlash full(15000);
    EXPECT_EQ(mesg->save(), -1);
    EXPECT_EQ(readFile(kFile).size(), 15000u);
}

TEST_F(OrvCHMesgFailing, tracesAFileThatCannotBeWrittenTo) {
    const auto mesg = sampleLogEvent();
    const FailingCall failing("write", "/m7", ENOSPC);

    EXPECT_EQ(mesg->save(), -1);
    mesg->Text = std::string(1000000, 't');
    EXPECT_EQ(mesg->save(), -1);

    EXPECT_THAT(traces(), ElementsAre("fstream I/O exception, flag bits=(failbit ), errno=(No space left on device), "
                                      "what=(basic_ios::clear: iostream error",
                                      "fstream I/O exception, flag bits=(badbit ), errno=(No space left on device), "
                                      "what=(basic_ios::clear: iostream error"));
}

TEST_F(OrvCHMesgFailing, aTextThatFillsTheStreamsBufferIsBadAtOnce) {
    const auto mesg = sampleLogEvent();
    const std::size_t rest = std::string(kSampleFile).size() - mesg->Text.size();
    const FailingCall failing("write", "/m7", EIO);
    for (const std::size_t size : {1023u, 1024u}) {
        mesg->Text = std::string(size - rest, 't');
        EXPECT_EQ(mesg->save(), -1);
    }
    EXPECT_THAT(traces(), ElementsAre(testing::HasSubstr("(failbit )"), testing::HasSubstr("(badbit )")));
}

TEST_F(OrvCHMesgFailing, tracesAFileThatCannotBeCutOrClosed) {
    for (const char* call : {"ftruncate", "close"}) {
        writeFile(kFile, std::string(kSampleFile) + kState);
        forgetTraces();
        const FailingCall failing(call, "/m7", EIO);
        EXPECT_EQ(sampleLogEvent()->save(), -1);
        EXPECT_THAT(traces(), ElementsAre("fstream I/O exception, flag bits=(failbit ), errno=(Input/output error), "
                                          "what=(basic_ios::clear: iostream error"));
    }
}

TEST_F(OrvCHMesgFailing, aFailureOfAMomentCostsNoMessage) {
    for (const int error : {EINTR, EIO, ENOMEM, EMFILE}) {
        bool failed = true;
        for (unsigned nth = 1; failed; ++nth) {
            writeFile(kFile, kSampleFile + std::string(kState));
            const FailingNth failing(nth, "queues/send", error);
            EXPECT_EQ(restored(), oldCount()) << error << " " << nth;
            failed = failing.failed();
        }
    }
    EXPECT_TRUE(eventLog().empty());
}

TEST_F(OrvCHMesgFailing, aFailureOfAMomentDoesNotKeepAMessageFromItsFile) {
    for (const int error : {EINTR, EIO, ENOMEM}) {
        for (const char* call : {"openUnlinked", "write"}) {
            std::filesystem::remove(host(kFile));
            const FailingCall failing(call, "/m7", error, 0, 1);
            EXPECT_EQ(sampleLogEvent()->save(), 0) << error << " " << call;
            EXPECT_GE(failing.failures(), 1u);
            EXPECT_EQ(readFile(kFile), kSampleFile);
        }
    }
}
