// A program of its own, in which no thread ever runs: the emulator of the target cannot fork reliably otherwise.
#include "base/OrvAssert.h"

#include "base/OrvMutex.h"

#include <gtest/gtest.h>

namespace {

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

    EXPECT_DEATH(ORV_ASSERT(three == 4), "OrvAssert_death_test.cpp:[0-9]+: assertion \"three == 4\" failed");
}

}  // namespace
