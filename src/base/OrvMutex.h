// The daemon's mutex and condition: thin wrappers over POSIX. A POSIX call that fails is our own bug and stops the
// process. Any thread.
#pragma once

#include "base/OrvAssert.h"
#include "thread_safety.h"  // IWYU pragma: export

#include <pthread.h>

namespace Mt {

// Not recursive: a thread that locks twice, or unlocks what it does not hold, stops the process instead of waiting
// for ever.
class ORV_CAPABILITY("mutex") Mutex {
public:
    Mutex();
    ~Mutex() { ORV_ASSERT(pthread_mutex_destroy(&mutex) == 0); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    const Mutex& operator!() const { return *this; }  // for ORV_EXCLUDES
    void lock() ORV_ACQUIRE() { ORV_ASSERT(pthread_mutex_lock(&mutex) == 0); }
    void unlock() ORV_RELEASE() { ORV_ASSERT(pthread_mutex_unlock(&mutex) == 0); }

private:
    friend class CondLock;
    pthread_mutex_t mutex;  // No underscore: the name is part of the assertions' texts.
};

// Holds a mutex for a scope.
class ORV_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& mutex) ORV_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Lock() ORV_RELEASE() { mutex_.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex_;
};

// A condition on what a mutex of its user guards. Every wait() names that mutex, as the assertion's text has it.
class CondLock {
public:
    CondLock() { ORV_ASSERT(pthread_cond_init(&cond, nullptr) == 0); }
    ~CondLock() { ORV_ASSERT(pthread_cond_destroy(&cond) == 0); }
    CondLock(const CondLock&) = delete;
    CondLock& operator=(const CondLock&) = delete;

    void wait(Mutex& cmutex) ORV_REQUIRES(cmutex) { ORV_ASSERT(pthread_cond_wait(&cond, &cmutex.mutex) == 0); }
    void signal() { ORV_ASSERT(pthread_cond_signal(&cond) == 0); }
    void broadcast() { ORV_ASSERT(pthread_cond_broadcast(&cond) == 0); }

private:
    pthread_cond_t cond;
};

}  // namespace Mt
