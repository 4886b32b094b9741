// What makes room and what does not: how many entries go, which queues are left alone, and what is traced of it.
#include "MessageCodes.h"
#include "testing/mesgq/MesgQRestoreTest.h"

#include <algorithm>

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

class OrvCHMesgQRoomTest : public MesgQRestoreTest {
protected:
    static std::string bytes(std::uint32_t number) { return std::to_string(number); }

    // Count and bytes of the init, send, duplicate and persist queue as the fill table shows them, and their sums.
    static std::string table(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& fill) {
        const char* const kLabels[] = {"    init       ", "    send       ", "    duplicate  ", "    persist    "};
        std::string text = "  Queue             Count  Space Used\n";
        std::pair<std::uint32_t, std::uint32_t> total;
        const auto row = [&text](const char* label, const std::pair<std::uint32_t, std::uint32_t>& cells) {
            char line[64];
            std::snprintf(line, sizeof line, "%s%10u  %10u\n", label, cells.first, cells.second);
            text += line;
        };
        for (std::size_t i = 0; i < fill.size(); ++i) {
            row(kLabels[i], fill[i]);
            total.first += fill[i].first;
            total.second += fill[i].second;
        }
        row("  Total        ", total);
        return text;
    }
    Texts traceOf(const std::string& method) {
        Texts found = takeTrace();
        std::erase_if(found, [&method](const std::string& line) { return !line.starts_with(method + ": "); });
        return found;
    }
};

TEST_F(OrvCHMesgQRoomTest, removesAsManyClosedEntriesAsAreTooManyForAFurtherOne) {
    open({{"FilesAllowed", "4"}});
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    configure({{"FilesAllowed", "2"}});
    takeTrace();
    EXPECT_EQ(add("five"), 0);
    EXPECT_EQ(traceOf("removeOldest"),
              Texts{"removeOldest: discard first 3 non-open msg(s) from send queue to reduce file count\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"four", "five"}));
    EXPECT_EQ(queue_->statistics().deletedForFileLimit, 3u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, marksEveryOpenEntryOnTheWayToTheClosedOnesAndNoneBehind) {
    open();
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    queue_->peekOpen();
    queue_->peekOpen();
    EXPECT_EQ(queue_->peekClose(entry(ORV_CH_MESG_Q_SEND, 0).message.get()), 0);  // closed, open, closed, closed
    configure({{"FilesAllowed", "2"}});
    takeTrace();
    EXPECT_EQ(add("five"), 0);
    EXPECT_EQ(traceOf("removeOldest"),
              (Texts{"removeOldest: discard first 2 non-open msg(s) from send queue to reduce file count\n",
                     "removeOldest: currently open, mark it for deletion\n"}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "four", "five"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 3u);
}

TEST_F(OrvCHMesgQRoomTest, aFurtherFileThatFindsTooFewToRemoveKeepsWhatWasRemoved) {
    open();
    add("one");
    addPersistent("lasting", 60, -1);
    configure({{"FilesAllowed", "1"}});
    takeLog();
    EXPECT_EQ(add("two"), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsendQueue.count = 2, filesAllowed = 1");
}

TEST_F(OrvCHMesgQRoomTest, makingRoomNeverTouchesThePersistQueue) {
    open({{"FileSystemSpaceAllowed", bytes(charge("lasting") + charge("one") - 1)}});
    addPersistent("lasting", 60, -1);
    mailNext();
    ASSERT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(add("one"), -1);
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).markedForDeletion, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, makingRoomNeverTouchesTheInitQueue) {
    for (const char* text : {"one", "two", "six"}) {
        add(text);
    }
    open({{"FileSystemSpaceAllowed", bytes(2 * charge("one"))}});
    // The first needs room while the other two are still charged on the init queue.
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "six"}));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    EXPECT_EQ(queue_->statistics().deletedForSpace, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, aRefusalForSpaceTellsWhatIsInUseAfterwards) {
    open();
    park("parked");
    addPersistent("lasting", 60, -1);
    add("waiting");
    // Everything but the persistent message goes, and there is still a byte too little.
    const std::uint32_t allowed = charge("lasting") + charge("a long message") - 1;
    configure({{"FileSystemSpaceAllowed", bytes(allowed)}});
    takeTrace();
    takeLog();
    EXPECT_EQ(add("a long message"), -1);
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsize needed = " + bytes(charge("a long message")) +
                                      ", spaceAllowed = " + bytes(allowed) +
                                      ", spaceInUse = " + bytes(charge("lasting")));
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
}

TEST_F(OrvCHMesgQRoomTest, theFillTableShowsEveryQueueAndTheSums) {
    open();
    addPersistent("lasting", 60, -1);
    mailNext();
    park("parked");
    park("also parked");
    takeTrace();
    add("waiting");
    EXPECT_EQ(traceOf("addInternal"), Texts{"addInternal: entry (0) added to the send queue\n" +
                                            table({{0, 0},
                                                   {1, charge("waiting")},
                                                   {2, charge("parked") + charge("also parked")},
                                                   {1, charge("lasting")}})});
}

TEST_F(OrvCHMesgQRoomTest, theFillTableShowsTheInitQueueWhileItIsDrained) {
    sendFile("m5", "restored");
    file(std::string(kPersistDir) + "/m2", messageFile("resting"));
    add("early");
    add("late");
    start();
    const Texts traced = traceOf("removeInternal");
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[0], "removeInternal: entry (0) removed from the init queue\n" +
                             table({{1, charge("late")}, {1, charge("restored")}, {0, 0}, {1, charge("resting")}}));
    EXPECT_EQ(traced[1],
              "removeInternal: entry (0) removed from the init queue\n" +
                  table({{0, 0}, {2, charge("restored") + charge("early")}, {0, 0}, {1, charge("resting")}}));
}

TEST_F(OrvCHMesgQRoomTest, everyRefusalIsLoggedBeforeItIsTraced) {
    struct Row {
        const char* name;
        Attributes quotas;
        bool testAndPersist;
    };
    const Row kRows[] = {{"persistent test", {}, true},
                         {"too large", {{"FileSystemSpaceAllowed", "1"}}, false},
                         {"space", {{"FileSystemSpaceAllowed", bytes(charge("lasting") + 10)}}, false},
                         {"files", {{"FilesAllowed", "1"}}, false}};
    for (const Row& row : kRows) {
        restartAndOpen();
        addPersistent("lasting", 60, -1);
        configure(row.quotas);
        const auto refusal = [](const std::string& line) {
            return line.starts_with("add: unable") || line.starts_with("add: cannot") ||
                   line.starts_with("add: message too");
        };
        takeTrace();
        std::size_t entries = 0;
        switch_.bus().observe([&](const Hsb_Message& sent) {
            if (sent.format() == MessageFormat::EVENT_LOG) {
                ++entries;
                EXPECT_TRUE(std::ranges::none_of(takeTrace(), refusal)) << row.name;
            }
        });
        EXPECT_EQ(queue_->add(message("one"), row.testAndPersist, row.testAndPersist, 60, -1, false), -1);
        switch_.bus().observe(nullptr);
        EXPECT_EQ(entries, 1u) << row.name;
        EXPECT_TRUE(std::ranges::any_of(takeTrace(), refusal)) << row.name;
        queue_->clearQueue();
        queue_->removeByMessage(entry(ORV_CH_MESG_Q_PERSIST, 0).message.get(), ORV_CH_MESG_Q_PERSIST, 0);
        takeLog();
    }
}

TEST_F(OrvCHMesgQRoomTest, aTestMessageThatLeavesTheInitQueueReportsNothing) {
    addTest("test", "Profile");
    takeTrace();
    OrvCHMesg* const waiting = entry(ORV_CH_MESG_Q_INIT, 0).message.get();
    EXPECT_EQ(queue_->removeByMessage(waiting, ORV_CH_MESG_Q_INIT, 1), 0);
    EXPECT_THAT(takeTestResults(), IsEmpty());
    EXPECT_EQ(takeTrace(), Texts{"removeInternal: entry (0) removed from the init queue\n" +
                                 table({{0, 0}, {0, 0}, {0, 0}, {0, 0}})});
    EXPECT_EQ(queue_->spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQRoomTest, aMessageCanBeTakenOffAQueueAndKept) {
    open();
    add("one");
    addTest("test", "Profile");
    OrvCHMesg* const test = entry(ORV_CH_MESG_Q_SEND, 1).message.get();
    OrvCHMesg* const one = entry(ORV_CH_MESG_Q_SEND, 0).message.get();
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_PERSIST), nullptr);
    const auto kept = queue_->removeByMessage(test, ORV_CH_MESG_Q_SEND);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->message.get(), test);
    EXPECT_THAT(takeTestResults(), IsEmpty()) << "it is not destroyed";
    EXPECT_EQ(queue_->removeByMessage(one, ORV_CH_MESG_Q_SEND)->message->Text, "one");
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, aMessageThatTheSenderHasOpenIsNotTakenOffItsQueue) {
    open();
    add("one");
    OrvCHMesg* const opened = queue_->peekOpen();
    takeTrace();
    EXPECT_EQ(queue_->removeByMessage(opened, ORV_CH_MESG_Q_SEND, 0), -1);
    EXPECT_EQ(queue_->removeByMessage(opened, ORV_CH_MESG_Q_SEND), nullptr);
    EXPECT_EQ(takeTrace(), Texts(2, "removeByMessage: entry (0) is still open\n"));
    EXPECT_EQ(opened->Text, "one");
    EXPECT_EQ(queue_->peekClose(opened), 0);
    checkConsistency();
}

}  // namespace
