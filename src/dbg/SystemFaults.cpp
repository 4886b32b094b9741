#include "dbg/SystemFaults.h"

#include <new>
#include <utility>

extern "C" {
int __real_rename(const char* from, const char* to);
ssize_t __real_writev(int file, const iovec* parts, int count);
int __real_pthread_setspecific(pthread_key_t key, const void* value);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
#if __SIZEOF_POINTER__ == 8
#define ORV_WRAPPED_NEW _ZnamRKSt9nothrow_t
#else
#define ORV_WRAPPED_NEW _ZnajRKSt9nothrow_t
#endif
#define ORV_JOIN(a, b) a##b
#define ORV_NAME(a, b) ORV_JOIN(a, b)
void* ORV_NAME(__real_, ORV_WRAPPED_NEW)(std::size_t size, const std::nothrow_t& tag);

int __wrap_rename(const char* from, const char* to) {
    return faults::onRename ? faults::onRename(from, to) : __real_rename(from, to);
}

ssize_t __wrap_writev(int file, const iovec* parts, int count) {
    return faults::onWritev ? faults::onWritev(file, parts, count) : __real_writev(file, parts, count);
}

int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
    return faults::onSetspecific ? faults::onSetspecific(key, value) : __real_pthread_setspecific(key, value);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (faults::onMutexLock) {
        faults::onMutexLock();
    }
    return __real_pthread_mutex_lock(mutex);
}

void* ORV_NAME(__wrap_, ORV_WRAPPED_NEW)(std::size_t size, const std::nothrow_t& tag) {
    return std::exchange(faults::failNothrowNew, false) ? nullptr : ORV_NAME(__real_, ORV_WRAPPED_NEW)(size, tag);
}
}

namespace faults {

thread_local std::function<int(const char*, const char*)> onRename;
thread_local std::function<ssize_t(int, const iovec*, int)> onWritev;
thread_local std::function<int(pthread_key_t, const void*)> onSetspecific;
thread_local std::function<void()> onMutexLock;
thread_local bool failNothrowNew = false;

int realRename(const char* from, const char* to) {
    return __real_rename(from, to);
}

ssize_t realWritev(int file, const iovec* parts, int count) {
    return __real_writev(file, parts, count);
}

Scope::~Scope() {
    onRename = nullptr;
    onWritev = nullptr;
    onSetspecific = nullptr;
    onMutexLock = nullptr;
    failNothrowNew = false;
}

}  // namespace faults
