#include "box/Scheduler.h"

#include "box/Aside.h"
#include "box/RealCalls.h"

#include <semaphore.h>

#include <algorithm>
#include <cerrno>

namespace box {

namespace {

template <typename Call>
Call* real(const char* name) {
    Call* call = nullptr;
    return realCall(call, name);
}

}  // namespace

struct Scheduler::Thread {
    explicit Thread(Scheduler& its) : owner(its) { sem_init(&turn, 0, 0); }
    ~Thread() { sem_destroy(&turn); }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    void awaitTurn() {
        while (sem_wait(&turn) < 0 && errno == EINTR) {
        }
    }

    Scheduler& owner;
    sem_t turn{};
    pthread_t id{};
    void* (*run)(void*) = nullptr;
    void* argument = nullptr;
    const char* call = nullptr;  // what it waits in; null: it can go on
    Condition* condition = nullptr;
    Time deadline = kNever;
    std::uint64_t seen = 0;  // the changes of which the condition has been asked
    bool detached = false;
    bool ended = false;
    bool leaving = false;
};

namespace {

thread_local void* self = nullptr;  // this thread's Scheduler::Thread

}  // namespace

Scheduler::Scheduler(Random random, Time now, Told told)
    : random_(random), now_(now), told_(std::move(told)), restlessness_(1u << random_.below(6)) {
    pthread_key_create(&endKey_, leave);
}

Scheduler::~Scheduler() {
    self = nullptr;
    pthread_key_delete(endKey_);
}

void Scheduler::begin() {
    threads_.push_back(std::make_unique<Thread>(*this));
    threads_.back()->id = pthread_self();
    self = threads_.back().get();
}

bool Scheduler::ownsThread() {
    return self != nullptr;
}

bool Scheduler::onMainThread() const {
    return self == threads_.front().get();
}

void Scheduler::point() {
    const Aside aside;
    if (++pointsAtOnce_ > kMostPointsAtOnce) {
        told_.stuck("time stands still");
    }
    if (threads_.size() > 1 && random_.oneIn(restlessness_)) {
        handTo(pick());
    }
}

bool Scheduler::wait(const char* call, Condition& condition, Time deadline) {
    const Aside aside;
    auto& me = *static_cast<Thread*>(self);
    while (!condition.holds(now_)) {
        if (now_ >= deadline) {
            return false;
        }
        me.call = call;
        me.condition = &condition;
        me.deadline = deadline;
        me.seen = changes_;
        handTo(pickOrPassTime());
        me.call = nullptr;
    }
    return true;
}

bool Scheduler::canGoOn(Thread& thread) {
    if (thread.ended) {
        return false;
    }
    if (thread.call == nullptr || now_ >= thread.deadline) {
        return true;
    }
    if (thread.seen == changes_) {
        return false;
    }
    // What holds is asked again as long as another thread is picked.
    const bool holds = thread.condition->holds(now_);
    thread.seen = holds ? 0 : changes_;
    return holds;
}

// Null when all wait.
Scheduler::Thread* Scheduler::pick() {
    ready_.clear();
    for (const auto& thread : threads_) {
        if (canGoOn(*thread)) {
            ready_.push_back(thread.get());
        }
    }
    if (ready_.empty()) {
        return nullptr;
    }
    return ready_.size() == 1 ? ready_.front() : ready_[random_.below(static_cast<std::uint32_t>(ready_.size()))];
}

Scheduler::Thread* Scheduler::pickOrPassTime() {
    for (;;) {
        if (Thread* const next = pick()) {
            return next;
        }
        passTime();
    }
}

void Scheduler::passTime() {
    Time next = kNever;
    for (const auto& thread : threads_) {
        if (!thread->ended) {
            next = std::min({next, thread->deadline, thread->condition->due()});
        }
    }
    if (next == kNever) {
        told_.stuck("no thread can ever go on: " + whoWaits());
    }
    if (next > now_) {
        if (!threads_.front()->ended && threads_.front()->call != nullptr) {
            told_.mainWaits(threads_.front()->call);
        }
        now_ = next;
        changed();
        pointsAtOnce_ = 0;
    } else if (++pointsAtOnce_ > kMostPointsAtOnce) {
        told_.stuck("time stands still");
    }
}

std::string Scheduler::whoWaits() const {
    std::string text;
    for (std::size_t i = 0; i < threads_.size(); ++i) {
        if (!threads_[i]->ended) {
            const char* const call = threads_[i]->call;
            text += "thread " + std::to_string(i) + " in " + (call != nullptr ? call : "its own code") + "; ";
        }
    }
    return text;
}

void Scheduler::handTo(Thread* next) {
    auto* const me = static_cast<Thread*>(self);
    if (next == me) {
        return;
    }
    sem_post(&next->turn);
    me->awaitTurn();
}

int Scheduler::start(pthread_t* id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
    auto thread = std::make_unique<Thread>(*this);
    thread->run = run;
    thread->argument = argument;
    int kind = PTHREAD_CREATE_JOINABLE;
    if (attributes != nullptr) {
        pthread_attr_getdetachstate(attributes, &kind);
    }
    thread->detached = kind == PTHREAD_CREATE_DETACHED;
    static auto* const create = real<decltype(::pthread_create)>("pthread_create");
    const int error = create(&thread->id, attributes, enter, thread.get());
    if (error == 0) {
        *id = thread->id;
        threads_.push_back(std::move(thread));
    }
    return error;
}

void* Scheduler::enter(void* thread) {
    auto& me = *static_cast<Thread*>(thread);
    me.awaitTurn();
    self = &me;
    pthread_setspecific(me.owner.endKey_, &me);
    return me.run(me.argument);
}

// The thread's last word: its other keys and objects are gone by the second call.
void Scheduler::leave(void* thread) {
    const Aside aside;
    auto& me = *static_cast<Thread*>(thread);
    Scheduler& owner = me.owner;
    if (!me.leaving) {
        me.leaving = true;
        pthread_setspecific(owner.endKey_, &me);
        return;
    }
    me.ended = true;
    owner.changed();
    Thread* const next = owner.pickOrPassTime();
    self = nullptr;
    if (me.detached) {
        owner.forget(&me);
    }
    sem_post(&next->turn);
}

Scheduler::Thread* Scheduler::find(pthread_t id) {
    const auto found = std::find_if(threads_.rbegin(), threads_.rend(),
                                    [id](const auto& thread) { return pthread_equal(thread->id, id) != 0; });
    return found != threads_.rend() ? found->get() : nullptr;
}

void Scheduler::forget(const Thread* thread) {
    std::erase_if(threads_, [thread](const auto& each) { return each.get() == thread; });
}

int Scheduler::join(pthread_t id, void** result) {
    static auto* const joinReally = real<decltype(::pthread_join)>("pthread_join");
    Thread* const thread = find(id);
    if (thread == nullptr) {
        return ESRCH;
    }
    struct Ended final : Condition {
        explicit Ended(const Thread& its) : thread(its) {}
        bool holds(Time /*now*/) override { return thread.ended; }
        const Thread& thread;
    } ended(*thread);
    wait("pthread_join", ended);
    const int error = joinReally(id, result);
    forget(thread);
    return error;
}

int Scheduler::detach(pthread_t id) {
    static auto* const detachReally = real<decltype(::pthread_detach)>("pthread_detach");
    if (Thread* const thread = find(id)) {
        thread->detached = true;
    }
    return detachReally(id);
}

}  // namespace box
