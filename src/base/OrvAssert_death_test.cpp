// A program of its own, in which no thread ever runs: the emulator of the target cannot fork reliably otherwise.
#include "base/OrvAssert.h"

#include "base/OrvMutex.h"

#include <gtest/gtest.h>

namespace {

// The mistakes that the compiler would refuse, where it knows the thread rules.
void lockTwice() ORV_NO_THREAD_SAFETY_ANALYSIS {
    Mt::Mutex mutex;
    mutex.lock();
    mutex.lock();
}

void unlockWithoutLock() ORV_NO_THREAD_SAFETY_ANALYSIS {
    Mt::Mutex mutex;
    mutex.unlock();
}

void destroyLocked() ORV_NO_THREAD_SAFETY_ANALYSIS {
    Mt::Mutex mutex;
    mutex.lock();
}

void waitWithoutLock() ORV_NO_THREAD_SAFETY_ANALYSIS {
    Mt::Mutex mutex;
    Mt::CondLock cond;
    cond.wait(mutex);
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenLockedTwice) {
    EXPECT_DEATH(lockTwice(), "assertion \"pthread_mutex_lock\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenUnlockedWithoutLock) {
    EXPECT_DEATH(unlockWithoutLock(), "assertion \"pthread_mutex_unlock\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenDestroyedLocked) {
    EXPECT_DEATH(destroyLocked(), "assertion \"pthread_mutex_destroy\\(&mutex\\) == 0\" failed");
}

TEST(OrvMutexDeathTest, stopsTheProcessWhenWaitingWithoutTheMutex) {
    EXPECT_DEATH(waitWithoutLock(), "assertion \"pthread_cond_wait\\(&cond, &cmutex.mutex\\) == 0\" failed");
}

TEST(OrvAssertDeathTest, namesExpressionAndPlace) {
    const int three = 3;

    EXPECT_DEATH(ORV_ASSERT(three == 4), "OrvAssert_death_test.cpp:[0-9]+: assertion \"three == 4\" failed");
}

}  // namespace
