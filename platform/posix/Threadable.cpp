#include "Mt/Threadable.h"

#include "Mt/Threader.h"

#include <cxxabi.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

namespace Mt {

namespace {

class Attributes {
public:
    Attributes() { pthread_attr_init(&attributes_); }
    ~Attributes() { pthread_attr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    pthread_attr_t* get() { return &attributes_; }

private:
    pthread_attr_t attributes_{};
};

// A thread that was cancelled or ended itself unwinds as if by an exception, which has to go on. There is no object
// behind that exception, which a sanitizer takes for a null reference.
__attribute__((no_sanitize("undefined"))) int runGuarded(Threadable& thread) {
    try {
        return thread.run();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        syslog(LOG_ERR, "a thread ended by an exception");
        return -1;
    }
}

}  // namespace

int Threadable::setDetached(bool detached) {
    const Guarding_Lock guard(lock_);
    if (launched_ && detached != detached_) {
        const int error = detached ? pthread_detach(id_) : EINVAL;
        if (error != 0) {
            return error;
        }
    }
    detached_ = detached;
    return 0;
}

int Threadable::setStackSize(std::size_t bytes) {
    const Guarding_Lock guard(lock_);
    Attributes trial;
    const int error = pthread_attr_setstacksize(trial.get(), bytes);
    if (error == 0) {
        stackSize_ = bytes;
    }
    return error;
}

int Threadable::setSchedPolicy(int policy) {
    const Guarding_Lock guard(lock_);
    Attributes trial;
    const int error = pthread_attr_setschedpolicy(trial.get(), policy);
    if (error == 0) {
        policy_ = policy;
    }
    return error;
}

// Which priorities are allowed depends on the policy, which may be set later: launch finds out.
int Threadable::setSchedParam(const sched_param& param) {
    const Guarding_Lock guard(lock_);
    param_ = param;
    return 0;
}

int Threadable::setSchedInherit(bool inherit) {
    const Guarding_Lock guard(lock_);
    inherit_ = inherit;
    return 0;
}

int Threadable::cancel() {
    const Guarding_Lock guard(lock_);
    return launched_ ? pthread_cancel(id_) : ESRCH;
}

int Threadable::setCancelState(int state, int* previous) {
    return pthread_setcancelstate(state, previous);
}

int Threadable::setCancelType(int type, int* previous) {
    return pthread_setcanceltype(type, previous);
}

void Threadable::testCancel() {
    pthread_testcancel();
}

int Threadable::join(void** result) {
    pthread_t id{};
    {
        const Guarding_Lock guard(lock_);
        if (!launched_) {
            return ESRCH;
        }
        if (detached_) {
            return EINVAL;
        }
        id = id_;
    }
    const int error = pthread_join(id, result);  // without the lock: the thread itself may need it before it ends
    if (error == 0) {
        const Guarding_Lock guard(lock_);
        launched_ = false;
    }
    return error;
}

int Threadable::signal(int number) {
    const Guarding_Lock guard(lock_);
    return launched_ ? pthread_kill(id_, number) : ESRCH;
}

pthread_t Threadable::getId() const {
    const Guarding_Lock guard(lock_);
    return id_;
}

pid_t Threadable::getTid() const {
    const Guarding_Lock guard(lock_);
    return tid_;
}

bool Threadable::equals(const Threadable& other) const {
    return pthread_equal(getId(), other.getId()) != 0;
}

int Threadable::launch() {
    const Guarding_Lock guard(lock_);
    Attributes attributes;
    int error =
        pthread_attr_setdetachstate(attributes.get(), detached_ ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
    if (error == 0 && stackSize_) {
        error = pthread_attr_setstacksize(attributes.get(), *stackSize_);
    }
    if (error == 0 && policy_) {
        error = pthread_attr_setschedpolicy(attributes.get(), *policy_);
    }
    if (error == 0 && param_) {
        error = pthread_attr_setschedparam(attributes.get(), &*param_);
    }
    if (error == 0 && inherit_) {
        error =
            pthread_attr_setinheritsched(attributes.get(), *inherit_ ? PTHREAD_INHERIT_SCHED : PTHREAD_EXPLICIT_SCHED);
    }
    if (error == 0) {
        error = pthread_create(&id_, attributes.get(), &Threadable::enter, this);
    }
    launched_ = launched_ || error == 0;
    return error;
}

void Threadable::begin() {
    const Guarding_Lock guard(lock_);  // launch has stored id_ when it lets go
    tid_ = gettid();
}

// After run() the object may be gone.
void* Threadable::enter(void* self) {
    auto& thread = *static_cast<Threadable*>(self);
    thread.begin();
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(runGuarded(thread)));
}

int Threader::launch(Threadable& thread) {
    return thread.launch();
}

}  // namespace Mt
