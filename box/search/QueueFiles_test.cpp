#include "box/search/QueueFiles.h"

#include "box/BoxDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace box {
namespace {

class QueueFiles : public testing::Test {
protected:
    QueueFiles() { std::filesystem::create_directories(send_); }

    void entry(unsigned number, const std::string& bytes = "a message") {
        std::ofstream(send_ + "/m" + std::to_string(number)) << bytes;
    }
    void order(const std::vector<std::uint32_t>& words) { order(send_, words); }
    static void order(const std::string& queue, const std::vector<std::uint32_t>& words) {
        std::ofstream file(queue + "/order", std::ios::binary);
        for (const std::uint32_t word : words) {
            file.write(reinterpret_cast<const char*>(&word), sizeof word);
        }
    }
    std::string problem() const { return queueFilesProblem(directory_.path()); }

    const BoxDirectory directory_{""};
    const std::string send_ = directory_.path() + "/ostrel/conf/orv/callHome/queues/send";
};

}  // namespace

TEST_F(QueueFiles, holdWhenTheOrderListsWhatIsThere) {
    EXPECT_EQ(problem(), "");
    entry(3);
    entry(7);
    entry(8, "");  // never accepted
    order({2, 7, 3, 0, 0});

    EXPECT_EQ(problem(), "");
    EXPECT_EQ(waitingEntries(directory_.path()), 2u);
}

TEST_F(QueueFiles, doNotHoldWhenAnEntryIsMissing) {
    entry(3);
    order({2, 3, 7});

    EXPECT_EQ(problem(), "the order file of the send queue lists m7, which is not there");
}

TEST_F(QueueFiles, doNotHoldWhenAnEntryIsNotListed) {
    entry(3);
    entry(7);
    order({1, 7});

    EXPECT_EQ(problem(), "the order file of the send queue does not list m3");
}

TEST_F(QueueFiles, doNotHoldWhenAnEntryIsListedTwice) {
    entry(3);
    order({2, 3, 3});

    EXPECT_EQ(problem(), "the order file of the send queue lists an entry twice");
}

TEST_F(QueueFiles, doNotHoldWithAnOrderThatIsCut) {
    entry(3);
    order({2, 3});

    EXPECT_EQ(problem(), "the order file of the send queue has 2 words");
}

// A mailed entry has a file, full or empty, or none.
TEST_F(QueueFiles, ofDuplicatesNeedNotBeThereButHaveToBeListed) {
    const std::string duplicates = directory_.path() + "/ostrel/conf/orv/callHome/queues/duplicate";
    std::filesystem::create_directories(duplicates);
    std::ofstream(duplicates + "/m1") << "a message";
    std::ofstream(duplicates + "/m2") << "";
    std::ofstream(duplicates + "/m4") << "";
    order(duplicates, {3, 1, 2, 3});
    EXPECT_EQ(problem(), "");

    std::ofstream(duplicates + "/m5") << "a message";
    EXPECT_EQ(problem(), "the order file of the duplicate queue does not list m5");
}

TEST_F(QueueFiles, doNotHoldWhenAListedEntryIsEmpty) {
    entry(3);
    entry(7, "");
    order({2, 3, 7});

    EXPECT_EQ(problem(), "the order file of the send queue lists m7, which is not there");
}

}  // namespace box
