#include "mesgq/OrvCHMesgQEntry.h"

#include "testing/FailingCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
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

    void insertFrom(std::size_t first, std::size_t end) {
        for (std::size_t i = first; i < end; ++i) {
            index_.insert(entries_[i], i);
        }
    }
    // Inserts one entry; the bytes of the table that was made for it, 0 for none.
    std::size_t tableBytesOf(std::size_t i) {
        const CountedAllocations counted;
        index_.insert(entries_[i], i);
        EXPECT_LE(counted.count(), 1u);
        return counted.bytes();
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

TEST_F(OrvEntryIndexTest, takesALargerTableWithEachDoubling) {
    std::vector<std::pair<std::size_t, std::size_t>> grown;  // entries before, chains since
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (const std::size_t bytes = tableBytesOf(i)) {
            grown.emplace_back(i, bytes / sizeof(void*));
        }
    }
    using Growth = std::pair<std::size_t, std::size_t>;
    EXPECT_THAT(grown, ElementsAre(Growth(8, 16), Growth(16, 32), Growth(32, 64), Growth(64, 128), Growth(128, 256),
                                   Growth(256, 512), Growth(512, 1024)));
}

TEST_F(OrvEntryIndexTest, growsWithTheNextEntryAfterATableWasMissed) {
    insertFrom(0, 8);
    for (std::size_t i = 8; i < 20; ++i) {
        const FailingMemory failing(MemoryFaults::kObjects, 0, 1);
        index_.insert(entries_[i], i);
        EXPECT_TRUE(failing.failed()) << i;
    }
    EXPECT_EQ(tableBytesOf(20), 16 * sizeof(void*));
    EXPECT_EQ(tableBytesOf(21), 32 * sizeof(void*)) << "one step for each entry";
    EXPECT_EQ(tableBytesOf(22), 0u);
    for (std::size_t i = 0; i <= 22; ++i) {
        EXPECT_THAT(found(i), ElementsAre(&entries_[i]));
    }
}

TEST_F(OrvEntryIndexTest, doesNotGrowForEntriesThatCameAndWent) {
    for (std::size_t round = 0; round < 20; ++round) {
        insertFrom(0, 7);
        EXPECT_EQ(tableBytesOf(7), 0u) << round;
        for (std::size_t i = 0; i < 8; ++i) {
            index_.erase(entries_[i]);
        }
    }
    for (std::size_t round = 0; round < 20; ++round) {
        insertFrom(0, 7);
        EXPECT_EQ(tableBytesOf(7), 0u) << round;
        index_.clear();
    }
    insertFrom(0, 8);
    index_.erase(entries_[999]);  // a stranger is not counted
    EXPECT_EQ(tableBytesOf(8), 16 * sizeof(void*));
}

}  // namespace
