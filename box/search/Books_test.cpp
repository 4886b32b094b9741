#include "box/search/Books.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace box {
namespace {

// A queue that traces as it should, until a test has it say something else.
class BooksTest : public testing::Test {
protected:
    void trace(const std::string& method, const std::string& text) {
        books_.traced("11/14/2023 UTC 22:28:08.169  1001 OrvCHMesgQ " + method + ": " + text + "\n");
    }
    // counts and bytes of the send and the duplicate list
    void table(const std::string& method, const std::string& what, unsigned send, unsigned sendBytes,
               unsigned duplicate = 0, unsigned duplicateBytes = 0) {
        char text[512];
        std::snprintf(
            text, sizeof text,
            "%s queue\n  Queue             Count  Space Used\n    init       %10u  %10u\n    send       %10u  "
            "%10u\n    duplicate  %10u  %10u\n    persist    %10u  %10u\n  Total        %10u  %10u",
            what.c_str(), 0u, 0u, send, sendBytes, duplicate, duplicateBytes, 0u, 0u, send + duplicate,
            sendBytes + duplicateBytes);
        trace(method, text);
    }
    void receive() {
        trace("add", "testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1");
    }
    void take() {
        receive();
        table("addInternal", "entry (0) added to the send", 1, 600);
    }
    void save() { trace("saveEntryToFile", "file=/ostrel/conf/orv/callHome/queues/send/m0"); }
    void open() { trace("peekOpen", "entry (0) opened in the send queue"); }
    void complete() {
        trace("peekDelete",
              "entry (0) has completed processing, (duplicates not allowed) remove it from the send queue and delete");
    }
    void remove() { table("removeInternal", "entry (0) removed from the send", 0, 0); }
    // The rule that was broken first.
    std::string broken() {
        const auto problems = books_.takeProblems();
        return problems.empty() ? "" : problems.front().rule;
    }

    Books books_;
};

}  // namespace

TEST_F(BooksTest, balanceWhenAMessageIsMailed) {
    take();
    open();
    books_.offered("a@example.com");
    books_.served("a@example.com");
    books_.mailed(0);
    complete();
    remove();
    receive();

    EXPECT_EQ(broken(), "");
    EXPECT_EQ(books_.sums().received, 2u);
    EXPECT_EQ(books_.sums().gone[Books::kMailed], 1u);
}

TEST_F(BooksTest, followAnEntryThatIsParkedAndComesBackForItsRepeats) {
    take();
    open();
    trace("peekDelete", "entry (0) has completed processing, move it to the duplicate queue (DuplicateCount = 0)");
    remove();
    table("addInternal", "entry (0) added to the duplicate", 0, 0, 1, 600);
    receive();
    trace("add", "already on duplicate queue, increment duplicate count (new value: 1)");
    trace("saveEntryToFile", "file=/ostrel/conf/orv/callHome/queues/duplicate/m0");
    trace("oneSecondChores", "throttleDuplicatesPeriod expired, duplicate(s) detected, move msg");
    table("removeInternal", "entry (0) removed from the duplicate", 0, 0);
    table("addInternal", "entry (0) added to the send", 1, 600);
    open();
    books_.mailed(1);
    EXPECT_EQ(broken(), "");

    books_.mailed(2);
    EXPECT_EQ(broken(), "books");
}

TEST_F(BooksTest, missAMessageThatIsNeitherTakenNorCountedNorRefused) {
    receive();
    receive();

    EXPECT_EQ(broken(), "books");
    EXPECT_EQ(books_.sums().unsettled, 1u);
}

TEST_F(BooksTest, excuseALostMessageWhereMemoryRanOut) {
    books_.memoryFailed();
    receive();
    receive();

    EXPECT_EQ(broken(), "");
}

TEST_F(BooksTest, missAReasonForAnEntryThatGoes) {
    take();
    receive();
    remove();

    EXPECT_EQ(broken(), "books");
}

TEST_F(BooksTest, missAnEntryThatTheDaemonDoesNotCount) {
    receive();
    table("addInternal", "entry (0) added to the send", 2, 600);

    EXPECT_EQ(broken(), "books");
}

TEST_F(BooksTest, missARepeatThatIsNotTold) {
    take();
    open();
    receive();
    save();
    trace("add", "already on send queue, increment duplicatesPending count (new value: 1)");
    trace("peekDelete", "entry (0) has completed processing, move it to the duplicate queue (DuplicateCount = 0)");

    EXPECT_EQ(broken(), "books");
}

TEST_F(BooksTest, letAMarkedEntryGoFromTheDuplicateListWithoutAWord) {
    take();
    open();
    trace("clearQueue", "Entry");
    save();
    trace("peekDelete", "entry (0) has completed processing, move it to the duplicate queue (DuplicateCount = 0)");
    remove();
    table("addInternal", "entry (0) added to the duplicate", 0, 0, 1, 600);
    trace("peekOpen", "entry (1) opened in the send queue");
    table("removeInternal", "entry (0) removed from the duplicate", 0, 0);

    EXPECT_EQ(broken(), "");
}

TEST_F(BooksTest, missBytesThatNoEntryIsChargedWith) {
    take();
    trace("makeRoom", "sizeNeeded = 100");
    table("removeInternal", "entry (0) removed from the send", 0, 4);

    EXPECT_EQ(broken(), "bytes");
}

TEST_F(BooksTest, missARecipientWhoIsForgotten) {
    take();
    open();
    books_.offered("a@example.com");
    books_.offered("b@example.com");
    books_.offered("c@example.com");
    books_.served("a@example.com");
    books_.namedInLog("c@example.com");
    complete();
    EXPECT_EQ(broken(), "");

    books_.timeMoves();

    EXPECT_EQ(broken(), "recipients");
}

TEST_F(BooksTest, takeARecipientWhoIsNamedInTheMomentInWhichTheEntryIsDone) {
    take();
    open();
    books_.offered("a@example.com");
    complete();
    books_.namedInLog("a@example.com");
    books_.timeMoves();

    EXPECT_EQ(broken(), "");
}

}  // namespace box
