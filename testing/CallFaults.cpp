#include "testing/CallFaults.h"

#include "testing/FaultyCall.h"

#include <netdb.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

std::atomic<CallFaults*> active{nullptr};
std::atomic<int> looking{0};  // threads at the active block
std::atomic<unsigned> plans{0};
thread_local unsigned ownPlan = 0;
thread_local bool within = false;  // a call that is made of calls

constexpr int kOpening[] = {EINTR, EMFILE, ENOSPC, EIO, ENOMEM};
constexpr int kReading[] = {EINTR, EIO, ENOMEM};
constexpr int kWriting[] = {EINTR, ENOSPC, EIO, EAGAIN};
constexpr int kClosing[] = {EINTR, EIO};
constexpr int kNaming[] = {ENOSPC, EIO, ENOMEM};
constexpr int kLooking[] = {EIO, ENOMEM};
constexpr int kWaiting[] = {EINTR, ENOMEM};
constexpr int kNumbers[] = {EMFILE, ENFILE, ENOMEM};
constexpr int kConnecting[] = {EINTR, EAGAIN, ECONNREFUSED, ETIMEDOUT};
constexpr int kSending[] = {EINTR, EPIPE, ECONNRESET, EAGAIN, ENOBUFS};
constexpr int kReceiving[] = {EINTR, ECONNRESET, EAGAIN, ENOMEM};
constexpr int kSetting[] = {ENOMEM};
// All that can happen to the one byte of a wake-up that has room.
constexpr int kWaking[] = {EINTR};
constexpr int kStarting[] = {EAGAIN, ENOMEM};
constexpr int kResolving[] = {EAI_MEMORY, EAI_AGAIN, EAI_SYSTEM};
constexpr int kReaping[] = {EINTR, ECHILD};

// In the order of FaultyCall.
constexpr CallFaults::Call kTable[] = {
    {"open", kOpening},
    {"openat", kOpening},
    {"openUnlinked", kOpening},
    {"close", kClosing},
    {"read", kReading},
    {"write", kWriting},
    {"writev", kWriting},
    {"pread", kReading},
    {"pwrite", kWriting},
    {"ftruncate", kWriting},
    {"rename", kNaming},
    {"renameat", kNaming},
    {"link", kNaming},
    {"linkat", kNaming},
    {"unlink", kLooking},
    {"unlinkat", kLooking},
    {"mkdir", kNaming},
    {"mkdirat", kNaming},
    {"rmdir", kLooking},
    {"remove", kLooking},
    {"stat", kLooking},
    {"lstat", kLooking},
    {"fstat", kLooking},
    {"fstatat", kLooking},
    {"access", kLooking},
    {"opendir", kNumbers},
    {"fdopendir", kSetting},
    {"readdir", kLooking},
    {"closedir", kClosing},
    {"fopen", kOpening},
    {"fdopen", kSetting},
    {"fread", kReading},
    {"fwrite", kWriting},
    {"fgets", kReading},
    {"fclose", kWriting},
    {"poll", kWaiting},
    {"pipe2", kNumbers},
    {"eventfd", kNumbers},
    {"socket", kNumbers},
    {"connect", kConnecting},
    {"send", kSending},
    {"recv", kReceiving},
    {"setsockopt", kSetting},
    {"getsockopt", kSetting},
    {"fcntl", kClosing},
    {"getaddrinfo", kResolving},
    {"system", kStarting},
    {"posix_spawn", kStarting},
    {"waitpid", kReaping},
    {"pthread_create", kStarting},
    {"wake", kWaking},
    {"setpriority", {}},
    {"pthread_key_create", {}},
    {"pthread_setspecific", {}},
    {"pthread_mutex_lock", {}},
    {"pthread_cond_signal", {}},
    {"pthread_cond_wait", {}},
    {"nanosleep", {}},
    {"trace", kWriting},
    {"bind", {}},
    {"listen", {}},
    {"accept4", {}},
    {"sendfile", {}},
    {"sleep", {}},
};
static_assert(std::size(kTable) == kCalls && kCalls <= CallFaults::kMostCalls);

// The sanitizer's, where there is one.
extern "C" void __sanitizer_print_stack_trace() __attribute__((weak));

void tellWhere(const CallFaults& faults) {
    if (faults.tells && __sanitizer_print_stack_trace != nullptr) {
        const CallsWithin calls;
        __sanitizer_print_stack_trace();
    }
}

bool isMainThread() {
    return ownPlan == plans;
}

// The block, which stays as long as anybody looks at it.
class Look {
public:
    Look() : block_((++looking, active.load())) {}
    ~Look() { --looking; }
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;

    CallFaults* block() const { return block_; }

private:
    CallFaults* const block_;
};

int resultOf(const CallFaults::Step& step, FaultyCall call, const Place& place) {
    const CallsWithin calls;
    return step({kTable[call].name, isMainThread(), place.file, place.name, place.argument});
}

bool isMeant(const CallFaults& faults, FaultyCall call, const Place& place) {
    return (faults.call == call || faults.call == CallFaults::kAny) &&
           (faults.onEveryThread || faults.onMainThread == isMainThread()) && isAt(place, faults.part);
}

}  // namespace

bool isAt(const Place& place, const char* part) {
    if (*part == '\0') {
        return true;
    }
    char path[2 * PATH_MAX] = "";
    if (place.file >= 0) {
        char link[64];
        static_cast<void>(std::snprintf(link, sizeof link, "/proc/self/fd/%d", place.file));
        const ssize_t length = ::readlink(link, path, PATH_MAX);
        path[length < 0 ? 0 : length] = '\0';
        std::strcat(path, "/");
    }
    return std::strstr(std::strncat(path, place.name, PATH_MAX - 1), part) != nullptr;
}

int errorOf(FaultyCall call, const Place& place) {
    if (active == nullptr || within) {
        return 0;
    }
    const Look look;
    CallFaults* const faults = look.block();
    if (faults == nullptr || !faults->watched) {
        return 0;
    }
    const unsigned ofItsName = ++faults->seen[call][isMainThread()];
    if (!isMeant(*faults, call, place)) {
        return 0;
    }
    const unsigned meant = ++faults->meant;
    const bool allOfOneName = faults->call == call && *faults->part == '\0' && !faults->onEveryThread;
    const unsigned number = allOfOneName ? ofItsName : meant;
    if (number < faults->nth || number - faults->nth >= faults->burst) {
        return 0;
    }
    faults->hit = true;
    tellWhere(*faults);
    if (faults->step != nullptr) {
        return resultOf(*faults->step, call, place);
    }
    if (faults->error == CallFaults::kKill) {
        static_cast<void>(::kill(::getpid(), SIGKILL));
    }
    return faults->error;
}

CallsWithin::CallsWithin() {
    within = true;
}

CallsWithin::~CallsWithin() {
    within = false;
}

bool CallsWithin::any() {
    return within;
}

bool faultsAreInUse() {
    return active != nullptr;
}

std::span<const CallFaults::Call> CallFaults::table() {
    return kTable;
}

void CallFaults::use(CallFaults* faults) {
    ownPlan = faults != nullptr ? ++plans : ownPlan;
    active = faults;
    while (faults == nullptr && looking != 0) {
        ::sched_yield();
    }
}
