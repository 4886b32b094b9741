// The lists alone: what is counted and charged as entries come, move and go.
#include "mesgq/OrvCHMesgQLists.h"

#include "MessageCodes.h"
#include "testing/mesgq/MesgQPartsTest.h"

namespace {

using testing::ElementsAre;

class OrvCHMesgQListsTest : public MesgQPartsTest {
protected:
    OrvCHMesgQListsTest() : MesgQPartsTest(false) {}

    static constexpr std::uint32_t kOverhead = OrvCHMesgQQueue::kEntryOverhead;

    OrvCHMesgQEntry& added(const std::string& text, const OrvCHPosting& posting = {}) {
        auto mesg = message(text);
        OrvCHMesgQEntry* const entry = lists_.addNewEntry(lists_.send(), mesg, posting, text);
        EXPECT_NE(entry, nullptr);
        EXPECT_EQ(mesg, nullptr);
        return *entry;
    }
    bool addedAs(std::uint32_t id) {
        auto mesg = message("kept");
        const bool done = lists_.addNewEntry(lists_.send(), mesg, {}, "", id) != nullptr;
        EXPECT_EQ(mesg == nullptr, done);
        return done;
    }
};

TEST_F(OrvCHMesgQListsTest, chargesAnEntryUntilItGoes) {
    OrvCHMesgQEntry& entry = added("one");
    const std::uint32_t charged = lists_.spaceInUse();
    EXPECT_EQ(charged, entry.bytesToSave + kOverhead);
    added("two and more");

    entry.message->DuplicateTime = "longer than it was";
    lists_.discard(entry, kOrvMarkedForSpace);

    EXPECT_EQ(lists_.spaceInUse(), lists_.send().bytes());
    EXPECT_EQ(lists_.send().count(), 1u);
}

TEST_F(OrvCHMesgQListsTest, numbersWhatComesAndKeepsANumberThatIsFree) {
    EXPECT_EQ(added("one").uniqueId, 0u);
    EXPECT_EQ(added("two").uniqueId, 1u);
    EXPECT_TRUE(addedAs(9));
    takeLog();

    EXPECT_FALSE(addedAs(9));

    EXPECT_EQ(takeLog().size(), 1u);
    EXPECT_EQ(lists_.send().count(), 3u);
}

TEST_F(OrvCHMesgQListsTest, marksOnlyOrdinaryEntriesForThrottlingAndNoneWithoutIt) {
    EXPECT_TRUE(added("one").dupEligible);
    EXPECT_FALSE(added("two", {.testMsg = true}).dupEligible);
    EXPECT_FALSE(added("three", {.persist = true}).dupEligible);
    quotas_.throttleDuplicates = false;
    const OrvCHMesgQEntry& last = added("four");
    EXPECT_FALSE(last.dupEligible);
    EXPECT_EQ(last.duplicateKey, "");
}

TEST_F(OrvCHMesgQListsTest, countsWhatIsDiscardedByItsReason) {
    const std::pair<OrvDeletionReason, std::uint32_t OrvCHMesgQStatistics::*> rows[] = {
        {kOrvMarkedByClear, &OrvCHMesgQStatistics::deletedForClearReq},
        {kOrvMarkedForSpace, &OrvCHMesgQStatistics::deletedForSpace},
        {kOrvMarkedForFileLimit, &OrvCHMesgQStatistics::deletedForFileLimit},
        {kOrvMarkedForTime, &OrvCHMesgQStatistics::deletedForTime}};
    for (const auto& [reason, counter] : rows) {
        lists_.discard(added("one"), reason);
        EXPECT_EQ(lists_.statistics().*counter, 1u) << reason;
    }
    OrvCHMesgQEntry& marked = added("two", {.persist = true});
    lists_.mark(marked, kOrvMarkedForTime);
    lists_.removeMarked(marked);
    EXPECT_EQ(lists_.statistics().deletedForTime, 2u);
    EXPECT_EQ(lists_.statistics().persistentDeleted, 1u);
    EXPECT_EQ(lists_.spaceInUse(), 0u);
}

TEST_F(OrvCHMesgQListsTest, findsNoEntryThatTheSenderHas) {
    OrvCHMesgQEntry& entry = added("one");
    EXPECT_EQ(lists_.findClosed(entry.message.get(), lists_.send()), &entry);
    entry.open = true;
    EXPECT_EQ(lists_.findClosed(entry.message.get(), lists_.send()), nullptr);
    EXPECT_EQ(lists_.findClosed(entry.message.get(), lists_.duplicate()), nullptr);
}

TEST_F(OrvCHMesgQListsTest, movesAnEntryUnderANewNumberAndTheSameCharge) {
    added("one");
    OrvCHMesgQEntry& entry = added("two");
    const std::uint32_t charged = lists_.spaceInUse();

    lists_.moveEntry(entry, lists_.send(), lists_.duplicate());

    EXPECT_EQ(lists_.send().count(), 1u);
    ASSERT_EQ(lists_.duplicate().count(), 1u);
    EXPECT_EQ((*lists_.duplicate().begin()).uniqueId, 0u);
    EXPECT_EQ(lists_.spaceInUse(), charged);
}

TEST_F(OrvCHMesgQListsTest, tellsATestsProfileWhatBecameOfIt) {
    auto mesg = message("test");
    mesg->TestProfile = "Operators";
    OrvCHMesgQEntry* const entry = lists_.addNewEntry(lists_.send(), mesg, {.testMsg = true}, "");
    ASSERT_NE(entry, nullptr);

    lists_.discard(*entry, kOrvMarkedByClear);

    EXPECT_EQ(takeTestResults(), (std::vector<std::pair<std::string, std::uint32_t>>{{"Operators", kOrvCleared}}));
}

TEST_F(OrvCHMesgQListsTest, writesFilesOnlyWhenItIsOpenForBusiness) {
    added("one");
    EXPECT_EQ(files(kSendDir), Texts{});
    lists_.openForBusiness();
    added("two");
    EXPECT_EQ(files(kSendDir), (Texts{"m1", "order"}));
}

using OrvCHMesgQDeathTest = OrvCHMesgQListsTest;

TEST_F(OrvCHMesgQDeathTest, aQueueOfUnknownTypeStopsTheProcess) {
    EXPECT_DEATH(lists_.ToQueuePtr(static_cast<ORV_CH_MESG_Q_TYPE>(4)), "type < kOrvQueueTypes");
}

TEST_F(OrvCHMesgQListsTest, reportsATestResultThatCannotBeSent) {
    addTest("test", "Profile");
    switch_.bus().refuse(LoopbackBus::messages(MessageFormat::MANAGEMENT, ManagementCode::TEST_PROFILE_RESULTS), 1);
    takeTrace();
    lists_.removeInternal(entry(ORV_CH_MESG_Q_SEND, 0), lists_.send(), kOrvPassed);
    const Texts traced = takeTrace();
    EXPECT_EQ(traced[traced.size() - 2], "removeInternal: Test Results (Passed) sent for Profile Profile\n");
    EXPECT_EQ(traced.back(), "removeInternal: error returned from CH_TestProfileResults\n");
    EXPECT_EQ(takeLog(), (Log{{15, "Unable to send test profile results"}}));
    EXPECT_EQ(lists_.send().count(), 0u);
}

TEST_F(OrvCHMesgQListsTest, tellsTestProfilesTheResultInWords) {
    const std::pair<int, std::string> kResults[] = {
        {0, "Passed"}, {1, "Failed"}, {2, "Cleared"}, {3, "???"}, {-1, "???"}};
    for (const auto& [result, word] : kResults) {
        addTest("test", "Profile");
        takeTrace();
        lists_.removeInternal(entry(ORV_CH_MESG_Q_SEND, 0), lists_.send(), result);
        EXPECT_EQ(takeTrace().back(), "removeInternal: Test Results (" + word + ") sent for Profile Profile\n");
        EXPECT_THAT(takeTestResults(),
                    ElementsAre(std::pair<std::string, std::uint32_t>("Profile", static_cast<std::uint32_t>(result))));
    }
}

TEST_F(OrvCHMesgQListsTest, theFillTableShowsEveryQueueAndTheSums) {
    rest("lasting", 60, -1);
    park("parked");
    park("also parked");
    takeTrace();
    add("waiting");
    EXPECT_EQ(traceOf("addInternal"), Texts{"addInternal: entry (0) added to the send queue\n" +
                                            fillTable({{0, 0},
                                                       {1, charge("waiting")},
                                                       {2, charge("parked") + charge("also parked")},
                                                       {1, charge("lasting")}})});
}

}  // namespace
