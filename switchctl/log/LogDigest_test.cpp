#include "switchctl/log/LogDigest.h"

#include "testing/switchctl/FilledEntry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

template <typename... Arguments>
LogEntry entryOf(const OrvLogEntry<Arguments...>& kind, std::type_identity_t<Arguments>... arguments) {
    LogEntry entry;
    entry.level = kind.level;
    entry.number = kind.id;
    entry.component = "OrvApp";
    entry.seconds = 1000;
    entry.microseconds = 500000;
    entry.text = filledText(kind, arguments...);
    return entry;
}

bool isSelected(const LogEntry& entry) {
    const LogSelection& selection = LogDigest::selection();
    return entry.level <= selection.maxLevel && selection.wantsFrom(entry.component) &&
           selection.wantsKind(entry.number, entry.text);
}

// Of a log that is read as a whole; what the switch would select of it has to say the same.
LogDigest digestOf(const std::vector<LogEntry>& entries, std::uint64_t timeScale = 1) {
    LogDigest digest;
    LogDigest selected;
    for (const LogEntry& entry : entries) {
        digest.take(entry, timeScale);
        if (isSelected(entry)) {
            selected.take(entry, timeScale);
        }
    }
    EXPECT_EQ(selected.signs, digest.signs);
    EXPECT_EQ(selected.lastText, digest.lastText);
    EXPECT_EQ(selected.lostFiles, digest.lostFiles);
    EXPECT_EQ(selected.settingsRead, digest.settingsRead);
    EXPECT_EQ(selected.retry.has_value(), digest.retry.has_value());
    EXPECT_EQ(selected.lastFailure.has_value(), digest.lastFailure.has_value());
    EXPECT_EQ(selected.refusals, digest.refusals);
    EXPECT_EQ(selected.messagesNotQueued, digest.messagesNotQueued);
    EXPECT_EQ(selected.recipientsGivenUp + selected.mailsGivenUp, digest.recipientsGivenUp + digest.mailsGivenUp);
    EXPECT_EQ(selected.mail.servers().size(), digest.mail.servers().size());
    EXPECT_EQ(selected.mail.recipients().size(), digest.mail.recipients().size());
    return digest;
}

LogEntry retryAt(const char* server) {
    return entryOf(orv_log::kRetryLater, server, 25, 5);
}

const LogEntry RETRY = retryAt("192.0.2.1");
const LogEntry FAILURE = entryOf(orv_log::kSendFailed, "192.0.2.1", 25, "Connect Error", "Connection refused", "");
const LogEntry RECOVERY = entryOf(orv_log::kRecovered);

// What a series of entries comes to.
struct DigestCase {
    const char* name;
    std::vector<LogEntry> entries;
    bool retry;
    bool failed;
    bool recovered;
};

const DigestCase DIGESTS[] = {
    {"nothing", {}, false, false, false},
    {"failure", {FAILURE, RETRY}, true, true, false},
    {"recovery", {FAILURE, RETRY, RECOVERY}, false, true, true},
    {"failure after recovery", {FAILURE, RECOVERY, FAILURE, RETRY}, true, true, false},
    {"queue emptied", {FAILURE, RETRY, entryOf(orv_log::kQueueEmpty)}, false, true, false},
    {"no server", {FAILURE, RETRY, entryOf(orv_log::kNoUsableServer)}, false, true, false},
    {"recipient given up", {entryOf(orv_log::kRecipientGivenUp, "Ops", "a@b", "x", 25)}, false, true, false},
    {"recipient refused", {entryOf(orv_log::kRecipientRefused, "Ops", "a@b", "x", 25, "550")}, false, true, false},
    {"critical failure alone", {entryOf(orv_log::kProtocolFailure)}, false, false, false},
    {"servers read anew",
     {RETRY, entryOf(orv_log::kBuildDetailRequest, "Global.Callhome.SMTPGatewayEnable")},
     false,
     false,
     false},
    {"something else read", {RETRY, entryOf(orv_log::kBuildDetailRequest, "Global.Snmp.Contact")}, true, false, false},
};

TEST(LogDigest, followsFailuresAndRecoveries) {
    for (const DigestCase& one : DIGESTS) {
        const LogDigest digest = digestOf(one.entries);
        EXPECT_EQ(digest.retry.has_value(), one.retry) << one.name;
        EXPECT_EQ(digest.lastFailure.has_value(), one.failed) << one.name;
        EXPECT_EQ(digest.lastFailure && digest.lastFailure->recovered, one.recovered) << one.name;
        for (const LogEntry& entry : one.entries) {
            EXPECT_LE(entry.level, LogDigest::MAX_LEVEL) << one.name;
        }
    }
}

TEST(LogDigest, knowsWhenTheRetryIsDueAlsoWhenTimeRunsFaster) {
    EXPECT_EQ(digestOf({RETRY}).retry->due, 1005500000);
    EXPECT_EQ(digestOf({RETRY}, 10).retry->due, 1001000000);
}

// The server of a retry, whatever its name is.
TEST(LogDigest, knowsTheServerOfARetryWhateverItsName) {
    EXPECT_EQ(digestOf({RETRY}).retry->server, "192.0.2.1:25");
    EXPECT_EQ(digestOf({retryAt("2001:db8::1")}).retry->server, "[2001:db8::1]:25");
    EXPECT_EQ(digestOf({retryAt("a, port=1, after 9 seconds%s")}).retry->server, "a, port=1, after 9 seconds%s:25");
    EXPECT_EQ(digestOf({retryAt("a, port=1, after 9 seconds%s")}).retry->due, 1005500000);
}

LogEntry unrestored(const char* file) {
    return entryOf(orv_log::kRestoreEntryFailed, file);
}
LogEntry emptyFile(const char* file) {
    return entryOf(orv_log::kFileEmpty, file);
}
const LogEntry BAD_NAME = entryOf(orv_log::kRestoreBadName, "m9999999999");

struct LossCase {
    const char* name;
    std::vector<LogEntry> entries;
    std::uint64_t lost;
};

const LossCase LOSS_CASES[] = {
    {"one file at three starts",
     {unrestored("/q/send/m1"), unrestored("/q/send/m1"), entryOf(orv_log::kRestoreEntryUnopened, "/q/send/m1")},
     1},
    {"two files", {unrestored("/q/send/m1"), unrestored("/q/duplicate/m1")}, 2},
    {"a file that cannot be added", {entryOf(orv_log::kRestoreNotAdded, "/q/send/m2")}, 1},
    {"a name that is none", {BAD_NAME, BAD_NAME}, 1},
    {"a file that was never filled", {emptyFile("/q/send/m1"), unrestored("/q/send/m1")}, 0},
    {"a damaged file behind an empty one",
     {emptyFile("/q/send/m1"), unrestored("/q/send/m1"), unrestored("/q/send/m2")},
     1},
    {"a damaged file that was empty at the start before",
     {emptyFile("/q/send/m1"), unrestored("/q/send/m1"), unrestored("/q/send/m1")},
     1},
    {"something else between", {emptyFile("/q/send/m1"), BAD_NAME, unrestored("/q/send/m1")}, 2},
    {"refusals",
     {entryOf(orv_log::kMessageTooLarge), entryOf(orv_log::kMessageTooLarge), entryOf(orv_log::kTooManyFiles),
      entryOf(orv_log::kNoSpace), entryOf(orv_log::kNotAdded), entryOf(orv_log::kTestNotPersistent)},
     6},
    {"a whole queue, of which nobody knows what it holds", {entryOf(orv_log::kRestoreQueueFailed, "/q/send")}, 0},
};

TEST(LogDigest, countsWhatWasNotQueuedAndEachFileOnce) {
    for (const LossCase& one : LOSS_CASES) {
        EXPECT_EQ(digestOf(one.entries).messagesNotQueued, one.lost) << one.name;
    }
}

TEST(LogDigest, leavesOutWhatOthersWroteAndTextsThatOnlyBeginAlike) {
    LogEntry other = entryOf(orv_log::kRecipientGivenUp, "Ops", "a@b", "x", 25);
    other.component = "operator";
    LogEntry longer = entryOf(orv_log::kMessageTooLarge);
    longer.text += " to print";
    LogEntry cut = RETRY;
    cut.text.resize(cut.text.size() - 8);

    const LogDigest digest = digestOf({other, longer, cut});

    EXPECT_EQ(digest.recipientsGivenUp, 0u);
    EXPECT_EQ(digest.messagesNotQueued, 0u);
    EXPECT_FALSE(digest.retry);
}

TEST(LogDigest, knowsByItsNumberWhatAnotherReleaseHasWorded) {
    LogEntry givenUp = entryOf(orv_log::kRecipientGivenUp, "Ops", "a@b", "x", 25);
    givenUp.text = "Ops has lost a@b";
    LogEntry retry = RETRY;
    retry.text = "soon";

    EXPECT_EQ(digestOf({givenUp}).recipientsGivenUp, 1u);
    EXPECT_TRUE(digestOf({RETRY}).retry);
    EXPECT_FALSE(digestOf({RETRY, retry}).retry) << "the former one no longer holds";
}

struct TroubleCase {
    const char* name;
    LogEntry entry;
    std::vector<LogDigest::Trouble> troubles;
};

LogEntry sendFailure(const char* description, const char* response = "") {
    return entryOf(orv_log::kSendFailed, "192.0.2.1", 25, "Socket Create Error", description, response);
}
LogEntry unsubscribed(unsigned category, unsigned event) {
    return entryOf(orv_log::kConsumerNotAdded, category, event);
}

using enum LogDigest::Trouble;

const TroubleCase TROUBLE_CASES[] = {
    {"ready", entryOf(orv_log::kReadyFailed), {READY_UNSENT}},
    {"configured", entryOf(orv_log::kAckFailed), {CONFIGURED_UNSENT}},
    {"send thread", entryOf(orv_log::kSendThreadNotStarted), {NO_SEND_THREAD}},
    {"capture thread", entryOf(orv_log::kCaptureThreadNotStarted), {NO_CAPTURE_THREAD}},
    {"log", unsubscribed(1, 0), {NO_LOG_EVENTS}},
    {"state", unsubscribed(66, 3), {NO_STATE_EVENTS}},
    {"address", unsubscribed(2, 56), {NO_ADDRESS_EVENTS}},
    {"host name", unsubscribed(90, 0), {NO_HOSTNAME_EVENTS}},
    {"another event", unsubscribed(1, 1), {}},
    {"memory", entryOf(orv_log::kNoMemory), {OUT_OF_MEMORY}},
    {"memory, said again", entryOf(orv_log::kNoMemoryHere), {}},
    {"memory of an entry", entryOf(orv_log::kNoEntryMemory), {OUT_OF_MEMORY}},
    {"memory of the order file", entryOf(orv_log::kNoOrderMemory), {OUT_OF_MEMORY}},
    {"memory at a restore", entryOf(orv_log::kRestoreNoMemory, 17u), {OUT_OF_MEMORY}},
    {"memory while sending", sendFailure("Cannot allocate memory"), {OUT_OF_MEMORY}},
    {"memory while a mail is composed", sendFailure("std::bad_alloc"), {OUT_OF_MEMORY}},
    {"descriptors", sendFailure("Too many open files"), {OUT_OF_DESCRIPTORS}},
    {"descriptors of the system", sendFailure("Too many open files in system"), {OUT_OF_DESCRIPTORS}},
    {"a server that says so", sendFailure("Success", "421 Description=[Too many open files], Response=[x]"), {}},
    {"descriptors of a directory",
     entryOf(orv_log::kRestoreOpendirFailed, "/q", "Too many open files"),
     {OUT_OF_DESCRIPTORS}},
    {"no directory", entryOf(orv_log::kRestoreOpendirFailed, "/q", "No such file or directory"), {}},
    {"a queue", entryOf(orv_log::kRestoreQueueFailed, "/q/send"), {QUEUE_NOT_RESTORED}},
    {"no listing", entryOf(orv_log::kRestoreNoListing, "/tmp/orv-queue-order"), {QUEUE_NOT_RESTORED}},
    {"a listing unread", entryOf(orv_log::kRestoreOrderUnopened, "/tmp/orv-queue-order"), {QUEUE_NOT_RESTORED}},
    {"no order file", entryOf(orv_log::kRestoreOrderUnopened, "/q/send/order"), {}},
    {"a message too large", entryOf(orv_log::kMessageTooLarge), {MESSAGE_REFUSED}},
    {"a message too many", entryOf(orv_log::kTooManyFiles), {MESSAGE_REFUSED, FILE_LIMIT_REACHED}},
};

TEST(LogDigest, asksForFewOfTheEntriesThatTheDaemonAlwaysWrites) {
    EXPECT_FALSE(isSelected(entryOf(orv_log::kBuildDetailRequest, "Global.Callhome.FromAddr")));
    EXPECT_FALSE(isSelected(entryOf(orv_log::kBuildInfoRequest, "Global.Callhome.FilesAllowed")));
    EXPECT_TRUE(isSelected(entryOf(orv_log::kBuildDetailRequest, "Global.Callhome.SMTPGatewayEnable")));
}

TEST(LogDigest, knowsWhatIsWrongWithTheDaemonItself) {
    for (const TroubleCase& one : TROUBLE_CASES) {
        std::vector<LogDigest::Sign> signs;
        for (const LogDigest::Trouble trouble : one.troubles) {
            signs.push_back({trouble, 1000500000});
        }
        EXPECT_EQ(digestOf({one.entry}).signs, signs) << one.name;
    }
}

}  // namespace
