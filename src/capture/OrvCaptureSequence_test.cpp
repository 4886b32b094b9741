#include "capture/OrvCaptureSequence.h"

#include "Descriptor.h"
#include "mesg/OrvSequenceSource.h"
#include "testing/KeptFormats.h"
#include "testing/SmallFlash.h"
#include "testing/profile/RecordingSwitch.h"
#include "word_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPath[] = "/ostrel/conf/orv/callHome/capture.seq";
constexpr char kReadError[] = "Read Error for file /ostrel/conf/orv/callHome/capture.seq";
constexpr char kWriteError[] = "Write Error for file /ostrel/conf/orv/callHome/capture.seq";

class OrvCaptureSequenceTest : public testing::Test {
protected:
    static std::string nativeBytes(std::uint32_t word) {
        std::array<std::uint8_t, 4> bytes{};
        storeNative32(bytes, word);
        return {bytes.begin(), bytes.end()};
    }

    std::string constructionError() {
        try {
            OrvCaptureSequence sequence;
        } catch (const OrvFileError& error) {
            return error.what();
        }
        return "none";
    }

    RecordingSwitch switch_;
    TempRoot& root_ = switch_.root();
};

TEST_F(OrvCaptureSequenceTest, createsTheFileWithZero) {
    const OrvCaptureSequence sequence;

    EXPECT_EQ(sequence.last(), 0u);
    EXPECT_EQ(root_.read(kPath), std::string(4, '\0'));
    EXPECT_THAT(switch_.takeTraces(), ElementsAre("OrvCHCapture readSequence: File "
                                                  "/ostrel/conf/orv/callHome/capture.seq, does not exist.  "
                                                  "Creating...\n"));
}

TEST_F(OrvCaptureSequenceTest, goesOnFromTheNumberInTheFileInTheProcessorsOwnByteOrder) {
    root_.write(kPath, nativeBytes(0x01020304));
    OrvCaptureSequence sequence;
    EXPECT_EQ(sequence.last(), 0x01020304u);

    EXPECT_EQ(sequence.nextSequence(), 0x01020305u);

    EXPECT_EQ(sequence.last(), 0x01020305u);
    EXPECT_EQ(root_.read(kPath), nativeBytes(0x01020305));
    EXPECT_THAT(switch_.takeTraces(), IsEmpty());
}

TEST_F(OrvCaptureSequenceTest, goesOnFromWhatEveryVersionHasLeft) {
    for (const std::filesystem::path& format : keptFormats()) {
        putKeptFormat(root_, format);
        // A number of the other processor's is another number; what counts is that it does not come again.
        const std::uint32_t left = format.filename() == ownByteOrder() ? 7 : 0x07000000;

        EXPECT_EQ(OrvCaptureSequence().nextSequence(), left + 1) << format;
    }
}

TEST_F(OrvCaptureSequenceTest, isLeftAsTheNewestOfTheseVersionsHasLeftIt) {
    OrvCaptureSequence sequence;
    while (sequence.nextSequence() < 7) {
    }
    writeFormat(root_, "capture.seq");

    EXPECT_EQ(root_.read(kPath), contentOf(newestKeptFormat() / "capture.seq"));
}

TEST_F(OrvCaptureSequenceTest, isKeptAcrossARestart) {
    EXPECT_EQ(OrvCaptureSequence().nextSequence(), 1u);
    EXPECT_EQ(OrvCaptureSequence().nextSequence(), 2u);
}

TEST_F(OrvCaptureSequenceTest, startsAgainAtZeroAfterTheLastNumber) {
    root_.write(kPath, nativeBytes(0xFFFFFFFF));
    OrvCaptureSequence sequence;

    EXPECT_EQ(sequence.nextSequence(), 0u);
    EXPECT_EQ(sequence.nextSequence(), 1u);
}

TEST_F(OrvCaptureSequenceTest, takesTheFirstFourBytesOfALongerFileAndCutsItAtTheNextNumber) {
    root_.write(kPath, nativeBytes(41) + "x");
    OrvCaptureSequence sequence;
    EXPECT_EQ(sequence.last(), 41u);

    sequence.nextSequence();

    EXPECT_EQ(root_.read(kPath), nativeBytes(42));
}

TEST_F(OrvCaptureSequenceTest, cannotBeReadFromAFileThatIsTooShort) {
    for (const char* content : {"", "abc"}) {
        root_.write(kPath, content);
        EXPECT_EQ(constructionError(), kReadError);
        EXPECT_EQ(root_.read(kPath), content);
    }
}

TEST_F(OrvCaptureSequenceTest, cannotBeReadFromADirectory) {
    std::filesystem::create_directory(root_.at(kPath));
    EXPECT_EQ(constructionError(), kReadError);
}

// A pipe with nobody at its other end, and one that somebody holds open.
TEST_F(OrvCaptureSequenceTest, cannotBeReadFromAPipe) {
    ASSERT_EQ(mkfifo(root_.at(kPath).c_str(), 0600), 0);
    EXPECT_EQ(constructionError(), kReadError);
    const Descriptor pipe(open(root_.at(kPath).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(pipe);
    ASSERT_EQ(write(pipe.get(), "abcd", 4), 4);

    EXPECT_EQ(constructionError(), kReadError);

    std::array<char, 5> bytes{};
    EXPECT_EQ(read(pipe.get(), bytes.data(), bytes.size()), 4);  // neither read nor written to
}

TEST_F(OrvCaptureSequenceTest, cannotBeReadFromADevice) {
    ASSERT_EQ(symlink("/dev/zero", root_.at(kPath).c_str()), 0);
    EXPECT_EQ(constructionError(), kReadError);
}

TEST_F(OrvCaptureSequenceTest, isNotHeldByAPipeWhenANumberIsToBeKept) {
    OrvCaptureSequence sequence;
    std::filesystem::remove(root_.at(kPath));
    ASSERT_EQ(mkfifo(root_.at(kPath).c_str(), 0600), 0);

    try {
        sequence.nextSequence();
        FAIL() << "nothing thrown";
    } catch (const OrvFileError& error) {
        EXPECT_EQ(errno, ENXIO);
        EXPECT_STREQ(error.what(), kWriteError);
    }
}

TEST_F(OrvCaptureSequenceTest, cannotBeReadWhenTheFileCannotBeExamined) {
    ASSERT_EQ(symlink("capture.seq", root_.at(kPath).c_str()), 0);
    EXPECT_EQ(constructionError(), kReadError);
}

TEST_F(OrvCaptureSequenceTest, cannotBeCreatedWithoutItsDirectory) {
    std::filesystem::remove_all(root_.at("/ostrel/conf/orv/callHome"));
    EXPECT_EQ(constructionError(), kWriteError);
}

TEST_F(OrvCaptureSequenceTest, throwsWithTheReasonInErrnoWhenANumberCannotBeKept) {
    OrvCaptureSequence sequence;
    std::filesystem::remove(root_.at(kPath));
    std::filesystem::create_directory(root_.at(kPath));

    try {
        sequence.nextSequence();
        FAIL() << "nothing thrown";
    } catch (const OrvFileError& error) {
        EXPECT_EQ(errno, EISDIR);
        EXPECT_STREQ(error.what(), kWriteError);
    }
}

TEST_F(OrvCaptureSequenceTest, isNeitherReadNorWrittenThroughALink) {
    root_.write("/tmp/precious", "precious");
    OrvCaptureSequence sequence;
    for (const char* target : {"/tmp/precious", "/tmp/new"}) {
        std::filesystem::remove(root_.at(kPath));
        ASSERT_EQ(symlink(root_.at(target).c_str(), root_.at(kPath).c_str()), 0);

        EXPECT_EQ(constructionError(), kReadError);
        EXPECT_EQ(errno, ELOOP);
        EXPECT_THROW(sequence.nextSequence(), OrvFileError);

        EXPECT_EQ(root_.read("/tmp/precious"), "precious");
        EXPECT_FALSE(root_.exists("/tmp/new"));
    }
}

TEST_F(OrvCaptureSequenceTest, isNotWrittenToAFileWithASecondName) {
    root_.write("/tmp/precious", "precious");
    std::filesystem::create_hard_link(root_.at("/tmp/precious"), root_.at(kPath));
    OrvCaptureSequence sequence;

    EXPECT_THROW(sequence.nextSequence(), OrvFileError);

    EXPECT_EQ(errno, EMLINK);
    EXPECT_EQ(root_.read("/tmp/precious"), "precious");
}

TEST_F(OrvCaptureSequenceTest, staysInTheSameFile) {
    OrvCaptureSequence sequence;
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(stat(root_.at(kPath).c_str(), &before), 0);

    sequence.nextSequence();

    ASSERT_EQ(stat(root_.at(kPath).c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

// The next start has the room that it needs.
TEST_F(OrvCaptureSequenceTest, leavesNothingBehindWhenTheFirstNumberHasNoRoom) {
    {
        const SmallFlash flash(3);
        EXPECT_EQ(constructionError(), kWriteError);
        EXPECT_EQ(errno, ENOSPC);
    }
    EXPECT_THAT(root_.list("/ostrel/conf/orv/callHome"), testing::Not(testing::Contains("capture.seq")));
    EXPECT_THAT(root_.list("/ostrel/conf/orv/callHome"), testing::Not(testing::Contains("capture.seq.new")));

    EXPECT_EQ(constructionError(), "none");
}

TEST_F(OrvCaptureSequenceTest, noticesThatOnlyAPartOfANumberHasRoom) {
    OrvCaptureSequence sequence;
    const SmallFlash flash(3);

    try {
        sequence.nextSequence();
        FAIL() << "nothing thrown";
    } catch (const OrvFileError& error) {
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_STREQ(error.what(), kWriteError);
    }
    EXPECT_EQ(constructionError(), "none");
}

TEST_F(OrvCaptureSequenceTest, givesNoNumberTwiceEvenWhenOneCouldNotBeKept) {
    OrvCaptureSequence sequence;
    std::filesystem::remove(root_.at(kPath));
    std::filesystem::create_directory(root_.at(kPath));
    EXPECT_THROW(sequence.nextSequence(), OrvFileError);
    std::filesystem::remove(root_.at(kPath));

    EXPECT_EQ(sequence.nextSequence(), 2u);
}

TEST_F(OrvCaptureSequenceTest, givesEachNumberToOneOfTwoThreadsOnly) {
    constexpr std::uint32_t kEach = 200;
    OrvCaptureSequence sequence;
    std::vector<std::uint32_t> others;
    std::vector<std::uint32_t> own;
    std::thread other([&] {
        for (std::uint32_t i = 0; i < kEach; ++i) {
            others.push_back(sequence.nextSequence());
        }
    });
    for (std::uint32_t i = 0; i < kEach; ++i) {
        own.push_back(sequence.nextSequence());
    }
    other.join();

    std::set<std::uint32_t> all(own.begin(), own.end());
    all.insert(others.begin(), others.end());
    EXPECT_EQ(all.size(), 2 * kEach);
    EXPECT_EQ(*all.begin(), 1u);
    EXPECT_EQ(*all.rbegin(), 2 * kEach);
    EXPECT_EQ(root_.read(kPath), nativeBytes(2 * kEach));
}

}  // namespace
