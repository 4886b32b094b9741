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
    Mt::CondLock cond(mutex);
    int turn = 0;
    int woken = 0;
    std::vector<std::jthread> threads;

    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            const Mt::Lock lock(mutex);
            while (turn == 0) {
                cond.wait();
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

TEST(OrvMutexDeathTest, stopsTheProcessWhenLockedTwice) {
    EXPECT_DEATH(
        {
            Mt::Mutex mutex;
            mutex.lock();
            mutex.lock();
        },
        "assertion \"pthread_mutex_lock\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenUnlockedWithoutLock) {
    EXPECT_DEATH(
        {
            Mt::Mutex mutex;
            mutex.unlock();
        },
        "assertion \"pthread_mutex_unlock\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenDestroyedLocked) {
    EXPECT_DEATH(
        {
            Mt::Mutex mutex;
            mutex.lock();
        },
        "assertion \"pthread_mutex_destroy\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenWaitingWithoutTheMutex) {
    EXPECT_DEATH(
        {
            Mt::Mutex mutex;
            Mt::CondLock cond(mutex);
            cond.wait();
        },
        "assertion \"pthread_cond_wait\\(&cond, &cmutex.mutex\\) == 0\" failed");
}

TEST(OrvAssertDeathTest, namesExpressionAndPlace) {
    const int three = 3;

    EXPECT_DEATH(ORV_ASSERT(three == 4), "OrvMutex_test.cpp:[0-9]+: assertion \"three == 4\" failed");
}

TEST(OrvAssert, goesOnWhenTheExpressionHolds) {
    int evaluated = 0;

    ORV_ASSERT(++evaluated == 1);

    EXPECT_EQ(evaluated, 1);
}

}  // namespace
