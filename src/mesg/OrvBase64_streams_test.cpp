// How Base64 opens, reads, writes and closes its files.
#include "mesg/OrvBase64.h"
#include "testing/FailingCalls.h"
#include "testing/mesg/MesgTest.h"

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <iterator>

using testing::ElementsAre;

namespace {

constexpr char kIn[] = "/tmp/b64.in";
constexpr char kOut[] = "/tmp/b64.out";
constexpr char kBoth[] = "/tmp/b64.";

class OrvBase64Streams : public MesgTest {
protected:
    OrvBase64Streams() { writeFile(kIn, "Man"); }

    static int encode() { return b64(kB64Encode, kIn, kOut, 72); }
    static int decode() { return b64(0, kIn, kOut, 72); }
};

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

}  // namespace

TEST_F(OrvBase64Streams, opensTheOutputForReadingTooAndClosesItBeforeTheInput) {
    for (const auto run : {encode, decode}) {
        std::vector<std::pair<std::string, int>> closed;
        const OnCall closing("close", kBoth, [&](const CallFaults::Made& made) {
            closed.emplace_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(made.file)),
                                fcntl(made.file, F_GETFL) & O_ACCMODE);
            return 0;
        });
        EXPECT_EQ(run(), 0);
        EXPECT_THAT(closed, ElementsAre(std::pair(host(kOut), O_RDWR), std::pair(host(kIn), O_RDONLY)));
    }
}

TEST_F(OrvBase64Streams, reportsAnInputThatCannotBeClosed) {
    const FailingCall closing("close", kIn, EIO);
    for (const auto run : {encode, decode}) {
        EXPECT_EQ(run(), 3);
        EXPECT_EQ(b64Message(3), "fclose(/tmp/b64.in): Input/output error");
    }
}

TEST_F(OrvBase64Streams, reportsAnOutputThatCannotBeClosedAndClosesTheInput) {
    const auto before = openDescriptors();
    const FailingCall closing("close", kOut, EIO);
    EXPECT_EQ(encode(), 3);
    EXPECT_EQ(b64Message(3), "fclose(/tmp/b64.out): Input/output error");
    EXPECT_EQ(openDescriptors(), before);
}

// A signal comes in every second call, and cuts every other one short.
TEST_F(OrvBase64Streams, isNotDisturbedByASignalInAnyCall) {
    const std::string bytes(2000, 'x');
    writeFile(kIn, bytes);
    const auto before = openDescriptors();
    bool interrupts = false;
    {
        const OnCall signals("", kBoth, [&interrupts](const CallFaults::Made& made) {
            if (made.call == "close") {
                return EINTR;
            }
            interrupts = !interrupts;
            return interrupts ? EINTR : CallFaults::kShort;
        });
        EXPECT_EQ(encode(), 0);
        EXPECT_EQ(b64(0, kOut, "/tmp/b64.back", 72), 0);
        EXPECT_GT(signals.calls(), 4 * bytes.size());
    }
    EXPECT_EQ(readFile("/tmp/b64.back"), bytes);
    EXPECT_EQ(openDescriptors(), before);
}

// A moment without descriptors or memory costs no attachment.
TEST_F(OrvBase64Streams, opensAtTheSecondTryWhatFailsForAMoment) {
    for (const char* const file : {kIn, kOut}) {
        for (const int error : {EMFILE, ENOMEM, EIO}) {
            const FailingCall opening("openUnlinked", file, error, 0, 1);
            EXPECT_EQ(encode(), 0) << error;
            EXPECT_EQ(opening.calls(), 2u);
        }
    }
    const FailingCall opening("openUnlinked", kIn, EACCES, 0, 1);
    EXPECT_EQ(encode(), 2);
}
