// The queue when memory runs out: what is done to a list is done whole, and what could not be done is said.
#include "testing/mesgq/MesgQMemoryTest.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::IsEmpty;

TEST_F(OrvCHMesgQMemoryTest, aMomentWithoutMemoryCostsNoMessageAndNoFile) {
    std::unique_ptr<OrvCHMesg> next;
    int result = 0;
    failEachAllocation(
        [&] { next = message("one"); }, [&] { result = queue_->add(std::move(next), false, false, 86400, -1, false); },
        [&](bool) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});
            EXPECT_THAT(switch_.root().read(std::string(kSendDir) + "/m0"), testing::StartsWith(messageFile("one")));
        });
    OrvCHMesg* opened = nullptr;
    failEachAllocation(
        [&] {
            configure({{"ThrottleDupsEnable", "False"}});
            add("one");
            opened = queue_->peekOpen();
        },
        [&] { EXPECT_EQ(queue_->peekDelete(opened, 0), 0); },
        [&](bool) {
            EXPECT_EQ(queue_->sendCount(), 0u);
            EXPECT_FALSE(switch_.root().exists(std::string(kSendDir) + "/m0")) << "it would be mailed twice";
        });
}

TEST_F(OrvCHMesgQMemoryTest, aMessageIsKeptOrRefusedWholeWhereMemoryIsShortForLonger) {
    std::unique_ptr<OrvCHMesg> next;
    int result = 0;
    unsigned refused = 0;
    unsigned kept = 0;
    failEachAllocation([&] { next = message("one"); },
                       [&] { result = queue_->add(std::move(next), false, false, 86400, -1, false); },
                       [&](bool failed) {
                           EXPECT_EQ(queue_->sendCount(), result == 0 ? 1u : 0u);
                           EXPECT_EQ(queue_->statistics().couldNotBeAdded, result == 0 ? 0u : 1u);
                           EXPECT_EQ(queue_->statistics().totalReceived, 1u);
                           if (result != 0) {
                               EXPECT_EQ(takeTexts(), (Texts{"Unable to allocate memory", "Unable to add message"}));
                           }
                           (result == 0 ? kept : refused) += failed;
                       },
                       2);
    EXPECT_GT(refused, 0u);
    EXPECT_GT(kept, 0u) << "a message whose file finds no memory waits all the same";
}

TEST_F(OrvCHMesgQMemoryTest, aRepeatIsCountedOrRefusedWholeWhicheverAllocationFails) {
    std::unique_ptr<OrvCHMesg> next;
    for (const bool parked : {false, true}) {
        int result = 0;
        failEachAllocation(
            [&] {
                parked ? park("one") : static_cast<void>(add("one"));
                next = message("one");
            },
            [&] { result = queue_->add(std::move(next), false, false, 86400, -1, false); },
            [&](bool) {
                const auto type = parked ? ORV_CH_MESG_Q_DUPLICATE : ORV_CH_MESG_Q_SEND;
                const OrvCHMesgQEntry& only = entry(type, 0);
                const std::uint32_t counted =
                    parked ? static_cast<std::uint32_t>(only.message->DuplicateCount) : only.duplicatesPending;
                EXPECT_EQ(texts(type), Texts{"one"});
                EXPECT_EQ(counted, result == 0 ? 1u : 0u);
                EXPECT_EQ(queue_->statistics().duplicateReceived, counted);
                EXPECT_EQ(queue_->statistics().couldNotBeAdded, 1u - counted);
            });
    }
}

TEST_F(OrvCHMesgQMemoryTest, aMailedMessageIsParkedWhicheverAllocationFails) {
    OrvCHMesg* opened = nullptr;
    int result = -1;
    failEachAllocation(
        [&] {
            add("one");
            opened = queue_->peekOpen();
            add("one");
        },
        [&] { result = queue_->peekDelete(opened, 0); },
        [&](bool) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(queue_->sendCount(), 0u);
            EXPECT_EQ(queue_->openCount(), 0u);
            ASSERT_EQ(texts(ORV_CH_MESG_Q_DUPLICATE), Texts{"one"});
            EXPECT_EQ(entry(ORV_CH_MESG_Q_DUPLICATE, 0).message->DuplicateCount, 1);
            EXPECT_EQ(queue_->statistics().sendOk, 1u);
        });
}

TEST_F(OrvCHMesgQMemoryTest, aMessageGivenBackGoesWithItsMarkWhicheverAllocationFails) {
    OrvCHMesg* opened = nullptr;
    int result = -1;
    failEachAllocation(
        [&] {
            addTest("test", "Profile");
            add("one");
            opened = queue_->peekOpen();
            queue_->clearQueue();
        },
        [&] { result = queue_->peekClose(opened); },
        [&](bool) {
            EXPECT_EQ(result, 0);
            EXPECT_EQ(queue_->sendCount(), 0u);
            EXPECT_EQ(queue_->openCount(), 0u);
            EXPECT_EQ(queue_->statistics().deletedForClearReq, 2u);
        });
}

TEST_F(OrvCHMesgQMemoryTest, theChoresMoveEveryMessageWhicheverAllocationFails) {
    failEachAllocation(
        [&] {
            addPersistent("lasting", 10, -1);
            mailNext();
            park("counted");
            add("counted");
            park("silent");
            seconds(16);
        },
        [&] { queue_->oneSecondChores(); },
        [&](bool) {
            EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"counted", "lasting"}));
            EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
            EXPECT_THAT(texts(ORV_CH_MESG_Q_PERSIST), IsEmpty());
        });
}

TEST_F(OrvCHMesgQMemoryTest, clearingAndFlushingAreDoneWholeWhicheverAllocationFails) {
    failEachAllocation(
        [&] {
            addPersistent("lasting", 60, -1);
            add("waiting");
        },
        [&] { EXPECT_EQ(queue_->clearQueue(), 0); },
        [&](bool) {
            EXPECT_EQ(queue_->sendCount(), 0u);
            EXPECT_EQ(texts(ORV_CH_MESG_Q_PERSIST), Texts{"lasting"});
        });
    failEachAllocation(
        [&] {
            park("counted");
            add("counted");
            park("silent");
            add("waiting");
        },
        [&] { EXPECT_EQ(queue_->flushDuplicateQueue(), 0); },
        [&](bool) {
            ASSERT_EQ(texts(ORV_CH_MESG_Q_SEND), (Texts{"waiting", "counted"}));
            EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 0).dupEligible);
            EXPECT_FALSE(entry(ORV_CH_MESG_Q_SEND, 1).dupEligible);
            EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 1).message->DuplicateCount, 1);
            EXPECT_THAT(texts(ORV_CH_MESG_Q_DUPLICATE), IsEmpty());
        });
}

// Each step of the queue for which memory is short for longer: done whole or refused whole, and said once a step.
class OrvCHMesgQBurstTest : public OrvCHMesgQMemoryTest {
protected:
    struct Row {
        const char* name;
        std::function<void()> prepare;
        std::function<int()> step;
        Texts done;     // on the send queue, when the step has returned 0
        Texts refused;  // else
        std::ptrdiff_t guardedSteps;
    };
    void check(const Row& row, int result, const Texts& said) {
        const auto times = [&said](const char* text) { return std::ranges::count(said, text); };
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), result == 0 ? row.done : row.refused);
        EXPECT_EQ(queue_->statistics().couldNotBeAdded, result == 0 ? 0u : 1u);
        EXPECT_LE(times("Unable to allocate memory"), result == 0 ? 0 : 1);
        EXPECT_LE(times("Unable to add message"), result == 0 ? 0 : 1);
        EXPECT_LE(times("System resource error - contact technical support"), row.guardedSteps);
        EXPECT_LE(times("OrvApp - cannot allocate memory"), row.guardedSteps);
    }
    // What stands at the beginning of each entry's file is a message, if anything is.
    void checkFiles() {
        for (const std::string& name : files(kSendDir)) {
            const std::string bytes = name[0] == 'm' ? switch_.root().read(std::string(kSendDir) + "/" + name) : "";
            EXPECT_TRUE(bytes.empty() || bytes.find("\n</OrvCHMesg>\n") != std::string::npos || bytes == stateBlock() ||
                        bytes == stateBlock(0, 1))
                << name << ": " << bytes;
        }
    }
    void goesOn() {
        ASSERT_EQ(add("later"), 0);
        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND).back(), "later");
        checkFiles();
        takeTexts();
    }

    std::unique_ptr<OrvCHMesg> next_;
};

TEST_F(OrvCHMesgQBurstTest, everyStepIsDoneOrRefusedWholeHoweverLongMemoryIsShort) {
    const auto addNext = [this] { return queue_->add(std::move(next_), false, false, 86400, -1, false); };
    const Row kRows[] = {
        {"accept", [this] { next_ = message("one"); }, addNext, {"one"}, {}, 3},
        {"repeat", [this] { add("one"), next_ = message("one"); }, addNext, {"one"}, {"one"}, 3},
        {"discard",
         [this] {
             configure({{"FilesAllowed", "1"}});
             add("one"), next_ = message("two");
         },
         addNext,
         {"two"},
         {},
         5},
        {"mark", [this] { add("one"), queue_->peekOpen(); }, [this] { return queue_->clearQueue(); }, {"one"}, {}, 3},
    };
    for (const Row& row : kRows) {
        for (const unsigned burst : {5u, 50u}) {
            SCOPED_TRACE(row.name);
            int result = 0;
            failEachAllocation(
                row.prepare, [&] { result = row.step(); },
                [&](bool failed) {
                    EXPECT_TRUE(failed || result == 0);
                    if (row.name == std::string("discard") && result != 0 && !texts(ORV_CH_MESG_Q_SEND).empty()) {
                        EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"});  // refused before room was made
                        takeTexts();
                        return;
                    }
                    check(row, result, takeTexts());
                    goesOn();
                },
                burst);
        }
    }
}

TEST_F(OrvCHMesgQBurstTest, aMarkIsSetAndARepeatCountedOnFlashNotBesideTheMessage) {
    for (const bool marked : {false, true}) {
        failEachAllocation(
            [&] {
                add("one");
                marked ? static_cast<void>(queue_->peekOpen()) : static_cast<void>(next_ = message("one"));
            },
            [&] {
                marked ? static_cast<void>(queue_->clearQueue())
                       : static_cast<void>(queue_->add(std::move(next_), false, false, 86400, -1, false));
            },
            [&](bool) {
                EXPECT_EQ(entry(ORV_CH_MESG_Q_SEND, 0).markedForDeletion, marked ? 1u : 0u);
                takeTexts();
                restartAndOpen();
                EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"one"}) << "its file is the old one or the new";
            },
            5);
    }
}

TEST_F(OrvCHMesgQMemoryTest, aMailedMessageIsNotRestoredWhicheverAllocationOfItsDeletionFails) {
    OrvCHMesg* opened = nullptr;
    failEachAllocation(
        [&] {
            configure({{"ThrottleDupsEnable", "False"}});
            add("one");
            add("two");
            opened = queue_->peekOpen();
        },
        [&] { EXPECT_EQ(queue_->peekDelete(opened, 0), 0); },
        [&](bool) {
            EXPECT_FALSE(switch_.root().exists(std::string(kSendDir) + "/m0"));
            takeTexts();
            restartAndOpen();
            EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"two"});
        });
}

TEST_F(OrvCHMesgQMemoryTest, aDeletionWithoutAnyMemoryIsMadeUpForByTheNextMessage) {
    configure({{"ThrottleDupsEnable", "False"}});
    add("one");
    OrvCHMesg* const opened = queue_->peekOpen();
    {
        const FailingMemory failing(MemoryFaults::kObjects, 0, 1000);
        EXPECT_EQ(queue_->peekDelete(opened, 0), 0);
        EXPECT_TRUE(failing.failed());
    }
    EXPECT_EQ(queue_->sendCount(), 0u);
    EXPECT_EQ(queue_->spaceInUse(), 0u);
    EXPECT_TRUE(switch_.root().exists(std::string(kSendDir) + "/m0"));

    add("two");
    restartAndOpen();

    EXPECT_EQ(texts(ORV_CH_MESG_Q_SEND), Texts{"two"});
}

TEST_F(OrvCHMesgQMemoryTest, aRequestForTheQuotasWithoutMemorySettlesThemAtOnce) {
    bool failed = true;
    for (unsigned nth = 1; failed; ++nth) {
        controller_.settled.clear();
        int result = 0;
        {
            const FailingMemory failing(MemoryFaults::kObjects, nth - 1, 1);
            result = queue_->readConfig();
            failed = failing.failed();
        }
        takeTexts();
        EXPECT_EQ(controller_.settled, std::vector<unsigned>{4}) << nth << ": " << result;
    }
}

TEST_F(OrvCHMesgQMemoryTest, indexesThatCannotGrowFindEverythingAllTheSame) {
    constexpr int kMany = 300;
    configure({{"FilesAllowed", "1000"}});
    std::vector<std::unique_ptr<OrvCHMesg>> messages;
    for (int i = 0; i < kMany; ++i) {
        messages.push_back(message("text " + std::to_string(i)));
    }
    for (auto& each : messages) {
        const FailingAllocation failing(16 * sizeof(void*), 16 * sizeof(void*));  // the second table
        ASSERT_EQ(queue_->add(std::move(each), false, false, 86400, -1, false), 0);
    }
    for (int i = 0; i < kMany; ++i) {
        EXPECT_EQ(add("text " + std::to_string(i)), 0);
    }
    EXPECT_EQ(queue_->sendCount(), static_cast<std::uint32_t>(kMany));
    EXPECT_EQ(queue_->statistics().duplicateReceived, static_cast<std::uint32_t>(kMany));
    checkConsistency(false);
}

}  // namespace
