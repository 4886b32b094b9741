#include "box/cuts/CutRecord.h"

#include "box/cuts/CutSearch.h"

#include <gtest/gtest.h>

#include <string>

namespace box {
namespace {

// What stands in a file; "none" when there is none.
std::string contentOf(const FileTree& tree, const std::string& name) {
    const std::string path = "ostrel/conf/orv/callHome/" + name;
    return tree.names().count(path) > 0 ? tree.file(path).bytes : "none";
}

}  // namespace

TEST(PowerCut, leavesNoOrderFileAndNoNumberOfCapturesWithoutItsWords) {
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
        const CutRecord record(seed);
        for (std::uint64_t number = 0; number < 800; ++number) {
            const FileTree tree = record.tree(number);
            ASSERT_EQ(contentOf(tree, "capture.seq").size(), 4u) << record.text(number);
            for (const char* queue : {"send", "duplicate", "persist"}) {
                const std::string order = contentOf(tree, std::string("queues/") + queue + "/order");
                ASSERT_GE(order.size(), 4u) << queue << ": " << record.text(number);
            }
        }
    }
}

TEST(PowerCut, isSurvived) {
    const CutFigures figures = CutRecord(2, 30 * kSecond).run(100);

    EXPECT_TRUE(figures.failures.empty()) << figures.text();
}

}  // namespace box
