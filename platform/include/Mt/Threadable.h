// A thread of the platform: attributes, the running thread and its body. Threader::launch starts it.
#pragma once

#include <pthread.h>
#include <sched.h>
#include <sys/types.h>

#include <cstddef>

namespace Mt {

class Threadable {
public:
    Threadable() = default;
    virtual ~Threadable() = default;
    Threadable(const Threadable&) = delete;
    Threadable& operator=(const Threadable&) = delete;

    // Before launch: attributes of the thread to be. On the running thread setDetached takes effect at once.
    // Each returns 0 or an error number.
    virtual int setDetached(bool detached);
    virtual int setStackSize(std::size_t bytes);
    virtual int setSchedPolicy(int policy);
    virtual int setSchedParam(const sched_param& param);
    virtual int setSchedInherit(bool inherit);
    virtual int cancel();
    // On the calling thread, as pthread_setcancelstate and pthread_setcanceltype.
    virtual int setCancelState(int state, int* previous);
    virtual int setCancelType(int type, int* previous);
    virtual void testCancel();
    virtual int join(void** result);
    virtual int signal(int number);
    virtual pthread_t getId() const;
    virtual pid_t getTid() const;
    virtual bool equals(const Threadable& other) const;

    // The thread's entry; its result becomes the thread's exit value.
    virtual int run() = 0;

private:
    friend class Threader;
    static void* enter(void* self);

    pthread_t id_{};
    bool launched_ = false;
    bool detached_ = false;
    std::size_t stackSize_ = 0;  // 0: the system's default
};

}  // namespace Mt
