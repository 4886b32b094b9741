#include "mesgq/OrvCHMesgQQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsNull;

class OrvCHMesgQQueueTest : public testing::Test {
protected:
    // An entry whose message is charged bytes + 164; eligible when it has a key.
    static std::unique_ptr<OrvCHMesgQEntry> entry(std::uint32_t id, const std::string& key = "",
                                                  std::uint32_t bytes = 100) {
        auto made = std::make_unique<OrvCHMesgQEntry>();
        made->uniqueId = id;
        made->bytesToSave = bytes;
        made->duplicateKey = key;
        made->dupEligible = !key.empty();
        made->message = std::make_unique<OrvCHMesg>();
        return made;
    }
    static std::unique_ptr<OrvCHMesgQEntry> testEntry(std::uint32_t id) {
        auto made = entry(id);
        made->posting.testMsg = true;
        return made;
    }
    std::vector<std::uint32_t> ids() const {
        std::vector<std::uint32_t> found;
        for (const OrvCHMesgQEntry& each : queue_) {
            found.push_back(each.uniqueId);
        }
        return found;
    }

    OrvCHMesgQQueue queue_{ORV_CH_MESG_Q_SEND};
};

TEST_F(OrvCHMesgQQueueTest, isEmptyAndOrderedAtFirst) {
    EXPECT_EQ(queue_.count(), 0u);
    EXPECT_EQ(queue_.bytes(), 0u);
    EXPECT_TRUE(queue_.ordered());
    EXPECT_THAT(ids(), ElementsAre());
    EXPECT_EQ(queue_.nextUniqueId(), 0u);
}

TEST_F(OrvCHMesgQQueueTest, hasTheNameOfItsType) {
    const std::pair<std::uint32_t, std::string> kNames[] = {{0, "init"},    {1, "send"},    {2, "duplicate"},
                                                            {3, "persist"}, {4, "Invalid"}, {0xFFFFFFFFu, "Invalid"}};
    for (const auto& [type, name] : kNames) {
        EXPECT_EQ(orvQueueName(static_cast<ORV_CH_MESG_Q_TYPE>(type)), name);
    }
    EXPECT_STREQ(queue_.name(), "send");
}

TEST_F(OrvCHMesgQQueueTest, keepsArrivalOrderAndChargesEachEntry164MoreThanItsBytes) {
    queue_.append(entry(5, "", 10));
    queue_.append(entry(3, "", 20));
    queue_.append(entry(9, "", 0));

    EXPECT_THAT(ids(), ElementsAre(5, 3, 9));
    EXPECT_EQ(queue_.count(), 3u);
    EXPECT_EQ(queue_.bytes(), 30u + 3 * 164);
}

TEST_F(OrvCHMesgQQueueTest, unlinksHeadMiddleAndTail) {
    OrvCHMesgQEntry& first = queue_.append(entry(0));
    OrvCHMesgQEntry& second = queue_.append(entry(1));
    OrvCHMesgQEntry& third = queue_.append(entry(2));
    OrvCHMesgQEntry& fourth = queue_.append(entry(3));

    EXPECT_EQ(queue_.unlink(second)->uniqueId, 1u);
    EXPECT_THAT(ids(), ElementsAre(0, 2, 3));
    queue_.unlink(fourth);
    EXPECT_THAT(ids(), ElementsAre(0, 2));
    queue_.unlink(first);
    EXPECT_THAT(ids(), ElementsAre(2));
    queue_.unlink(third);
    EXPECT_THAT(ids(), ElementsAre());
    EXPECT_EQ(queue_.bytes(), 0u);

    queue_.append(entry(7));
    EXPECT_THAT(ids(), ElementsAre(7));
}

TEST_F(OrvCHMesgQQueueTest, mayLoseTheCurrentEntryDuringAWalk) {
    for (std::uint32_t id = 0; id < 5; ++id) {
        queue_.append(entry(id));
    }
    std::vector<std::uint32_t> visited;
    for (OrvCHMesgQEntry& each : queue_) {
        visited.push_back(each.uniqueId);
        if (each.uniqueId != 2) {
            queue_.unlink(each);
        }
    }
    EXPECT_THAT(visited, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(ids(), ElementsAre(2));
}

TEST_F(OrvCHMesgQQueueTest, numbersOnFromTheTailSkippingWhatIsTaken) {
    queue_.append(entry(7));
    EXPECT_EQ(queue_.nextUniqueId(), 8u);
    queue_.append(entry(9));
    queue_.append(entry(10));
    queue_.append(entry(8));
    EXPECT_EQ(queue_.nextUniqueId(), 11u);
    EXPECT_TRUE(queue_.isOnQueue(9));
    EXPECT_FALSE(queue_.isOnQueue(11));
}

TEST_F(OrvCHMesgQQueueTest, numbersOnFromZeroBehindTheLargestNumber) {
    queue_.append(entry(0));
    queue_.append(entry(0xFFFFFFFFu));
    EXPECT_EQ(queue_.nextUniqueId(), 1u);
}

TEST_F(OrvCHMesgQQueueTest, numbersFromZeroAgainOnceItHasRunEmpty) {
    queue_.unlink(queue_.append(entry(41)));
    EXPECT_EQ(queue_.nextUniqueId(), 0u);
    EXPECT_FALSE(queue_.isOnQueue(41));
}

TEST_F(OrvCHMesgQQueueTest, findsTheEntryOfExactlyThisMessage) {
    OrvCHMesgQEntry& first = queue_.append(entry(0));
    OrvCHMesgQEntry& second = queue_.append(entry(1));
    const OrvCHMesg stranger;

    EXPECT_EQ(queue_.findEntry(first.message.get()), &first);
    EXPECT_EQ(queue_.findEntry(second.message.get()), &second);
    EXPECT_THAT(queue_.findEntry(&stranger), IsNull());
    const auto removed = queue_.unlink(first);
    EXPECT_THAT(queue_.findEntry(removed->message.get()), IsNull());
}

TEST_F(OrvCHMesgQQueueTest, findsTheFirstEligibleEntryInListOrderOpenOrNot) {
    queue_.append(entry(0, "other"));
    OrvCHMesgQEntry& first = queue_.append(entry(1, "key"));
    OrvCHMesgQEntry& second = queue_.append(entry(2, "key"));
    OrvCHMesgQEntry& third = queue_.append(entry(3, "key"));

    EXPECT_EQ(queue_.findDuplicate("key"), &first);
    EXPECT_THAT(queue_.findDuplicate("ke"), IsNull());
    const auto removed = queue_.unlink(first);
    second.open = true;
    EXPECT_EQ(queue_.findDuplicate("key"), &second);
    queue_.unlink(second);
    EXPECT_EQ(queue_.findDuplicate("key"), &third);
}

TEST_F(OrvCHMesgQQueueTest, doesNotFindEntriesThatAreNotEligible) {
    auto barred = entry(0, "key");
    barred->dupEligible = false;
    queue_.append(std::move(barred));
    EXPECT_THAT(queue_.findDuplicate("key"), IsNull());
}

TEST_F(OrvCHMesgQQueueTest, findsDuplicatesByTheEmptyKeyToo) {
    auto keyless = entry(0);
    keyless->dupEligible = true;
    OrvCHMesgQEntry& only = queue_.append(std::move(keyless));
    EXPECT_EQ(queue_.findDuplicate(""), &only);
}

TEST_F(OrvCHMesgQQueueTest, clearsEligibilityOfEveryEntryAtOnce) {
    OrvCHMesgQEntry& early = queue_.append(entry(0, "key"));
    queue_.append(entry(1, "other"));
    queue_.clearDupEligible();

    EXPECT_FALSE(early.dupEligible);
    EXPECT_THAT(queue_.findDuplicate("key"), IsNull());
    EXPECT_THAT(queue_.findDuplicate("other"), IsNull());
    OrvCHMesgQEntry& late = queue_.append(entry(2, "key"));
    EXPECT_EQ(queue_.findDuplicate("key"), &late);
    queue_.unlink(early);
    EXPECT_EQ(queue_.findDuplicate("key"), &late);
}

TEST_F(OrvCHMesgQQueueTest, orderWordsAreCountNumbersAndAZeroPerTestEntry) {
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(0));
    queue_.append(entry(4));
    queue_.append(testEntry(5));
    OrvCHMesgQEntry& third = queue_.append(entry(6));
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(2, 4, 6, 0));
    OrvCHMesgQEntry& test = queue_.append(testEntry(7));
    queue_.append(entry(2));
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(3, 4, 6, 2, 0, 0));

    queue_.unlink(third);
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(2, 4, 2, 0, 0));
    queue_.unlink(test);
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(2, 4, 2, 0));
}

TEST_F(OrvCHMesgQQueueTest, orderWordsAreRightWhenFirstAskedForLate) {
    queue_.append(testEntry(0));
    queue_.append(entry(1));
    queue_.unlink(queue_.append(entry(2)));
    queue_.append(entry(3));
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(2, 1, 3, 0));
}

TEST_F(OrvCHMesgQQueueTest, initQueueNumbersNothing) {
    OrvCHMesgQQueue init(ORV_CH_MESG_Q_INIT);
    OrvCHMesgQEntry& first = init.append(entry(0, "key"));
    OrvCHMesgQEntry& second = init.append(entry(0, "key"));

    EXPECT_FALSE(init.hasFiles());
    EXPECT_FALSE(init.isOnQueue(0));
    EXPECT_EQ(init.findEntry(second.message.get()), &second);
    init.unlink(first);
    EXPECT_EQ(init.count(), 1u);
    EXPECT_EQ(init.findEntry(second.message.get()), &second);
}

TEST_F(OrvCHMesgQQueueTest, tenThousandEntriesAreToldApart) {
    constexpr std::uint32_t kMany = 10000;
    for (std::uint32_t id = 0; id < kMany; ++id) {
        queue_.append(entry(queue_.nextUniqueId(), "key " + std::to_string(id)));
    }
    EXPECT_EQ(queue_.count(), kMany);
    EXPECT_EQ(queue_.bytes(), kMany * (100 + 164));
    for (OrvCHMesgQEntry& each : queue_) {
        ASSERT_EQ(queue_.findDuplicate("key " + std::to_string(each.uniqueId)), &each);
        ASSERT_EQ(queue_.findEntry(each.message.get()), &each);
    }
    EXPECT_THAT(queue_.findDuplicate("key 10000"), IsNull());
    EXPECT_EQ(queue_.orderWords()->size(), kMany + 1);
    for (OrvCHMesgQEntry& each : queue_) {
        queue_.unlink(each);
    }
    EXPECT_THAT(*queue_.orderWords(), ElementsAre(0));
    EXPECT_EQ(queue_.bytes(), 0u);
}

TEST_F(OrvCHMesgQQueueTest, staysUnorderedOnceItWasRebuilt) {
    queue_.setUnordered();
    queue_.append(entry(0));
    EXPECT_FALSE(queue_.ordered());
}

TEST_F(OrvCHMesgQQueueTest, clearsEligibilityOfOneEntryWhileItStays) {
    OrvCHMesgQEntry& first = queue_.append(entry(0, "key"));
    OrvCHMesgQEntry& second = queue_.append(entry(1, "key"));
    queue_.clearDupEligible(first);

    EXPECT_FALSE(first.dupEligible);
    EXPECT_TRUE(second.dupEligible);
    EXPECT_EQ(queue_.findDuplicate("key"), &second);
    EXPECT_THAT(ids(), ElementsAre(0, 1));
    EXPECT_EQ(queue_.findEntry(first.message.get()), &first);
    queue_.clearDupEligible(second);
    EXPECT_THAT(queue_.findDuplicate("key"), IsNull());
}

TEST_F(OrvCHMesgQQueueTest, keysOfOneHashAreToldApart) {
    OrvCHMesgQQueue queue(ORV_CH_MESG_Q_SEND, [](std::string_view) { return std::size_t{7}; });
    OrvCHMesgQEntry& one = queue.append(entry(0, "one"));
    OrvCHMesgQEntry& two = queue.append(entry(1, "two"));
    OrvCHMesgQEntry& oneAgain = queue.append(entry(2, "one"));

    EXPECT_EQ(queue.findDuplicate("one"), &one);
    EXPECT_EQ(queue.findDuplicate("two"), &two);
    EXPECT_THAT(queue.findDuplicate("three"), IsNull());
    queue.unlink(one);
    EXPECT_EQ(queue.findDuplicate("one"), &oneAgain);
    EXPECT_EQ(queue.findDuplicate("two"), &two);
}

}  // namespace
