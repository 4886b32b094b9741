#include "box/Trouble.h"

#include "Descriptor.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>

namespace box {

TEST(Troubles, meetTheCallsThatTheyAreSetTo) {
    Trouble trouble;
    trouble.callsBefore = 2;
    trouble.calls = 2;
    Troubles troubles(Random(1), trouble);

    EXPECT_EQ(troubles.ofCall("openat64", -1), 0);
    EXPECT_EQ(troubles.ofCall("nanosleep", -1), 0);  // cannot fail, so that it does not count
    EXPECT_EQ(troubles.ofCall("socket", -1), 0);
    EXPECT_NE(troubles.ofCall("rename", -1), 0);
    EXPECT_NE(troubles.ofCall("socket", -1), 0);
    EXPECT_EQ(troubles.ofCall("socket", -1), 0);
    EXPECT_EQ(troubles.failedCalls(), 2u);
}

TEST(Troubles, keepToOneNameWhenTheyAreToldTo) {
    Trouble trouble;
    trouble.calls = 2;
    trouble.ofOneName = true;
    Troubles troubles(Random(1), trouble);

    EXPECT_EQ(troubles.ofCall("fdopendir", -1), ENOMEM);
    EXPECT_EQ(troubles.ofCall("rename", -1), 0);
    EXPECT_EQ(troubles.ofCall("fdopendir", -1), ENOMEM);
    EXPECT_EQ(troubles.ofCall("fdopendir", -1), 0);
}

TEST(Troubles, interruptTheByteOfAWakeUpAtMost) {
    Trouble trouble;
    trouble.calls = 100;
    Troubles troubles(Random(1), trouble);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const Descriptor in(ends[0]);
    const Descriptor out(ends[1]);

    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(troubles.ofCall("write", out.get()), EINTR);
    }
}

TEST(Troubles, refuseMemorySoManyTimes) {
    Trouble trouble;
    trouble.allocationsBefore = 1;
    trouble.allocations = 2;
    Troubles troubles(Random(1), trouble);

    EXPECT_FALSE(troubles.ofAllocation());
    EXPECT_TRUE(troubles.ofAllocation());
    EXPECT_TRUE(troubles.ofAllocation());
    EXPECT_FALSE(troubles.ofAllocation());
    EXPECT_EQ(troubles.failedAllocations(), 2u);
}

}  // namespace box
