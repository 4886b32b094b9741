// How much memory a large mail takes on its way from its parts to the network. The program counts what is allocated.
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/SendFixture.h"
#include "testing/smtp/StagedSystem.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// Of the calling thread: bytes that live now, and the most that ever lived at once.
thread_local std::ptrdiff_t live = 0;
thread_local std::ptrdiff_t peak = 0;

void* allocated(void* memory) {
    live += memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    peak = std::max(peak, live);
    return memory;
}

void release(void* memory) {
    live -= memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = allocated(std::malloc(size > 0 ? size : 1));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocated(std::malloc(size > 0 ? size : 1));
}

void operator delete(void* memory) noexcept {
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}

namespace {

constexpr std::size_t kMailSize = 1500000;
constexpr char kAttachments[] = "/ostrel/conf/orv/callHome/attachments/";

class MailMemory : public MailTest {
protected:
    // Sends the message; by how many bytes memory grew at the worst moment.
    std::ptrdiff_t growthOfSending(OrvCHMesg& message) {
        OrvIdentity values = fullIdentity();
        values.DNSClientEnable = false;
        const TestIdentity identity(values);
        RecordingReporter reporter;
        OrvSMTPClient client({}, system_);
        OrvSendDialogue dialogue(client, identity.common(), reporter, mailServerAt(server_), message);
        const std::ptrdiff_t before = live;
        peak = live;
        EXPECT_EQ(dialogue.run(), 0);
        const std::ptrdiff_t growth = peak - before;
        EXPECT_EQ(server_.mailsTaken().size(), 1u);
        return growth;
    }

    // At most 1.2 times the mail that the server took.
    void expectLean(std::ptrdiff_t growth) {
        const auto size = static_cast<std::ptrdiff_t>(server_.mailsTaken().at(0).text.size());
        EXPECT_GE(size, static_cast<std::ptrdiff_t>(kMailSize));
        EXPECT_LE(growth, size + size / 5);
    }

    StagedSystem system_;
    ScriptedMailServer server_;
};

}  // namespace

TEST_F(MailMemory, ofACaptureIsHardlyMoreThanItsMail) {
    root_.write(std::string(kAttachments) + "show.gz.17", std::string(kMailSize / 3, 'A'));
    root_.write(std::string(kAttachments) + "log.gz.17", std::string(kMailSize - kMailSize / 3, 'B'));
    const auto message = captureOf({"show.gz", "none.gz", "log.gz"});
    addEnvelope(*message, "noc", {"a@example.com"}, "Tsc1", 2000000);

    expectLean(growthOfSending(*message));
}

TEST_F(MailMemory, ofACaptureThatFillsItsLimitIsHardlyMoreThanItsMail) {
    root_.write(std::string(kAttachments) + "show.gz.17", std::string(kMailSize, 'A'));
    root_.write(std::string(kAttachments) + "log.gz.17", std::string(kMailSize, 'B'));
    const auto message = captureOf({"show.gz", "log.gz"});
    addEnvelope(*message, "noc", {"a@example.com"}, "Tsc1", 1510000);

    expectLean(growthOfSending(*message));
}

TEST_F(MailMemory, ofALongTextIsHardlyMoreThanItsMail) {
    const auto message = portEvent();
    message->Text = std::string(kMailSize, 'x');
    addEnvelope(*message, "noc", {"a@example.com"}, "FullText", 2000000);

    expectLean(growthOfSending(*message));
}

TEST_F(MailMemory, ofATextThatIsCutAtTheLimitIsHardlyMoreThanItsMail) {
    const auto message = portEvent();
    message->Text = std::string(2 * kMailSize, 'x');
    addEnvelope(*message, "noc", {"a@example.com"}, "ShortText", kMailSize);

    expectLean(growthOfSending(*message));
}

TEST_F(MailMemory, doesNotGrowWhenTheNetworkTakesAMailInPieces) {
    system_.most = 30000;
    const auto message = portEvent();
    message->Text = std::string(kMailSize, 'x');
    addEnvelope(*message, "noc", {"a@example.com"}, "ShortText", 2000000);

    expectLean(growthOfSending(*message));
    EXPECT_GE(system_.lengths.size(), kMailSize / 30000);
}
