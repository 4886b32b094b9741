// The C library's calls as the linker has a program of orv_call_faults make them.
#include "testing/CallHooks.h"
#include "testing/FaultyCall.h"

#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

bool fails(FaultyCall call, const Place& place) {
    const int former = errno;
    const int error = errorOf(call, place);
    errno = error > 0 ? error : former;
    return error > 0;
}

// The same for a call that moves so many bytes, or fewer.
bool failsToMove(FaultyCall call, int file, std::size_t& size) {
    const int former = errno;
    const int error = errorOf(call, file);
    errno = error > 0 ? error : former;
    size = error == CallFaults::kShort ? std::min<std::size_t>(size, 1) : size;
    return error > 0;
}

// A file that is not made needs no room. -1.
int notOpened(int flags) {
    errno = errno == ENOSPC && (flags & O_CREAT) == 0 ? EIO : errno;
    return -1;
}

constexpr char kTraceFile[] = "/orv.out.";

// What closes, closes in any case.
template <typename Close, typename Thing>
int closeOrFail(FaultyCall call, Close real, Thing thing, int failed) {
    const int error = errorOf(call, thing);
    const int result = real(thing);
    if (error == 0) {
        return result;
    }
    errno = error;
    return failed;
}

// What runs in the place of this call; null: nothing does.
template <typename Hook>
const Hook* hookOf(Hook CallHooks::*hook) {
    const CallHooks* const all = CallHooks::atWork();
    return all != nullptr && all->*hook ? &(all->*hook) : nullptr;
}

}  // namespace

// The linker's names of calls that know times, where 64 bits are not what the system began with.
#if __SIZEOF_POINTER__ == 8
#define ORV_STAT stat64
#define ORV_LSTAT lstat64
#define ORV_FSTAT fstat64
#define ORV_FSTATAT fstatat64
#define ORV_FCNTL fcntl64
#define ORV_SETSOCKOPT setsockopt
#define ORV_GETSOCKOPT getsockopt
#define ORV_NANOSLEEP nanosleep
#else
#define ORV_STAT __stat64_time64
#define ORV_LSTAT __lstat64_time64
#define ORV_FSTAT __fstat64_time64
#define ORV_FSTATAT __fstatat64_time64
#define ORV_FCNTL __fcntl_time64
#define ORV_SETSOCKOPT __setsockopt64
#define ORV_GETSOCKOPT __getsockopt64
#define ORV_NANOSLEEP __nanosleep64
#endif
#define ORV_JOINED(prefix, name) prefix##name
#define ORV_REAL(name) ORV_JOINED(__real_, name)
#define ORV_WRAP(name) ORV_JOINED(__wrap_, name)

// Calls that fail with the given result: name for the linker, index, type, failure, place, parameters, arguments.
#define ORV_CALL(name, index, type, failure, place, parameters, arguments)       \
    type ORV_REAL(name) parameters;                                              \
    type ORV_WRAP(name) parameters {                                             \
        return fails(index, Place place) ? (failure) : ORV_REAL(name) arguments; \
    }
// The same where a test may have something else run instead: hook is the member of CallHooks.
#define ORV_HOOKED_CALL(name, hook, index, type, failure, place, parameters, arguments) \
    type ORV_REAL(name) parameters;                                                     \
    type ORV_WRAP(name) parameters {                                                    \
        if (const auto* const instead = hookOf(&CallHooks::hook)) {                     \
            const CallsWithin calls;                                                    \
            return (*instead)arguments;                                                 \
        }                                                                               \
        return fails(index, Place place) ? (failure) : ORV_REAL(name) arguments;        \
    }

extern "C" {

ORV_CALL(open64, kOpen, int, notOpened(flags), (path), (const char* path, int flags, mode_t mode), (path, flags, mode))
ORV_CALL(openat64, kOpenAt, int, notOpened(flags), (place, path), (int place, const char* path, int flags, mode_t mode),
         (place, path, flags, mode))
ORV_CALL(pread64, kPread, ssize_t, -1, (file), (int file, void* data, std::size_t size, off_t at),
         (file, data, size, at))
ORV_CALL(pwrite64, kPwrite, ssize_t, -1, (file), (int file, const void* data, std::size_t size, off_t at),
         (file, data, size, at))
ORV_CALL(ftruncate64, kFtruncate, int, -1, (file), (int file, off_t size), (file, size))
ORV_CALL(rename, kRename, int, -1, (from), (const char* from, const char* to), (from, to))
ORV_CALL(renameat, kRenameAt, int, -1, (place, from), (int place, const char* from, int target, const char* to),
         (place, from, target, to))
ORV_CALL(link, kLink, int, -1, (from), (const char* from, const char* to), (from, to))
ORV_CALL(linkat, kLinkAt, int, -1, (place, from), (int place, const char* from, int target, const char* to, int flags),
         (place, from, target, to, flags))
ORV_CALL(unlink, kUnlink, int, -1, (path), (const char* path), (path))
ORV_HOOKED_CALL(unlinkat, unlinkat, kUnlinkAt, int, -1, (place, path), (int place, const char* path, int flags),
                (place, path, flags))
ORV_CALL(mkdir, kMkdir, int, -1, (path), (const char* path, mode_t mode), (path, mode))
ORV_CALL(mkdirat, kMkdirAt, int, -1, (place, path), (int place, const char* path, mode_t mode), (place, path, mode))
ORV_CALL(rmdir, kRmdir, int, -1, (path), (const char* path), (path))
ORV_CALL(remove, kRemove, int, -1, (path), (const char* path), (path))
ORV_CALL(ORV_STAT, kStat, int, -1, (path), (const char* path, struct stat* status), (path, status))
ORV_CALL(ORV_LSTAT, kLstat, int, -1, (path), (const char* path, struct stat* status), (path, status))
ORV_CALL(ORV_FSTAT, kFstat, int, -1, (file), (int file, struct stat* status), (file, status))
ORV_CALL(ORV_FSTATAT, kFstatAt, int, -1, (place, path), (int place, const char* path, struct stat* status, int flags),
         (place, path, status, flags))
ORV_CALL(access, kAccess, int, -1, (path), (const char* path, int mode), (path, mode))
ORV_CALL(opendir, kOpendir, DIR*, nullptr, (path), (const char* path), (path))
ORV_CALL(fdopendir, kFdopendir, DIR*, nullptr, (file), (int file), (file))
ORV_CALL(readdir64, kReaddir, dirent*, nullptr, (directory), (DIR * directory), (directory))
ORV_CALL(fopen64, kFopen, std::FILE*, nullptr, (path), (const char* path, const char* mode), (path, mode))
ORV_CALL(fdopen, kFdopen, std::FILE*, nullptr, (file), (int file, const char* mode), (file, mode))
ORV_CALL(fread, kFread, std::size_t, 0, (file), (void* data, std::size_t size, std::size_t count, std::FILE* file),
         (data, size, count, file))
ORV_CALL(fwrite, kFwrite, std::size_t, 0, (file),
         (const void* data, std::size_t size, std::size_t count, std::FILE* file), (data, size, count, file))
ORV_CALL(fgets, kFgets, char*, nullptr, (file), (char* line, int size, std::FILE* file), (line, size, file))
ORV_CALL(poll, kPoll, int, -1, (), (pollfd * polled, nfds_t count, int limit), (polled, count, limit))
ORV_CALL(pipe2, kPipe2, int, -1, (), (int* ends, int flags), (ends, flags))
ORV_CALL(eventfd, kEventfd, int, -1, (), (unsigned count, int flags), (count, flags))
ORV_CALL(socket, kSocket, int, -1, (), (int family, int type, int protocol), (family, type, protocol))
ORV_HOOKED_CALL(connect, connect, kConnect, int, -1, (), (int file, const sockaddr* address, socklen_t length),
                (file, address, length))
ORV_HOOKED_CALL(bind, bind, kBind, int, -1, (), (int file, const sockaddr* address, socklen_t length),
                (file, address, length))
ORV_HOOKED_CALL(listen, listen, kListen, int, -1, (), (int file, int backlog), (file, backlog))
ORV_CALL(accept4, kAccept, int, -1, (), (int file, sockaddr* address, socklen_t* length, int flags),
         (file, address, length, flags))
ORV_HOOKED_CALL(send, send, kSend, ssize_t, -1, (), (int file, const void* data, std::size_t size, int flags),
                (file, data, size, flags))
ORV_HOOKED_CALL(recv, recv, kRecv, ssize_t, -1, (), (int file, void* data, std::size_t size, int flags),
                (file, data, size, flags))
ORV_HOOKED_CALL(sendfile64, sendfile, kSendfile, ssize_t, -1, (), (int to, int from, off_t* at, std::size_t size),
                (to, from, at, size))
ORV_CALL(ORV_SETSOCKOPT, kSetsockopt, int, -1, (), (int file, int level, int name, const void* value, socklen_t size),
         (file, level, name, value, size))
ORV_CALL(ORV_GETSOCKOPT, kGetsockopt, int, -1, (), (int file, int level, int name, void* value, socklen_t* size),
         (file, level, name, value, size))
ORV_CALL(ORV_FCNTL, kFcntl, int, -1, (file), (int file, int command, long argument), (file, command, argument))
ORV_CALL(system, kSystem, int, -1, (command), (const char* command), (command))
ORV_CALL(waitpid, kWaitpid, pid_t, -1, (), (pid_t child, int* status, int options), (child, status, options))
ORV_CALL(setpriority, kSetpriority, int, -1, (), (__priority_which_t which, id_t who, int priority),
         (which, who, priority))

ssize_t __real_read(int file, void* data, std::size_t size);
ssize_t __wrap_read(int file, void* data, std::size_t size) {
    return failsToMove(kRead, file, size) ? -1 : __real_read(file, data, size);
}

ssize_t __real_writev(int file, const iovec* parts, int count);
ssize_t __wrap_writev(int file, const iovec* parts, int count) {
    std::size_t size = SIZE_MAX;
    if (failsToMove(kWritev, file, size)) {
        return -1;
    }
    const iovec part{parts[0].iov_base, std::min(parts[0].iov_len, size)};
    return size == SIZE_MAX ? __real_writev(file, parts, count) : __real_writev(file, &part, 1);
}

// A pipe carries wake-ups only. The trace's lines, of which there are many, are told from what matters more.
static FaultyCall writeInto(int file) {
    const int former = errno;
    FaultyCall call = kWrite;
    if (faultsAreInUse()) {
        struct stat status {};
        const bool wakes = ORV_REAL(ORV_FSTAT)(file, &status) == 0 && S_ISFIFO(status.st_mode);
        const FaultyCall other = isAt(file, kTraceFile) ? kTrace : kWrite;
        call = wakes ? kWake : other;
    }
    errno = former;
    return call;
}

ssize_t __real_write(int file, const void* data, std::size_t size);
ssize_t __wrap_write(int file, const void* data, std::size_t size) {
    if (const auto* const instead = hookOf(&CallHooks::write); instead != nullptr && !isAt(file, kTraceFile)) {
        const CallsWithin calls;
        return (*instead)(file, data, size);
    }
    return failsToMove(writeInto(file), file, size) ? -1 : __real_write(file, data, size);
}

// One call to whoever makes it: what it is made of is not counted.
int __real_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode);
int __wrap_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode) {
    if (fails(kOpenUnlinked, path)) {
        return notOpened(flags);
    }
    const CallsWithin calls;
    return __real_orvOpenUnlinked(path, trusted, flags, mode);
}

int __real_close(int file);
int __wrap_close(int file) {
    return closeOrFail(kClose, __real_close, file, -1);
}

int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file) {
    return closeOrFail(kFclose, __real_fclose, file, EOF);
}

int __real_closedir(DIR* directory);
int __wrap_closedir(DIR* directory) {
    return closeOrFail(kClosedir, __real_closedir, directory, -1);
}

// Calls whose result is the error.
int __real_pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument);
int __wrap_pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
    const int error = errorOf(kThread, {});
    return error != 0 ? error : __real_pthread_create(id, attributes, run, argument);
}

int __real_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);
int __wrap_posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    const int error = errorOf(kSpawn, arguments[2]);
    return error != 0 ? error : __real_posix_spawn(child, path, actions, attributes, arguments, environment);
}

int __real_pthread_key_create(pthread_key_t* key, void (*destroy)(void*));
int __wrap_pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) {
    const int error = errorOf(kKeyCreate, {});
    return error != 0 ? error : __real_pthread_key_create(key, destroy);
}

int __real_pthread_setspecific(pthread_key_t key, const void* value);
int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
    const int error = errorOf(kSetspecific, {});
    return error != 0 ? error : __real_pthread_setspecific(key, value);
}

int __real_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** list);
int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** list) {
    const int error = errorOf(kGetaddrinfo, {});
    return error != 0 ? error : __real_getaddrinfo(node, service, hints, list);
}

// Calls that are watched only.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    errorOf(kMutexLock, {});
    return __real_pthread_mutex_lock(mutex);
}

int __real_pthread_cond_signal(pthread_cond_t* cond);
int __wrap_pthread_cond_signal(pthread_cond_t* cond) {
    errorOf(kCondSignal, {});
    return __real_pthread_cond_signal(cond);
}

int __real_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex);
int __wrap_pthread_cond_wait(pthread_cond_t* cond, pthread_mutex_t* mutex) {
    errorOf(kCondWait, {});
    return __real_pthread_cond_wait(cond, mutex);
}

int ORV_REAL(ORV_NANOSLEEP)(const timespec* span, timespec* left);
int ORV_WRAP(ORV_NANOSLEEP)(const timespec* span, timespec* left) {
    return errorOf(kNanosleep, span) == CallFaults::kNoEffect ? 0 : ORV_REAL(ORV_NANOSLEEP)(span, left);
}

unsigned __real_sleep(unsigned seconds);
unsigned __wrap_sleep(unsigned seconds) {
    if (const auto* const instead = hookOf(&CallHooks::sleep)) {
        const CallsWithin calls;
        return (*instead)(seconds);
    }
    return errorOf(kSleep, {}) == CallFaults::kNoEffect ? 0 : __real_sleep(seconds);
}

}  // extern "C"
