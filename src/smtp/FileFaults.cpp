#include "smtp/FileFaults.h"

#include <sys/types.h>

#include <cerrno>
#include <cstddef>

namespace {

struct Plan {
    unsigned before = 0;  // calls that still work
    unsigned failures = 0;
    int error = 0;
    bool failed = false;
};
thread_local Plan plan;

// Whether this call is to fail; errno is set then.
bool fails() {
    if (plan.before > 0) {
        --plan.before;
        return false;
    }
    if (plan.failures == 0) {
        return false;
    }
    --plan.failures;
    plan.failed = true;
    errno = plan.error;
    return true;
}

}  // namespace

FailingFileCalls::FailingFileCalls(unsigned nth, int error, unsigned inARow) {
    plan = {nth - 1, inARow, error, false};
}

FailingFileCalls::~FailingFileCalls() {
    plan = {};
}

bool FailingFileCalls::failed() const {
    return plan.failed;
}

extern "C" {

// The linker sends every call of name to __wrap_name, and __real_name to the library.
int __real_open64(const char* path, int flags, mode_t mode);
int __wrap_open64(const char* path, int flags, mode_t mode) {
    return fails() ? -1 : __real_open64(path, flags, mode);
}

int __real_openat64(int directory, const char* path, int flags, mode_t mode);
int __wrap_openat64(int directory, const char* path, int flags, mode_t mode) {
    return fails() ? -1 : __real_openat64(directory, path, flags, mode);
}

long __real_syscall(long number, long a, long b, long c, long d, long e, long f);
long __wrap_syscall(long number, long a, long b, long c, long d, long e, long f) {
    return fails() ? -1 : __real_syscall(number, a, b, c, d, e, f);
}

int __real_stat64(const char* path, void* status);
int __wrap_stat64(const char* path, void* status) {
    return fails() ? -1 : __real_stat64(path, status);
}

int __real_fstat64(int file, void* status);
int __wrap_fstat64(int file, void* status) {
    return fails() ? -1 : __real_fstat64(file, status);
}

int __real_fstatat64(int directory, const char* path, void* status, int flags);
int __wrap_fstatat64(int directory, const char* path, void* status, int flags) {
    return fails() ? -1 : __real_fstatat64(directory, path, status, flags);
}

ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    return fails() ? -1 : __real_read(file, bytes, size);
}

ssize_t __real_write(int file, const void* bytes, std::size_t size);
ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    return fails() ? -1 : __real_write(file, bytes, size);
}

int __real_ftruncate64(int file, off_t size);
int __wrap_ftruncate64(int file, off_t size) {
    return fails() ? -1 : __real_ftruncate64(file, size);
}
}
