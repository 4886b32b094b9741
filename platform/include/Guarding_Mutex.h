// The platform's own mutex, and what holds it for a scope: std::mutex under names that the thread rules know.
#pragma once

#include "thread_safety.h"

#include <mutex>

class ORV_CAPABILITY("mutex") Guarding_Mutex {
public:
    const Guarding_Mutex& operator!() const { return *this; }  // for ORV_EXCLUDES
    void lock() ORV_ACQUIRE() { mutex_.lock(); }
    void unlock() ORV_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

class ORV_SCOPED_CAPABILITY Guarding_Lock {
public:
    explicit Guarding_Lock(Guarding_Mutex& mutex) ORV_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Guarding_Lock() ORV_RELEASE() { mutex_.unlock(); }
    Guarding_Lock(const Guarding_Lock&) = delete;
    Guarding_Lock& operator=(const Guarding_Lock&) = delete;

private:
    Guarding_Mutex& mutex_;
};
