#include "box/Trouble.h"

#include <netdb.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <span>

namespace box {

namespace {

constexpr int kOpening[] = {EINTR, EMFILE, ENOSPC, EIO, ENOMEM};
constexpr int kReading[] = {EINTR, EIO, Troubles::kShort};
constexpr int kWriting[] = {EINTR, ENOSPC, EIO, Troubles::kShort};
constexpr int kCutting[] = {EINTR, ENOSPC, EIO};
constexpr int kClosing[] = {EINTR, EIO};
constexpr int kNaming[] = {ENOSPC, EIO, ENOMEM};
constexpr int kLooking[] = {EIO, ENOMEM};
constexpr int kNumbers[] = {EMFILE, ENFILE, ENOMEM};
constexpr int kMemory[] = {ENOMEM};
constexpr int kWaiting[] = {EINTR, ENOMEM};
constexpr int kConnecting[] = {EAGAIN, ECONNREFUSED, ETIMEDOUT, ENOBUFS};
constexpr int kSending[] = {EINTR, EPIPE, ECONNRESET, EAGAIN, ENOBUFS, Troubles::kShort};
constexpr int kReceiving[] = {EINTR, ECONNRESET, EAGAIN, ENOMEM, Troubles::kShort};
constexpr int kResolving[] = {EAI_MEMORY, EAI_AGAIN, EAI_SYSTEM};
constexpr int kStarting[] = {EAGAIN, ENOMEM};
// All that can happen to the byte of a wake-up.
constexpr int kWaking[] = {EINTR};

struct Failing {
    std::string_view name;
    std::span<const int> errors;
};
// By the names that the linker knows.
constexpr Failing kFailing[] = {
    {"open64", kOpening},        {"openat64", kOpening},     {"read", kReading},
    {"pread64", kReading},       {"write", kWriting},        {"writev", kWriting},
    {"pwrite64", kWriting},      {"ftruncate64", kCutting},  {"close", kClosing},
    {"rename", kNaming},         {"renameat", kNaming},      {"linkat", kNaming},
    {"unlinkat", kLooking},      {"mkdirat", kNaming},       {"fdopendir", kMemory},
    {"readdir64", kLooking},     {"pipe2", kNumbers},        {"eventfd", kNumbers},
    {"fdopen", kMemory},         {"poll", kWaiting},         {"socket", kNumbers},
    {"connect", kConnecting},    {"send", kSending},         {"recv", kReceiving},
    {"getaddrinfo", kResolving}, {"posix_spawn", kStarting}, {"pthread_create", kStarting},
};

bool isFile(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

// What moves bytes between threads cannot fail as a file does.
std::span<const int> errorsOf(const Failing& failing, int file) {
    const bool moves = failing.errors.data() == kReading || failing.errors.data() == kWriting;
    return moves && !isFile(file) ? std::span<const int>(kWaking) : failing.errors;
}

}  // namespace

int Troubles::ofCall(std::string_view name, int file) {
    if (trouble_.calls == 0) {
        return 0;
    }
    const auto* const failing = std::ranges::find(kFailing, name, &Failing::name);
    if (failing == std::ranges::end(kFailing)) {
        return 0;
    }
    if (trouble_.callsBefore > 0) {
        --trouble_.callsBefore;
        return 0;
    }
    if (trouble_.ofOneName && !name_.empty() && name != name_) {
        return 0;
    }
    --trouble_.calls;
    ++failedCalls_;
    name_ = name;
    const std::span<const int> errors = errorsOf(*failing, file);
    return errors[random_.below(static_cast<std::uint32_t>(errors.size()))];
}

bool Troubles::ofAllocation() {
    if (trouble_.allocations == 0) {
        return false;
    }
    if (trouble_.allocationsBefore > 0) {
        --trouble_.allocationsBefore;
        return false;
    }
    --trouble_.allocations;
    ++failedAllocations_;
    return true;
}

std::string failureText(std::string_view call, int error) {
    std::string text(call);
    if (error == Troubles::kShort) {
        return text + " moves less than it should";
    }
    return text + " fails: " + (call == "getaddrinfo" ? ::gai_strerror(error) : std::strerror(error));
}

}  // namespace box
