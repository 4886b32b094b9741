#include "capture/CaptureFaults.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace {

constexpr int kEnd = -1;  // in the place of an error number

thread_local unsigned callsLeft = 0;  // until the fault; that one is 1, and 0 is past it
thread_local int fault = 0;
thread_local bool within = false;  // a call that is made of calls

bool fails() {
    if (within || callsLeft == 0 || --callsLeft > 0) {
        return false;
    }
    if (fault == kEnd) {
        _exit(faults::kKilled);
    }
    errno = fault;
    return true;
}

}  // namespace

#define ORV_CALL(name, type, parameters, arguments)          \
    type __real_##name parameters;                           \
    type __wrap_##name parameters {                          \
        return fails() ? type(-1) : __real_##name arguments; \
    }

extern "C" {

ORV_CALL(read, ssize_t, (int file, void* data, std::size_t size), (file, data, size))
ORV_CALL(pread64, ssize_t, (int file, void* data, std::size_t size, off_t at), (file, data, size, at))
ORV_CALL(write, ssize_t, (int file, const void* data, std::size_t size), (file, data, size))
ORV_CALL(ftruncate64, int, (int file, off_t size), (file, size))
ORV_CALL(fstat64, int, (int file, struct stat* status), (file, status))
ORV_CALL(fstatat64, int, (int place, const char* name, struct stat* status, int flags), (place, name, status, flags))
ORV_CALL(unlinkat, int, (int place, const char* name, int flags), (place, name, flags))
ORV_CALL(linkat, int, (int place, const char* name, int target, const char* other, int flags),
         (place, name, target, other, flags))
ORV_CALL(renameat, int, (int place, const char* name, int target, const char* other), (place, name, target, other))

int __real_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode);
int __wrap_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode) {
    if (fails()) {
        return -1;
    }
    within = true;
    const int file = __real_orvOpenUnlinked(path, trusted, flags, mode);
    within = false;
    return file;
}

int __real_close(int file);
int __wrap_close(int file) {
    const bool failed = fails();
    const int error = errno;
    const int result = __real_close(file);
    errno = failed ? error : errno;
    return failed ? -1 : result;
}

}  // extern "C"

namespace faults {

FailNthFileCall::FailNthFileCall(unsigned nth, int error) {
    callsLeft = nth;
    fault = error;
}

FailNthFileCall::~FailNthFileCall() {
    callsLeft = 0;
}

bool FailNthFileCall::happened() {
    return callsLeft == 0;
}

void killAtNthFileCall(unsigned nth) {
    callsLeft = nth;
    fault = kEnd;
}

}  // namespace faults
