// A thread of the platform: attributes, the running thread and its body. Threader::launch starts it.
#pragma once

#include "Guarding_Mutex.h"

#include <pthread.h>
#include <sched.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>

namespace Mt {

class Threadable {
public:
    Threadable() = default;
    virtual ~Threadable() = default;
    Threadable(const Threadable&) = delete;
    Threadable& operator=(const Threadable&) = delete;

    // Before launch: attributes of the thread to be. On the running thread setDetached takes effect at once.
    // Each returns 0 or an error number; ESRCH where a running thread is needed and there is none.
    virtual int setDetached(bool detached) ORV_EXCLUDES(lock_);
    virtual int setStackSize(std::size_t bytes) ORV_EXCLUDES(lock_);
    virtual int setSchedPolicy(int policy) ORV_EXCLUDES(lock_);
    virtual int setSchedParam(const sched_param& param) ORV_EXCLUDES(lock_);
    virtual int setSchedInherit(bool inherit) ORV_EXCLUDES(lock_);
    // Of a thread that has not been joined, or is detached and still runs.
    virtual int cancel() ORV_EXCLUDES(lock_);
    // On the calling thread, as pthread_setcancelstate and pthread_setcanceltype.
    virtual int setCancelState(int state, int* previous);
    virtual int setCancelType(int type, int* previous);
    virtual void testCancel();
    // Waits for the end of run(); null: the result does not matter. EINVAL for a detached thread.
    virtual int join(void** result) ORV_EXCLUDES(lock_);
    virtual int signal(int number) ORV_EXCLUDES(lock_);
    // Zero before the thread has been launched; getTid until it runs.
    virtual pthread_t getId() const ORV_EXCLUDES(lock_);
    virtual pid_t getTid() const ORV_EXCLUDES(lock_);
    virtual bool equals(const Threadable& other) const ORV_EXCLUDES(lock_) ORV_EXCLUDES(other.lock_);

    // The thread's entry; its result becomes the thread's exit value.
    virtual int run() = 0;

private:
    friend class Threader;
    // Nobody holds a lock where a thread begins.
    static void* enter(void* self) ORV_NO_THREAD_SAFETY_ANALYSIS;
    void begin() ORV_EXCLUDES(lock_);
    int launch() ORV_EXCLUDES(lock_);

    mutable Guarding_Mutex lock_;  // held by launch until id_ is known
    pthread_t id_ ORV_GUARDED_BY(lock_){};
    pid_t tid_ ORV_GUARDED_BY(lock_) = 0;
    bool launched_ ORV_GUARDED_BY(lock_) = false;
    bool detached_ ORV_GUARDED_BY(lock_) = false;
    // What is not set is the system's default.
    std::optional<std::size_t> stackSize_ ORV_GUARDED_BY(lock_);
    std::optional<int> policy_ ORV_GUARDED_BY(lock_);
    std::optional<sched_param> param_ ORV_GUARDED_BY(lock_);
    std::optional<bool> inherit_ ORV_GUARDED_BY(lock_);
};

}  // namespace Mt
