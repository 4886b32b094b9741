#include "mesgq/OrvEntryIndex.h"

#include "mesgq/OrvCHMesgQEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class OrvEntryIndexTest : public testing::Test {
protected:
    std::vector<const OrvCHMesgQEntry*> found(std::size_t hash) const {
        std::vector<const OrvCHMesgQEntry*> entries;
        for (OrvCHMesgQEntry* entry = index_.firstOf(hash); entry; entry = index_.nextOf(*entry)) {
            entries.push_back(entry);
        }
        return entries;
    }

    std::vector<OrvCHMesgQEntry> entries_ = std::vector<OrvCHMesgQEntry>(1000);
    OrvEntryIndex index_{&OrvCHMesgQEntry::byKey};
};

TEST_F(OrvEntryIndexTest, findsAllEntriesOfAHashAndNoOthers) {
    index_.insert(entries_[0], 7);
    index_.insert(entries_[1], 8);
    index_.insert(entries_[2], 7);
    EXPECT_THAT(found(7), UnorderedElementsAre(&entries_[0], &entries_[2]));
    EXPECT_THAT(found(8), ElementsAre(&entries_[1]));
    EXPECT_THAT(found(9), IsEmpty());
}

TEST_F(OrvEntryIndexTest, forgetsAnErasedEntryOnly) {
    for (std::size_t i = 0; i < 3; ++i) {
        index_.insert(entries_[i], 7);
    }
    index_.erase(entries_[1]);
    EXPECT_THAT(found(7), UnorderedElementsAre(&entries_[0], &entries_[2]));
    index_.erase(entries_[2]);
    index_.erase(entries_[0]);
    EXPECT_THAT(found(7), IsEmpty());
    index_.insert(entries_[1], 9);
    EXPECT_THAT(found(9), ElementsAre(&entries_[1]));
}

TEST_F(OrvEntryIndexTest, erasingAStrangerChangesNothing) {
    index_.insert(entries_[0], 0);
    index_.erase(entries_[1]);
    EXPECT_THAT(found(0), ElementsAre(&entries_[0]));
}

TEST_F(OrvEntryIndexTest, isEmptyOnceItWasCleared) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        index_.insert(entries_[i], i);
    }
    index_.clear();
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        ASSERT_THAT(found(i), IsEmpty());
        index_.erase(entries_[i]);
    }
    index_.insert(entries_[5], 5);
    EXPECT_THAT(found(5), ElementsAre(&entries_[5]));
}

TEST_F(OrvEntryIndexTest, findsEveryEntryWhileItGrowsAndShrinks) {
    constexpr std::size_t kStep = 0x10001;  // hashes that differ high and low
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        index_.insert(entries_[i], i / 2 * kStep);
        for (std::size_t seen = 0; seen <= i; seen += 97) {
            ASSERT_THAT(found(seen / 2 * kStep), testing::Contains(&entries_[seen])) << i;
        }
    }
    for (std::size_t i = 0; i < entries_.size(); i += 2) {
        ASSERT_THAT(found(i / 2 * kStep), UnorderedElementsAre(&entries_[i], &entries_[i + 1]));
        index_.erase(entries_[i]);
        ASSERT_THAT(found(i / 2 * kStep), ElementsAre(&entries_[i + 1]));
    }
}

}  // namespace
