// The daemon and the model, led through the same random histories.
#include "box/compare/CompareSearch.h"

#include <gtest/gtest.h>

namespace box {

TEST(DaemonAndModel, doTheSameInRandomHistories) {
    CompareFigures figures;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        figures.add(compareHistory(seed, 150));
    }

    EXPECT_EQ(figures.failures, std::vector<std::string>());
    EXPECT_GT(figures.compared, 0u);
    EXPECT_GT(figures.whole, 0u);
}

}  // namespace box
