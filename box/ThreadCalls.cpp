// Threads, mutexes and conditions as a box has them.
#include "box/Calls.h"

#include "box/Box.h"
#include "box/RealCalls.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <list>
#include <vector>

namespace box {

BOX_CALL(int, threadCreate, "pthread_create",
         (pthread_t * id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument))
BOX_CALL(int, threadJoin, "pthread_join", (pthread_t id, void** result))
BOX_CALL(int, threadDetach, "pthread_detach", (pthread_t id))
BOX_CALL(int, mutexLock, "pthread_mutex_lock", (pthread_mutex_t * mutex))
BOX_CALL(int, mutexUnlock, "pthread_mutex_unlock", (pthread_mutex_t * mutex))
BOX_CALL(int, conditionWait, "pthread_cond_wait", (pthread_cond_t * condition, pthread_mutex_t* mutex))
BOX_CALL(int, conditionSignal, "pthread_cond_signal", (pthread_cond_t * condition))
BOX_CALL(int, conditionBroadcast, "pthread_cond_broadcast", (pthread_cond_t * condition))

void keepThreadCalls() {
}

namespace {

struct Waiter {
    const pthread_cond_t* condition;
    bool signalled = false;
};

// Held by the box's threads; few at a time. Never freed: threads may outlive main.
std::vector<const pthread_mutex_t*>& held() {
    static auto& all = *new std::vector<const pthread_mutex_t*>;
    return all;
}

std::list<Waiter*>& waiters() {
    static auto& all = *new std::list<Waiter*>;
    return all;
}

bool isHeld(const pthread_mutex_t* mutex) {
    return std::find(held().begin(), held().end(), mutex) != held().end();
}

struct MutexFree final : Condition {
    explicit MutexFree(const pthread_mutex_t* its) : mutex(its) {}
    bool holds(Time /*now*/) override { return !isHeld(mutex); }
    const pthread_mutex_t* const mutex;
};

// What the real lock would say, but for the wait: EDEADLK where the mutex looks for that, else ETIMEDOUT.
int lockNow(pthread_mutex_t* mutex) {
    const int error = pthread_mutex_trylock(mutex);
    if (error != EBUSY) {
        return error;
    }
    const timespec atOnce{};
    return pthread_mutex_timedlock(mutex, &atOnce);
}

int lockIn(Box& box, pthread_mutex_t* mutex) {
    const Aside aside;
    for (;;) {
        const int error = lockNow(mutex);
        if (error != ETIMEDOUT) {
            held().push_back(mutex);
            if (error != 0) {
                held().pop_back();
            }
            return error;
        }
        MutexFree isFree(mutex);
        box.threads().wait("pthread_mutex_lock", isFree);
    }
}

int unlockIn(Box& box, pthread_mutex_t* mutex) {
    const int error = mutexUnlockReally()(mutex);
    if (error == 0) {
        std::erase(held(), mutex);
        box.threads().changed();
    }
    return error;
}

// Whoever a signal may wake is drawn.
void signalOne(Box& box, const pthread_cond_t* condition) {
    const Aside aside;
    std::vector<Waiter*> asleep;
    for (Waiter* waiter : waiters()) {
        if (waiter->condition == condition && !waiter->signalled) {
            asleep.push_back(waiter);
        }
    }
    if (!asleep.empty()) {
        asleep[box.chance().below(static_cast<std::uint32_t>(asleep.size()))]->signalled = true;
        box.threads().changed();
    }
}

}  // namespace

int threadCreate(pthread_t* id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return threadCreateReally()(id, attributes, run, argument);
    }
    if (const int error = box->call("pthread_create"); error != 0) {
        return error;
    }
    const Aside aside;
    return box->threads().start(id, attributes, run, argument);
}

int threadJoin(pthread_t id, void** result) {
    Box* const box = Box::ofCaller();
    return box == nullptr ? threadJoinReally()(id, result) : box->threads().join(id, result);
}

int threadDetach(pthread_t id) {
    Box* const box = Box::ofCaller();
    return box == nullptr ? threadDetachReally()(id) : box->threads().detach(id);
}

int mutexLock(pthread_mutex_t* mutex) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return mutexLockReally()(mutex);
    }
    const Aside aside;
    box->threads().point();
    return lockIn(*box, mutex);
}

int mutexUnlock(pthread_mutex_t* mutex) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return mutexUnlockReally()(mutex);
    }
    const Aside aside;
    const int error = unlockIn(*box, mutex);
    box->threads().point();
    return error;
}

int conditionWait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return conditionWaitReally()(condition, mutex);
    }
    const Aside aside;
    Waiter waiter{condition};
    waiters().push_back(&waiter);
    if (const int error = unlockIn(*box, mutex); error != 0) {
        waiters().remove(&waiter);
        return error;
    }
    struct Signalled final : Condition {
        explicit Signalled(const Waiter& its) : waiter(its) {}
        bool holds(Time /*now*/) override { return waiter.signalled; }
        const Waiter& waiter;
    } signalled(waiter);
    box->threads().wait("pthread_cond_wait", signalled);
    waiters().remove(&waiter);
    return lockIn(*box, mutex);
}

int conditionSignal(pthread_cond_t* condition) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return conditionSignalReally()(condition);
    }
    signalOne(*box, condition);
    return 0;
}

int conditionBroadcast(pthread_cond_t* condition) {
    Box* const box = Box::ofCaller();
    if (box == nullptr) {
        return conditionBroadcastReally()(condition);
    }
    const Aside aside;
    for (Waiter* waiter : waiters()) {
        waiter->signalled = waiter->signalled || waiter->condition == condition;
    }
    box->threads().changed();
    return 0;
}

}  // namespace box
