#include "thread/ThreadFaults.h"

#include "Dispatcher.h"

#include <pthread.h>

#include <cerrno>
#include <new>
#include <utility>

// The names that the compiler and the C library give to what is wrapped.
#if __SIZEOF_POINTER__ == 8
#define ORV_NOTHROW_NEW _ZnwmRKSt9nothrow_t
#define ORV_THROWING_NEW _Znwm
#define ORV_FCNTL fcntl64
#else
#define ORV_NOTHROW_NEW _ZnwjRKSt9nothrow_t
#define ORV_THROWING_NEW _Znwj
#define ORV_FCNTL __fcntl_time64
#endif
#define ORV_REGISTER_HANDLER _ZN10Dispatcher16register_handlerEP13Event_Handlerj
#define ORV_REMOVE_HANDLER _ZN10Dispatcher14remove_handlerEP13Event_Handlerj
#define ORV_JOIN(a, b) a##b
#define ORV_REAL(name) ORV_JOIN(__real_, name)
#define ORV_WRAP(name) ORV_JOIN(__wrap_, name)

namespace {

thread_local Faults* active = nullptr;

// A hook does not meet itself: what it calls is the real thing.
template <typename Hook, typename... Arguments>
auto call(const Hook& hook, Arguments... arguments) {
    struct Pause {
        Faults* const faults = std::exchange(active, nullptr);
        ~Pause() { active = faults; }
    };
    const Pause pause;
    return hook(arguments...);
}

bool fails(std::function<bool()> Faults::*hook) {
    return active != nullptr && (active->*hook) && call(active->*hook);
}

template <typename... Arguments>
void tell(std::function<void(Arguments...)> Faults::*hook, Arguments... arguments) {
    if (active != nullptr && (active->*hook)) {
        call(active->*hook, arguments...);
    }
}

}  // namespace

extern "C" {
int __real_pipe2(int* ends, int flags);
int ORV_REAL(ORV_FCNTL)(int file, int command, ...);
int ORV_REAL(ORV_REGISTER_HANDLER)(Dispatcher* dispatcher, Event_Handler* handler, unsigned mask);
int ORV_REAL(ORV_REMOVE_HANDLER)(Dispatcher* dispatcher, Event_Handler* handler, unsigned mask);
int __real_setpriority(int which, id_t who, int priority);
int __real_pthread_setspecific(pthread_key_t key, const void* value);
void* ORV_REAL(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag);
void* ORV_REAL(ORV_THROWING_NEW)(std::size_t size);
ssize_t __real_write(int file, const void* bytes, std::size_t count);
ssize_t __real_read(int file, void* bytes, std::size_t count);
int __real_close(int file);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_cond_signal(pthread_cond_t* cond);
int __real_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex);

int __wrap_pipe2(int* ends, int flags) {
    return fails(&Faults::pipe) ? -1 : __real_pipe2(ends, flags);
}

int ORV_WRAP(ORV_FCNTL)(int file, int command, int argument) {
    return fails(&Faults::fcntl) ? -1 : ORV_REAL(ORV_FCNTL)(file, command, argument);
}

int ORV_WRAP(ORV_REGISTER_HANDLER)(Dispatcher* dispatcher, Event_Handler* handler, unsigned mask) {
    tell(&Faults::registering, mask);
    return fails(&Faults::registerHandler) ? -1 : ORV_REAL(ORV_REGISTER_HANDLER)(dispatcher, handler, mask);
}

int ORV_WRAP(ORV_REMOVE_HANDLER)(Dispatcher* dispatcher, Event_Handler* handler, unsigned mask) {
    tell(&Faults::removing, mask);
    return ORV_REAL(ORV_REMOVE_HANDLER)(dispatcher, handler, mask);
}

int __wrap_setpriority(int which, id_t who, int priority) {
    return fails(&Faults::setpriority) ? -1 : __real_setpriority(which, who, priority);
}

int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
    return fails(&Faults::setspecific) ? ENOMEM : __real_pthread_setspecific(key, value);
}

void* ORV_WRAP(ORV_NOTHROW_NEW)(std::size_t size, const std::nothrow_t& tag) {
    return fails(&Faults::nothrowNew) ? nullptr : ORV_REAL(ORV_NOTHROW_NEW)(size, tag);
}

void* ORV_WRAP(ORV_THROWING_NEW)(std::size_t size) {
    if (fails(&Faults::throwingNew)) {
        throw std::bad_alloc();
    }
    return ORV_REAL(ORV_THROWING_NEW)(size);
}

ssize_t __wrap_write(int file, const void* bytes, std::size_t count) {
    if (active != nullptr && active->write) {
        return call(active->write, file, bytes, count);
    }
    return __real_write(file, bytes, count);
}

ssize_t __wrap_read(int file, void* bytes, std::size_t count) {
    if (active != nullptr && active->read) {
        return call(active->read, file, bytes, count);
    }
    return __real_read(file, bytes, count);
}

int __wrap_close(int file) {
    tell(&Faults::closing, file);
    return __real_close(file);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    tell(&Faults::mutexLock);
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_cond_signal(pthread_cond_t* cond) {
    tell(&Faults::condSignal);
    return __real_pthread_cond_signal(cond);
}

int __wrap_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex) {
    tell(&Faults::condWait);
    return __real_pthread_cond_wait(cond, mutex);
}
}

Faults::Faults() : outer_(std::exchange(active, this)) {
}

Faults::~Faults() {
    active = outer_;
}

ssize_t realWrite(int file, const void* bytes, std::size_t count) {
    return __real_write(file, bytes, count);
}

ssize_t realRead(int file, void* bytes, std::size_t count) {
    return __real_read(file, bytes, count);
}
