// A capture mail between its attachments and its copy when calls on files fail, memory runs out, or somebody has
// planted a link in a file's place.
#include "smtp/OrvMailComposer.h"
#include "testing/CallFaults.h"
#include "testing/FailingCalls.h"
#include "testing/smtp/MailFixture.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <new>

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments";
constexpr char kReadError[] = "\r\ncould not be included due to a read error!\r\n\r\n";

std::ptrdiff_t openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class OrvMailFiles : public MailTest {
protected:
    OrvMailFiles() {
        addEnvelope(*message_, "noc", {"a@example.com"});
        root_.write("/outside/secret", "untouched");
        CallFaults::use(&faults_);
    }
    ~OrvMailFiles() override { CallFaults::use(nullptr); }

    void stage() {
        root_.write(std::string(kAttachments) + "/show.gz.17", std::string(40000, 'A'));
        root_.write(std::string(kAttachments) + "/log.gz.17", "H4sIBBBB\r\n");
    }

    std::string mail() {
        std::string text;
        EXPECT_EQ(composer_.compose(*message_, *message_->Envelopes[0], clientIdentity_, text), 0);
        return text;
    }

    // The mail while these calls fail, when they do; nothing is left open.
    std::string mailWithFailing(std::size_t call, unsigned nth, int error, unsigned inARow) {
        const std::ptrdiff_t before = openDescriptors();
        faults_.call = static_cast<int>(call);
        faults_.nth = nth;
        faults_.error = error;
        faults_.burst = inARow;
        faults_.hit = false;
        const std::string text = watchedMail();
        EXPECT_TRUE(faults_.hit);
        EXPECT_EQ(openDescriptors(), before);
        return text;
    }

    // Composes with every call counted, but for those of the trace.
    std::string watchedMail() {
        OrvDbg* const logger = OrvDbg::ofThread();
        EXPECT_EQ(OrvDbg::setOfThread(nullptr), 0);
        for (auto& seen : faults_.seen) {
            seen[true] = 0;
        }
        faults_.watched = true;
        const std::string text = mail();
        faults_.watched = false;
        EXPECT_EQ(OrvDbg::setOfThread(logger), 0);
        return text;
    }

    // Each call in turn is the first that fails. How many there were.
    template <typename Check>
    unsigned failEachCall(int error, unsigned inARow, const Check& check) {
        faults_.call = -1;
        watchedMail();
        std::array<unsigned, CallFaults::kMostCalls> counts{};
        for (std::size_t call = 0; call < CallFaults::table().size(); ++call) {
            counts[call] = CallFaults::table()[call].errors.empty() ? 0 : faults_.seen[call][true].load();
        }
        unsigned calls = 0;
        for (std::size_t call = 0; call < counts.size(); ++call) {
            for (unsigned nth = 1; nth <= counts[call]; ++nth, ++calls) {
                SCOPED_TRACE(std::string(CallFaults::table()[call].name) + " " + std::to_string(nth));
                check(mailWithFailing(call, nth, error, inARow));
            }
        }
        return calls;
    }

    std::string pathOfNextCopy() {
        mail();
        unsigned last = 0;
        for (const std::string& name : root_.list("/tmp")) {
            last =
                name.starts_with("output.") ? std::max(last, static_cast<unsigned>(std::stoul(name.substr(7)))) : last;
        }
        return "/tmp/output." + std::to_string(last + 1);
    }

    void expectUntouched() const {
        EXPECT_EQ(root_.read("/outside/secret"), "untouched");
        EXPECT_EQ(root_.list("/outside").size(), 1u);
    }

    CallFaults faults_;
    const TestIdentity identity_{fullIdentity()};
    const OrvMailComposer composer_{identity_.common()};
    const std::string clientIdentity_ = "10.1.2.3";
    const std::unique_ptr<OrvCHMesg> message_ = captureOf({"show.gz", "log.gz"});
};

}  // namespace

TEST_F(OrvMailFiles, areReadAndWrittenWhateverSignalsArrive) {
    stage();
    const std::string whole = mail();
    for (const unsigned inARow : {1u, 5u, 50u}) {
        EXPECT_GE(failEachCall(EINTR, inARow, [&](const std::string& text) { EXPECT_TRUE(text == whole); }), 10u);
    }
    for (const std::string& name : root_.list("/tmp")) {
        if (name.starts_with("output.")) {
            EXPECT_EQ(whole.substr(0, root_.read("/tmp/" + name).size()), root_.read("/tmp/" + name));
            EXPECT_GE(root_.read("/tmp/" + name).size(), 40000u) << "the copy is whole too";
        }
    }
}

TEST_F(OrvMailFiles, areAllInTheMailAfterAFailureThatPasses) {
    stage();
    const std::string whole = mail();
    for (const int error : {EIO, ENOMEM, EMFILE, ENFILE, EAGAIN}) {
        EXPECT_GE(failEachCall(error, 1, [&](const std::string& text) { EXPECT_TRUE(text == whole); }), 10u);
    }
}

TEST_F(OrvMailFiles, thatCannotBeReadAreExplainedAndLeaveNothingOpen) {
    stage();
    const std::string whole = mail();
    for (const unsigned inARow : {2u, 5u, 50u}) {
        failEachCall(EIO, inARow,
                     [&](const std::string& text) { EXPECT_THAT(text, AnyOf(whole, HasSubstr(kReadError))); });
    }
}

TEST_F(OrvMailFiles, areClosedWhicheverAllocationFails) {
    stage();
    mail();
    const std::ptrdiff_t before = openDescriptors();
    for (const unsigned inARow : {1u, 5u, 50u}) {
        unsigned thrown = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            SCOPED_TRACE(after);
            std::string text;
            {
                const FailingMemory noMemory(MemoryFaults::kThrowing, after, inARow);
                try {
                    EXPECT_EQ(composer_.compose(*message_, *message_->Envelopes[0], clientIdentity_, text), 0);
                } catch (const std::bad_alloc&) {
                    ++thrown;
                }
                failed = noMemory.failed();
            }
            EXPECT_EQ(openDescriptors(), before);
        }
        EXPECT_GE(thrown, 20u);
    }
}

TEST_F(OrvMailFiles, areNotReadThroughALink) {
    stage();
    const std::string place = root_.at(std::string(kAttachments) + "/show.gz.17");
    for (const char* target : {"/outside/secret", "/outside/nothing", "/outside"}) {
        SCOPED_TRACE(target);
        fs::remove(place);
        fs::create_symlink(root_.at(target), place);

        const std::string text = mail();

        EXPECT_THAT(text, HasSubstr("        show.gz" + std::string(kReadError)));
        EXPECT_THAT(text, HasSubstr("H4sIBBBB\r\n")) << "the next one is there";
        EXPECT_THAT(text, Not(HasSubstr("untouched")));
        expectUntouched();
    }
}

TEST_F(OrvMailFiles, areNotReadThroughALinkedDirectory) {
    root_.write("/outside/show.gz.17", "foreign");
    fs::create_directories(root_.at("/ostrel/conf/orv/callHome"));
    fs::create_directory_symlink(root_.at("/outside"), root_.at(kAttachments));

    const std::string text = mail();

    EXPECT_THAT(text, HasSubstr("        show.gz" + std::string(kReadError)));
    EXPECT_THAT(text, Not(HasSubstr("foreign")));
}

TEST_F(OrvMailFiles, areNotWrittenThroughALinkOfEitherKind) {
    stage();
    const std::string path = pathOfNextCopy();
    fs::create_hard_link(root_.at("/outside/secret"), root_.at(path));
    const std::string text = mail();
    expectUntouched();

    const std::string nextPath = "/tmp/output." + std::to_string(std::stoul(path.substr(12)) + 1);
    fs::create_symlink(root_.at("/outside/new"), root_.at(nextPath));
    takeTraces();
    EXPECT_EQ(mail(), text);
    expectUntouched();

    EXPECT_THAT(takeTraces(),
                testing::Contains("orvWriteMailCopy: " + nextPath + ": Too many levels of symbolic links"));
}
