#include "base/OrvMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(OrvMutex, letsOneThreadInAtATime) {
    Mt::Mutex mutex;
    int count = 0;
    std::vector<std::jthread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < 1000; ++turn) {
                const Mt::Lock lock(mutex);
                ++count;
            }
        });
    }
    threads.clear();

    EXPECT_EQ(count, 4000);
}

TEST(OrvCondLock, wakesOneWaiterOrAll) {
    Mt::Mutex mutex;
    Mt::CondLock cond;
    int turn = 0;
    int woken = 0;
    std::vector<std::jthread> threads;

    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            const Mt::Lock lock(mutex);
            while (turn == 0) {
                cond.wait(mutex);
            }
            ++woken;
        });
    }
    mutex.lock();
    turn = 1;
    cond.signal();
    cond.broadcast();
    mutex.unlock();
    threads.clear();

    EXPECT_EQ(woken, 3);
}

TEST(OrvAssert, goesOnWhenTheExpressionHolds) {
    int evaluated = 0;

    ORV_ASSERT(++evaluated == 1);

    EXPECT_EQ(evaluated, 1);
}

}  // namespace
