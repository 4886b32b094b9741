#include "base/OrvSteps.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(OrvAtEnd, actsOnceAtTheEndOfItsScope) {
    int actions = 0;
    {
        const OrvAtEnd count([&] { ++actions; });
        EXPECT_EQ(actions, 0);
    }
    EXPECT_EQ(actions, 1);
}

TEST(OrvAtEnd, actsWhenAnExceptionLeavesItsScope) {
    int actions = 0;
    try {
        const OrvAtEnd count([&] { ++actions; });
        throw std::runtime_error("out");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(actions, 1);
    }
    EXPECT_EQ(actions, 1);
}

}  // namespace
