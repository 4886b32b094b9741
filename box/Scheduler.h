// Whose turn it is: one thread of the box runs at a time, and virtual time moves only when all of them wait.
//
// A thread gives its turn away in point() and wait() only; which one goes on is drawn by the generator. Everything
// but begin() is for the thread whose turn it is.
#pragma once

#include "box/Random.h"
#include "box/Times.h"

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace box {

// What a thread waits for.
class Condition {
public:
    virtual bool holds(Time now) = 0;
    // When it will hold without anybody's doing.
    virtual Time due() const { return kNever; }

protected:
    ~Condition() = default;
};

class Scheduler {
public:
    // At this many points without a move of time the threads are taken to run in a circle.
    static constexpr std::uint64_t kMostPointsAtOnce = 20000000;

    struct Told {
        // No thread can ever go on; does not come back.
        std::function<void(const std::string& why)> stuck;
        // Time moves while the main thread waits in this call.
        std::function<void(const char* call)> mainWaits;
    };

    Scheduler(Random random, Time now, Told told);
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // The calling thread is the box's main thread from now on.
    void begin();
    // Whether the calling thread is one of the box's.
    static bool ownsThread();
    bool onMainThread() const;

    Time now() const { return now_; }

    // Here another thread may go on.
    void point();
    // Waits until the condition holds (true) or the deadline has passed (false). call: what the waiting is called when
    // it never ends.
    bool wait(const char* call, Condition& condition, Time deadline = kNever);
    // Conditions may hold now that did not.
    void changed() { ++changes_; }

    // As pthread_create, pthread_join and pthread_detach.
    int start(pthread_t* id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument);
    int join(pthread_t id, void** result);
    int detach(pthread_t id);

private:
    struct Thread;

    static void* enter(void* thread);
    static void leave(void* thread);
    Thread* find(pthread_t id);
    void forget(const Thread* thread);
    bool canGoOn(Thread& thread);
    Thread* pick();
    Thread* pickOrPassTime();
    void passTime();
    void handTo(Thread* next);
    std::string whoWaits() const;

    Random random_;
    Time now_;
    const Told told_;
    std::vector<std::unique_ptr<Thread>> threads_;  // the main thread is the first
    std::vector<Thread*> ready_;                    // those that can go on, while one is picked
    std::uint64_t changes_ = 1;
    std::uint64_t pointsAtOnce_ = 0;
    std::uint32_t restlessness_;  // one point in so many gives the turn away
    pthread_key_t endKey_{};
};

}  // namespace box
