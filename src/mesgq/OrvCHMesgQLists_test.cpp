// The lists alone: what is counted and charged as entries come, move and go.
#include "mesgq/OrvCHMesgQLists.h"

#include "testing/mesgq/MesgQTest.h"

namespace {

class OrvCHMesgQListsTest : public MesgQTest {
protected:
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

    OrvCHQuotas quotas_;
    OrvCHMesgQLists lists_{responses_, quotas_};
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

}  // namespace
