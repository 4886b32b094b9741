// The queue on a flash that fails: writing.
#include "testing/FailingCalls.h"
#include "testing/mesgq/MesgQTest.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::IsSupersetOf;

class OrvCHMesgQFailingTest : public MesgQTest {
protected:
    OrvCHMesgQFailingTest() { open(); }

    // An empty flash again, and a queue on it.
    void wipe() {
        queue_.reset();
        std::filesystem::remove_all(switch_.root().at("/ostrel/conf/orv"));
        for (const char* directory : {kSendDir, kDuplicateDir, kPersistDir}) {
            switch_.root().write(std::string(directory) + "/order", "");  // opens without a shell
        }
        restartAndOpen();
    }
};

TEST_F(OrvCHMesgQFailingTest, reportsAStateBlockThatCannotBeWrittenOrClosed) {
    constexpr unsigned kOfTheMessage = 1;
    struct Row {
        const char* call;
        int error;
        const char* text;
    };
    for (const Row& row :
         {Row{"write", ENOSPC, "No space left on device(28)"}, Row{"close", EIO, "Input/output error(5)"}}) {
        wipe();
        {
            const FailingCall failing(row.call, "/m0", row.error, kOfTheMessage);
            EXPECT_EQ(add("one"), 0);
            EXPECT_EQ(failing.failures(), 1u);
        }
        EXPECT_EQ(takeLog(), (Log{{15, "Unable to close file " + kFirstEntry}}));
        EXPECT_EQ(takeTrace().back(), std::string("saveEntryToFile: unable to close file, errno = ") + row.text + "\n");
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
    }
}

TEST_F(OrvCHMesgQFailingTest, reportsAnOrderFileThatCannotBeWritten) {
    add("one");
    takeTrace();
    {
        const FailingCall failing("write", "/send/order", ENOSPC);
        EXPECT_EQ(add("two"), 0);
        EXPECT_EQ(failing.failures(), 1u);
    }
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to write 12 bytes to file " + kOrderFile}}));
    EXPECT_EQ(takeTrace().back(), "updateOrderFile: unable to write 12 bytes to file " + kOrderFile + "\n");
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"one", "two"}));
    mailNext();
    EXPECT_EQ(switch_.root().read(kOrderFile), wordsToBytes({1, 1})) << "the next write is whole again";
}

TEST_F(OrvCHMesgQFailingTest, reportsAnOrderFileThatCannotBeCut) {
    add("one");
    add("two");
    takeTrace();
    {
        const FailingCall failing("ftruncate", "/send/order", EIO);
        mailNext();
        EXPECT_EQ(failing.failures(), 1u);
    }
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to write 8 bytes to file " + kOrderFile}}));
    EXPECT_THAT(takeTrace(),
                testing::Contains("updateOrderFile: unable to write 8 bytes to file " + kOrderFile + "\n"));
    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"two"}));
    mailNext();
    EXPECT_EQ(switch_.root().read(kOrderFile), wordsToBytes({0})) << "the next write is whole again";
}

TEST_F(OrvCHMesgQFailingTest, anOrderFileThatGrowsIsNotCut) {
    add("one");
    const FailingCall failing("ftruncate", "/send/", EIO);
    add("two");
    EXPECT_EQ(failing.failures(), 0u);
    EXPECT_EQ(switch_.root().read(kOrderFile), wordsToBytes({2, 0, 1}));
}

TEST_F(OrvCHMesgQFailingTest, reportsAnOrderFileThatCannotBeClosed) {
    {
        const FailingCall failing("close", "/send/order", EIO);
        EXPECT_EQ(add("one"), 0);
    }
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to close file " + kOrderFile}}));
    EXPECT_EQ(takeTrace().back(), "updateOrderFile: unable to close file " + kOrderFile + "\n");
}

TEST_F(OrvCHMesgQFailingTest, aSignalBeforeAWriteIsNoFailure) {
    add("first");
    {
        const FailingNth failing(2, "/send/order", EINTR);
        EXPECT_EQ(add("one"), 0);
        EXPECT_TRUE(failing.failed());
    }
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(switch_.root().read(kOrderFile), wordsToBytes({2, 0, 1}));
}

TEST_F(OrvCHMesgQFailingTest, reportsMissingMemoryForTheOrderFile) {
    // Test messages fill the queue, but not the flash: the first order file is a large one.
    constexpr std::uint32_t kTests = 600;
    constexpr std::size_t kOrderBytes = 4 * (1 + kTests + 1);
    configure({{"FilesAllowed", "1000"}});
    for (std::uint32_t i = 0; i < kTests; ++i) {
        addTest("test", "Profile");
    }
    takeLog();
    {
        const FailingAllocation failing(kOrderBytes, kOrderBytes);
        EXPECT_EQ(add("one"), 0);
    }
    const std::string kFile = std::string(kSendDir) + "/m600";
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to allocate memory needed for order file"}}));
    EXPECT_THAT(takeTrace(), Contains("updateOrderFile: unable to allocate memory needed for order file\n"));
    EXPECT_EQ(switch_.root().read(kFile), messageFile("one") + stateBlock());
    EXPECT_EQ(switch_.root().read(kOrderFile), "") << "as it was";
    add("two");
    Words words = {2, 600, 601};
    words.resize(words.size() + kTests);
    EXPECT_EQ(switch_.root().read(kOrderFile), wordsToBytes(words));
}

TEST_F(OrvCHMesgQFailingTest, orderWordsComeBackWhenThereIsMemoryAgain) {
    constexpr std::uint32_t kMany = 1100;
    constexpr std::size_t kGrown = 2048 * sizeof(std::uint32_t);
    OrvCHMesgQQueue queue(ORV_CH_MESG_Q_SEND);
    ASSERT_NE(queue.orderWords(), nullptr);
    std::vector<std::uint32_t> expected = {kMany};
    for (std::uint32_t id = 0; id < kMany; ++id) {
        auto entry = std::make_unique<OrvCHMesgQEntry>();
        entry->uniqueId = id;
        entry->message = std::make_unique<OrvCHMesg>();
        expected.push_back(id);
        const FailingAllocation failing(kGrown, kGrown);
        queue.append(std::move(entry));
    }
    {
        const FailingAllocation failing((kMany + 1) * sizeof(std::uint32_t));
        EXPECT_EQ(queue.orderWords(), nullptr);
    }
    ASSERT_NE(queue.orderWords(), nullptr);
    EXPECT_EQ(*queue.orderWords(), expected);
}

TEST_F(OrvCHMesgQFailingTest, refusesAMessageWithoutMemoryForItsEntry) {
    {
        const FailingAllocation failing(sizeof(OrvCHMesgQEntry), sizeof(OrvCHMesgQEntry));
        EXPECT_EQ(add("one"), -1);
    }
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to allocate memory"}, {15, "Unable to add message"}}));
    EXPECT_EQ(takeTrace(),
              (Texts{"add: testMsg = false, persist = false, persistRepostPeriod = 86400, expireCountdown = -1\n",
                     "addNewEntry: unable to allocate memory\n", "add: unable to add msg\n"}));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
    EXPECT_EQ(queue_->spaceInUse(), 0u);

    restart();
    {
        const FailingAllocation failing(sizeof(OrvCHMesgQEntry), sizeof(OrvCHMesgQEntry));
        EXPECT_EQ(add("early"), -1) << "the init queue, too";
    }
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to allocate memory"}, {15, "Unable to add message"}}));
    EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u);
}

TEST_F(OrvCHMesgQFailingTest, everySingleFailureLeavesTheListsRight) {
    unsigned nth = 0;
    for (bool failed = true; failed;) {
        wipe();
        FailingNth failing(++nth, "/ostrel/");
        add("one");
        add("one");
        add("two");
        addPersistent("three", 1, -1);
        mailNext();
        add("one");
        mailNext(1);
        mailNext();
        chores(3);
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"three"}) << nth;
        EXPECT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), (Texts{"one", "two"})) << nth;
        EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 2) << nth;
        chores(16);
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"three", "one"})) << nth;
        EXPECT_EQ(queue_->clearQueue(), 0);
        EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"three"}) << nth;
        failed = failing.failed();
        checkConsistency(false);
        if (failed) {
            EXPECT_LE(takeLog().size(), 2u) << nth;
        }
    }
    EXPECT_GT(nth, 50u);
    EXPECT_THAT(takeLog(), IsEmpty()) << "the last round had no failure";
}

TEST_F(OrvCHMesgQFailingTest, whatWasAcceptedSurvivesAKillBetweenAnyTwoCalls) {
    unsigned nth = 0;
    for (bool killed = true; killed;) {
        wipe();
        const std::string accepted = switch_.root().at("/tmp/accepted");
        std::ofstream(accepted).close();
        killed = killedAt(++nth, "/ostrel/", [&] {
            for (const char* text : {"one", "two", "one", "three", "four"}) {
                if (add(text) == 0) {
                    std::ofstream(accepted, std::ios::app) << text << "\n";
                }
            }
        });

        restartAndOpen();

        Texts texts_;
        std::ifstream lines(accepted);
        for (std::string line; std::getline(lines, line);) {
            texts_.push_back(line);
        }
        std::ranges::sort(texts_);
        texts_.erase(std::unique(texts_.begin(), texts_.end()), texts_.end());
        EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), IsSupersetOf(texts_)) << nth;
    }
    EXPECT_GT(nth, 25u);
}

TEST_F(OrvCHMesgQFailingTest, aKillWhileMessagesGoCostsNoneThatStaysAndBringsNoneTwice) {
    const auto refill = [this](const Attributes& quotas) {
        wipe();
        configure(quotas);
        park("counted");
        add("counted");
        park("silent");
        add("one");
        add("two");
    };
    struct Row {
        const char* name;
        Attributes quotas;
        std::function<void()> step;
        Texts staying;  // whatever happens
        Texts going;    // if not killed before
        unsigned atLeast;
    };
    const Row kRows[] = {
        {"discard", {{"FilesAllowed", "2"}}, [this] { add("three"); }, {"counted", "two"}, {"one"}, 14},
        {"clear", {}, [this] { queue_->clearQueue(); }, {}, {"counted", "one", "two"}, 15},
        {"flush", {}, [this] { queue_->flushDuplicateQueue(); }, {"one", "two"}, {}, 15},
    };
    for (const Row& row : kRows) {
        bool killed = true;
        unsigned nth = 0;
        while (killed) {
            refill(row.quotas);
            killed = killedAt(++nth, "/ostrel/", row.step);
            restartAndOpen(row.quotas);
            SCOPED_TRACE(row.name + std::string(" ") + std::to_string(nth));
            Texts restored = texts(ORV_CH_MESG_Q_SEND);
            std::ranges::sort(restored);
            EXPECT_EQ(std::ranges::adjacent_find(restored), restored.end()) << testing::PrintToString(restored);
            EXPECT_THAT(restored, IsSupersetOf(row.staying));
            for (const std::string& gone : killed ? Texts() : row.going) {
                EXPECT_THAT(restored, testing::Not(Contains(gone)));
            }
            checkConsistency(false);
        }
        EXPECT_GT(nth, row.atLeast) << row.name;
    }
}

TEST_F(OrvCHMesgQFailingTest, admissionMakesTheSameCallsHoweverManyMessagesWait) {
    configure({{"FileSystemSpaceAllowed", "4294967295"}, {"FilesAllowed", "4294967295"}});
    add("first");
    std::vector<unsigned> calls;
    for (int i = 0; i < 1500; ++i) {
        const CountedCalls counted("/send/");
        ASSERT_EQ(add("text " + std::to_string(i)), 0);
        calls.push_back(counted.calls());
    }
    EXPECT_EQ(calls.front(), 11u)
        << "message: open, write, close; order file: open, look, write, close; state block: open, look, write, close";
    EXPECT_EQ(calls, std::vector<unsigned>(calls.size(), calls.front()));
    const CountedCalls counted("/send/");
    EXPECT_EQ(add("text 700"), 0);
    EXPECT_EQ(counted.calls(), 13u) << "a repeat rewrites one entry: it looks at its message, and cuts it";
}

TEST_F(OrvCHMesgQFailingTest, noKillLeavesAnEmptyOrderFileBehindTheFirstMessage) {
    unsigned nth = 0;
    unsigned without = 0;
    for (bool again = true; again;) {
        wipe();
        std::filesystem::remove(switch_.root().at(kOrderFile));
        switch_.root().write(kFirstEntry, messageFile("one") + stateBlock());
        restartAndOpen();
        again = killedAt(++nth, "/ostrel/", [this] { add("two"); });
        without += !switch_.root().exists(kOrderFile);
        EXPECT_THAT(switch_.root().read(kOrderFile), testing::AnyOf("", wordsToBytes({2, 0, 1}))) << nth;
        restartAndOpen();
        EXPECT_THAT(texts(ORV_CH_MESG_Q_SEND), Contains("one")) << nth;
    }
    EXPECT_THAT(files(kSendDir), testing::ElementsAre("m0", "m1", "order"));
    EXPECT_GT(nth, 8u);
    EXPECT_GT(without, 4u);
}

TEST_F(OrvCHMesgQFailingTest, aFirstOrderFileThatCannotBeMadeDoesNotCome) {
    const std::pair<const char*, std::string> kRows[] = {{"openUnlinked", "Unable to open file " + kOrderFile},
                                                         {"write", "Unable to write 8 bytes to file " + kOrderFile},
                                                         {"renameat", "Unable to open file " + kOrderFile}};
    for (const auto& [call, text] : kRows) {
        wipe();
        std::filesystem::remove(switch_.root().at(kOrderFile));
        {
            const FailingCall failing(call, "/send/order.new", EIO);
            EXPECT_EQ(add("one"), 0);
            EXPECT_EQ(failing.failures(), 1u) << call;
        }
        EXPECT_EQ(takeLog(), (Log{{15, text}})) << call;
        EXPECT_EQ(files(kSendDir), Texts{"m0"}) << call;
        restartAndOpen();
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"}) << "the directory is listed";
    }
}

}  // namespace
