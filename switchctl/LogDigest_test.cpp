#include "switchctl/LogDigest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What a series of entries comes to.
struct DigestCase {
    const char* name;
    std::vector<std::uint32_t> numbers;
    bool retry;
    bool failed;
    bool recovered;
};

const DigestCase DIGESTS[] = {
    {"nothing", {}, false, false, false},
    {"failure", {0x8b000013, 0x8b00000f}, true, true, false},
    {"recovery", {0x8b000013, 0x8b00000f, 0x8b000014}, false, true, true},
    {"failure after recovery", {0x8b000013, 0x8b000014, 0x8b000013, 0x8b00000f}, true, true, false},
    {"queue emptied", {0x8b000013, 0x8b00000f, 0x8b00000e}, false, true, false},
    {"no server", {0x8b000013, 0x8b00000f, 0x8b000011}, false, true, false},
    {"refused recipient", {0x8b000019, 0x8b000015}, false, true, false},
    {"critical failure alone", {0x8b000012}, false, false, false},
};

constexpr const char* RETRY = "Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds";

LogEntry entryOf(std::uint32_t number, const char* component = "OrvApp") {
    LogEntry entry;
    entry.number = number;
    entry.component = component;
    entry.seconds = 1000;
    entry.microseconds = 500000;
    entry.text = RETRY;
    return entry;
}

TEST(LogDigest, followsFailuresAndRecoveries) {
    for (const DigestCase& one : DIGESTS) {
        LogDigest digest;
        for (const std::uint32_t number : one.numbers) {
            digest.take(entryOf(number), 1);
        }
        EXPECT_EQ(digest.retry.has_value(), one.retry) << one.name;
        EXPECT_EQ(digest.lastFailure.has_value(), one.failed) << one.name;
        EXPECT_EQ(digest.lastFailure && digest.lastFailure->recovered, one.recovered) << one.name;
    }
}

TEST(LogDigest, knowsWhenTheRetryIsDueAlsoWhenTimeRunsFaster) {
    LogDigest digest;
    digest.take(entryOf(0x8b00000f), 1);
    EXPECT_EQ(digest.retry->due, 1005500000);
    digest.take(entryOf(0x8b00000f), 10);
    EXPECT_EQ(digest.retry->due, 1001000000);
}

// What the texts of a series of entries come to.
struct LossCase {
    const char* name;
    std::vector<const char*> texts;
    std::uint64_t lost;
};

const LossCase LOSS_CASES[] = {
    {"one file at three starts",
     {"Error restoring message from /q/send/m1, ignoring", "Error restoring message from /q/send/m1, ignoring",
      "Error opening /q/send/m1 for reading, ignoring"},
     1},
    {"two files",
     {"Error restoring message from /q/send/m1, ignoring", "Error restoring message from /q/duplicate/m1, ignoring"},
     2},
    {"a file that cannot be added", {"Unable to add message from file /q/send/m2 to queue"}, 1},
    {"a name that is none", {"Invalid file name m9999999999, skipping", "Invalid file name m9999999999, skipping"}, 1},
    {"a file that was never filled",
     {"File /q/send/m1 is empty, ignoring", "Error restoring message from /q/send/m1, ignoring"},
     0},
    {"a damaged file behind an empty one",
     {"File /q/send/m1 is empty, ignoring", "Error restoring message from /q/send/m1, ignoring",
      "Error restoring message from /q/send/m2, ignoring"},
     1},
    {"a damaged file that was empty at the start before",
     {"File /q/send/m1 is empty, ignoring", "Error restoring message from /q/send/m1, ignoring",
      "Error restoring message from /q/send/m1, ignoring"},
     1},
    {"refusals",
     {"Message is too large", "Message is too large", "Unable to make room for message (file limit)",
      "Unable to make room for message (filesystem quota limit)", "Unable to add message",
      "Unable to persist a test message"},
     6},
    {"texts that only begin alike",
     {"Message is too large to print", "Error opening the door", "Error restoring messages from /q/send, ignoring",
      "Error restoring message from ", "File  is empty, ignoring"},
     0},
};

TEST(LogDigest, countsWhatWasNotQueuedAndEachFileOnce) {
    for (const LossCase& one : LOSS_CASES) {
        LogDigest digest;
        for (const char* text : one.texts) {
            LogEntry entry = entryOf(0x8b000001);
            entry.text = text;
            digest.take(entry, 1);
        }
        EXPECT_EQ(digest.messagesNotQueued, one.lost) << one.name;
    }
}

struct RetryCase {
    const char* name;
    const char* text;
    const char* server;  // null: no retry
};

const RetryCase RETRIES[] = {
    {"an address", "Will retry sending via SMTP server=192.0.2.1, port=25, after 5 seconds", "192.0.2.1:25"},
    {"an IPv6 address", "Will retry sending via SMTP server=2001:db8::1, port=25, after 5 seconds", "[2001:db8::1]:25"},
    {"a name like the rest of the text",
     "Will retry sending via SMTP server=a, port=1, after 9 seconds%s, port=25, after 5 seconds",
     "a, port=1, after 9 seconds%s:25"},
    {"a text that is cut", "Will retry sending via SMTP server=192.0.2.1, port=25, aft", nullptr},
    {"no number", "Will retry sending via SMTP server=192.0.2.1, port=25, after x seconds", nullptr},
    {"nothing", "", nullptr},
    {"the words in another order", "Will retry sending via SMTP server=a, after 5, port=25 seconds", nullptr},
};

TEST(LogDigest, knowsTheServerOfARetryWhateverItsName) {
    for (const RetryCase& one : RETRIES) {
        LogDigest digest;
        LogEntry entry = entryOf(0x8b00000f);
        entry.text = one.text;
        digest.take(entry, 1);
        EXPECT_EQ(digest.retry ? digest.retry->server : "none", one.server == nullptr ? "none" : one.server)
            << one.name;
        EXPECT_EQ(digest.retry ? digest.retry->due : 1005500000, 1005500000) << one.name;
    }
}

TEST(LogDigest, forgetsARetryWhenTheServersAreReadAnew) {
    LogDigest digest;
    digest.take(entryOf(0x8b00000f), 1);
    LogEntry entry = entryOf(0x8b000001);
    entry.text = "build request for Global.Callhome.SMTPGatewayEnable";
    entry.level = 17;

    digest.take(entry, 1);

    EXPECT_LE(entry.level, LogDigest::MAX_LEVEL);
    EXPECT_FALSE(digest.retry);
}

TEST(LogDigest, leavesOutWhatOthersWrote) {
    LogDigest digest;
    digest.take(entryOf(0x8b000018, "operator"), 1);
    EXPECT_EQ(digest.recipientsGivenUp, 0u);
}

}  // namespace
