// What makes room and what does not: how many entries go, which queues are left alone, and what is traced of it.
#include "MessageCodes.h"
#include "testing/mesgq/MesgQAdmissionTest.h"

#include <algorithm>

namespace {

class OrvCHMesgQRoomTest : public MesgQAdmissionTest {
protected:
    static std::string bytes(std::uint32_t number) { return std::to_string(number); }
};

TEST_F(OrvCHMesgQRoomTest, removesAsManyClosedEntriesAsAreTooManyForAFurtherOne) {
    quotas_ = {.filesAllowed = 4};
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    quotas_ = {.filesAllowed = 2};
    takeTrace();
    EXPECT_EQ(add("five"), 0);
    EXPECT_EQ(traceOf("removeOldest"),
              Texts{"removeOldest: discard first 3 non-open msg(s) from send queue to reduce file count\n"});
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"four", "five"}));
    EXPECT_EQ(statistics().deletedForFileLimit, 3u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, marksEveryOpenEntryOnTheWayToTheClosedOnesAndNoneBehind) {
    for (const char* text : {"one", "two", "three", "four"}) {
        add(text);
    }
    openAt(1);
    quotas_ = {.filesAllowed = 2};
    takeTrace();
    EXPECT_EQ(add("five"), 0);
    EXPECT_EQ(traceOf("removeOldest"),
              (Texts{"removeOldest: discard first 2 non-open msg(s) from send queue to reduce file count\n",
                     "removeOldest: currently open, mark it for deletion\n"}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two", "four", "five"}));
    EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, 3u);
}

TEST_F(OrvCHMesgQRoomTest, aFurtherFileThatFindsTooFewToRemoveKeepsWhatWasRemoved) {
    add("one");
    addPersistent("lasting", 60, -1);
    quotas_ = {.filesAllowed = 1};
    takeLog();
    EXPECT_EQ(add("two"), -1);
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"lasting"});
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (file limit)"}}));
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsendQueue.count = 2, filesAllowed = 1");
}

TEST_F(OrvCHMesgQRoomTest, makingRoomNeverTouchesThePersistQueue) {
    quotas_ = {.spaceAllowed = charge("lasting") + charge("one") - 1};
    rest("lasting", 60, -1);
    EXPECT_EQ(add("one"), -1);
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
    EXPECT_EQ(entry(ORV_CH_MESG_Q_PERSIST, 0).markedForDeletion, 0u);
    checkConsistency();
}

TEST_F(OrvCHMesgQRoomTest, aRefusalForSpaceTellsWhatIsInUseAfterwards) {
    park("parked");
    addPersistent("lasting", 60, -1);
    add("waiting");
    // Everything but the persistent message goes, and there is still a byte too little.
    const std::uint32_t allowed = charge("lasting") + charge("a long message") - 1;
    quotas_ = {.spaceAllowed = allowed};
    takeTrace();
    takeLog();
    EXPECT_EQ(add("a long message"), -1);
    EXPECT_EQ(takeTrace().back(), "add: unable to make room\nsize needed = " + bytes(charge("a long message")) +
                                      ", spaceAllowed = " + bytes(allowed) +
                                      ", spaceInUse = " + bytes(charge("lasting")));
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to make room for message (filesystem quota limit)"}}));
}

TEST_F(OrvCHMesgQRoomTest, everyRefusalIsLoggedBeforeItIsTraced) {
    struct Row {
        const char* name;
        OrvCHQuotas quotas;
        bool testAndPersist;
    };
    const Row kRows[] = {{"persistent test", {}, true},
                         {"too large", {.spaceAllowed = 1}, false},
                         {"space", {.spaceAllowed = charge("lasting") + 10}, false},
                         {"files", {.filesAllowed = 1}, false}};
    for (const Row& row : kRows) {
        addPersistent("lasting", 60, -1);
        quotas_ = row.quotas;
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
        EXPECT_EQ(admission_.add(message("one"), {row.testAndPersist, row.testAndPersist, 60, -1}, false), -1);
        switch_.bus().observe(nullptr);
        EXPECT_EQ(entries, 1u) << row.name;
        EXPECT_TRUE(std::ranges::any_of(takeTrace(), refusal)) << row.name;
        lists_.discard(entry(ORV_CH_MESG_Q_SEND, 0), kOrvMarkedByClear);
        quotas_ = {};
        takeLog();
    }
}

}  // namespace
