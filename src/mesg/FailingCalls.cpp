#include "mesg/FailingCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

namespace {

struct Plan {
    std::string call;  // empty: any
    std::string part;  // of the path
    unsigned nth = 0;  // 0: every one
    int error = EIO;
    bool kill = false;  // instead of failing
    unsigned spared = 0;
    unsigned seen = 0;
    unsigned failures = 0;
    std::function<void()> step{};  // instead of failing
};
Plan* plan = nullptr;
// The sizes that cannot be had, in bytes.
std::atomic<std::size_t> least{SIZE_MAX};
std::atomic<std::size_t> most{0};
// Allocations until the one that fails; that one is 1, and 0 is past it.
unsigned allocationsLeft = 0;
// So many fail from that one on, and so many still have to.
unsigned burst = 1;
unsigned burstLeft = 0;
// Since counting began.
unsigned allocations = 0;
std::size_t allocatedBytes = 0;

// Whether this call is to fail; errno is set then.
bool fails(const char* call, std::string_view path) {
    if (!plan || (!plan->call.empty() && plan->call != call) || path.find(plan->part) == std::string::npos) {
        return false;
    }
    ++plan->seen;
    if (plan->seen <= plan->spared || (plan->nth != 0 && plan->seen != plan->nth)) {
        return false;
    }
    if (plan->step) {
        std::exchange(plan->step, nullptr)();
        return false;
    }
    if (plan->kill) {
        ::_exit(KillAtNth::kKilled);
    }
    ++plan->failures;
    errno = plan->error;
    return true;
}

// Finding out about a call takes memory that the code under test does not ask for.
class WithMemory {
public:
    WithMemory() : left_(std::exchange(allocationsLeft, 0)), burstLeft_(std::exchange(burstLeft, 0)) {}
    ~WithMemory() {
        allocationsLeft = left_;
        burstLeft = burstLeft_;
    }
    WithMemory(const WithMemory&) = delete;
    WithMemory& operator=(const WithMemory&) = delete;

private:
    const unsigned left_;
    const unsigned burstLeft_;
};

std::string pathOf(int file) {
    char path[PATH_MAX];
    const ssize_t length = ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
    return length < 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
}

bool fails(const char* call, int file) {
    const WithMemory withMemory;
    return plan && fails(call, std::string_view(pathOf(file)));
}
bool fails(const char* call, int directory, const char* name) {
    const WithMemory withMemory;
    return plan && fails(call, std::string_view(pathOf(directory) + "/" + name));
}
bool fails(const char* call, std::FILE* file) {
    return plan && fails(call, ::fileno(file));
}

}  // namespace

FailingCall::FailingCall(std::string call, std::string part, int error, unsigned spared) {
    plan = new Plan{std::move(call), std::move(part), 0, error};
    plan->spared = spared;
}

FailingCall::~FailingCall() {
    delete std::exchange(plan, nullptr);
}

unsigned FailingCall::failures() const {
    return plan->failures;
}

StepBeforeCall::StepBeforeCall(std::string call, std::string part, std::function<void()> step) {
    plan = new Plan{std::move(call), std::move(part), 1};
    plan->step = std::move(step);
}
StepBeforeCall::~StepBeforeCall() {
    delete std::exchange(plan, nullptr);
}
bool StepBeforeCall::taken() const {
    return plan->step == nullptr;
}

FailingNth::FailingNth(unsigned nth, std::string part, int error) {
    plan = new Plan{{}, std::move(part), nth, error};
}

FailingNth::~FailingNth() {
    delete std::exchange(plan, nullptr);
}

bool FailingNth::failed() const {
    return plan->failures > 0;
}

FailingAllocation::FailingAllocation(std::size_t from, std::size_t to) {
    most = to;
    least = from;
}

FailingAllocation::~FailingAllocation() {
    least = SIZE_MAX;
    most = 0;
}

FailingNthAllocation::FailingNthAllocation(unsigned nth, unsigned count) {
    allocationsLeft = nth;
    burst = count;
    burstLeft = 0;
}
FailingNthAllocation::~FailingNthAllocation() {
    allocationsLeft = 0;
    burstLeft = 0;
}
bool FailingNthAllocation::failed() const {
    return allocationsLeft == 0;
}

CountedAllocations::CountedAllocations() {
    allocations = 0;
    allocatedBytes = 0;
}
CountedAllocations::~CountedAllocations() = default;
unsigned CountedAllocations::count() const {
    return allocations;
}
std::size_t CountedAllocations::bytes() const {
    return allocatedBytes;
}

CountedCalls::CountedCalls(std::string part) {
    plan = new Plan{{}, std::move(part), UINT_MAX};
}
CountedCalls::~CountedCalls() {
    delete std::exchange(plan, nullptr);
}
unsigned CountedCalls::calls() const {
    return plan->seen;
}

KillAtNth::KillAtNth(unsigned nth, std::string part) {
    plan = new Plan{{}, std::move(part), nth, EIO, true};
}
KillAtNth::~KillAtNth() {
    delete std::exchange(plan, nullptr);
}

#if __SIZEOF_POINTER__ == 8
#define ORV_FSTATAT fstatat64
#else
#define ORV_FSTATAT __fstatat64_time64
#endif
#define ORV_JOIN2(prefix, name) prefix##name
#define ORV_JOIN(prefix, name) ORV_JOIN2(prefix, name)
#define ORV_REAL(name) ORV_JOIN(__real_, name)
#define ORV_WRAP(name) ORV_JOIN(__wrap_, name)

// The linker sends every call of name to __wrap_name, and __real_name to the library.
extern "C" {

int __real_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode);
int __wrap_orvOpenUnlinked(const char* path, std::size_t trusted, int flags, mode_t mode) {
    return fails("open", std::string_view(path)) ? -1 : __real_orvOpenUnlinked(path, trusted, flags, mode);
}

int __real_close(int file);
int __wrap_close(int file) {
    const bool fail = fails("close", file);
    const int error = errno;
    const int result = __real_close(file);
    if (fail) {
        errno = error;
        return -1;
    }
    return result;
}

ssize_t __real_read(int file, void* data, std::size_t size);
ssize_t __wrap_read(int file, void* data, std::size_t size) {
    return fails("read", file) ? -1 : __real_read(file, data, size);
}

ssize_t __real_write(int file, const void* data, std::size_t size);
ssize_t __wrap_write(int file, const void* data, std::size_t size) {
    return fails("write", file) ? -1 : __real_write(file, data, size);
}

int __real_ftruncate64(int file, off_t size);
int __wrap_ftruncate64(int file, off_t size) {
    return fails("ftruncate", file) ? -1 : __real_ftruncate64(file, size);
}

int ORV_REAL(ORV_FSTATAT)(int directory, const char* name, struct stat* status, int flags);
int ORV_WRAP(ORV_FSTATAT)(int directory, const char* name, struct stat* status, int flags) {
    return fails("stat", directory, name) ? -1 : ORV_REAL(ORV_FSTATAT)(directory, name, status, flags);
}

int __real_unlinkat(int directory, const char* name, int flags);
int __wrap_unlinkat(int directory, const char* name, int flags) {
    const char* const call = (flags & AT_REMOVEDIR) != 0 ? "rmdir" : "unlink";
    return fails(call, directory, name) ? -1 : __real_unlinkat(directory, name, flags);
}

int __real_renameat(int directory, const char* from, int target, const char* to);
int __wrap_renameat(int directory, const char* from, int target, const char* to) {
    return fails("rename", directory, from) ? -1 : __real_renameat(directory, from, target, to);
}

int __real_linkat(int directory, const char* from, int target, const char* to, int flags);
int __wrap_linkat(int directory, const char* from, int target, const char* to, int flags) {
    return fails("link", directory, from) ? -1 : __real_linkat(directory, from, target, to, flags);
}

int __real_mkdirat(int directory, const char* name, mode_t mode);
int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
    return fails("mkdir", directory, name) ? -1 : __real_mkdirat(directory, name, mode);
}

ssize_t __real_pread64(int file, void* data, std::size_t size, off_t offset);
ssize_t __wrap_pread64(int file, void* data, std::size_t size, off_t offset) {
    return fails("pread", file) ? -1 : __real_pread64(file, data, size, offset);
}

ssize_t __real_pwrite64(int file, const void* data, std::size_t size, off_t offset);
ssize_t __wrap_pwrite64(int file, const void* data, std::size_t size, off_t offset) {
    return fails("pwrite", file) ? -1 : __real_pwrite64(file, data, size, offset);
}

std::FILE* __real_fdopen(int file, const char* mode);
std::FILE* __wrap_fdopen(int file, const char* mode) {
    return fails("fdopen", file) ? nullptr : __real_fdopen(file, mode);
}

std::size_t __real_fread(void* data, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __wrap_fread(void* data, std::size_t size, std::size_t count, std::FILE* file) {
    return fails("fread", file) ? 0 : __real_fread(data, size, count, file);
}

char* __real_fgets(char* line, int size, std::FILE* file);
char* __wrap_fgets(char* line, int size, std::FILE* file) {
    return fails("fgets", file) ? nullptr : __real_fgets(line, size, file);
}

int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file) {
    const bool fail = fails("fclose", file);
    const int error = errno;
    const int result = __real_fclose(file);
    if (fail) {
        errno = error;
        return EOF;
    }
    return result;
}

dirent* __real_readdir64(DIR* directory);
dirent* __wrap_readdir64(DIR* directory) {
    return plan && fails("readdir", ::dirfd(directory)) ? nullptr : __real_readdir64(directory);
}

int __real_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment);
int __wrap_posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    return fails("shell", std::string_view(arguments[2]))
               ? errno
               : __real_posix_spawn(process, path, actions, attributes, arguments, environment);
}

}  // extern "C"

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    allocatedBytes += size;
    if (allocationsLeft > 0 && --allocationsLeft == 0) {
        burstLeft = burst;
    }
    if (burstLeft > 0) {
        --burstLeft;
        return nullptr;
    }
    return size >= least && size <= most ? nullptr : std::malloc(size);
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (!memory) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
