// Steps that may fail: another try for what fails for a reason that may be gone at once - a signal, or a moment without
// memory, descriptors or an answer of the flash -, and what is done behind a step however it ends.
//
// Other tries are for steps that would cost a message, and are seldom enough that nobody waits for them. Any thread.
#pragma once

#include <cerrno>
#include <new>
#include <utility>

inline bool orvMayPass(int error) {
    return error == EINTR || error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE || error == EIO;
}

inline bool orvFailed(int result) {
    return result < 0;
}
inline bool orvFailed(long result) {
    return result < 0;
}
template <typename Owner>
bool orvFailed(const Owner& owner) {
    return !owner;
}

// What call() returns, a number or an owner, with errno where that is a failure; called twice at most.
template <typename Call>
auto orvOnceMore(Call&& call) {
    auto result = call();
    if (orvFailed(result) && orvMayPass(errno)) {
        result = call();
    }
    return result;
}

// The same for what throws for want of memory: nothing is reported unless it does so twice.
template <typename Call>
auto orvOnceMoreForMemory(Call&& call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return call();
    }
}

// Tried more often still: for what a start sets up and reads, which nobody does again. The step changes nothing before
// it succeeds; what it traces is traced again.
template <typename Step>
auto orvPersistently(Step&& step) {
    constexpr int kMostTries = 64;
    for (int tries = 1; tries < kMostTries; ++tries) {
        try {
            return step();
        } catch (const std::bad_alloc&) {
            continue;
        }
    }
    return step();
}

// Runs an action at the end of its scope, also when an exception leaves it. The action must not throw: the scope may be
// left for want of memory already.
template <typename Action>
class OrvAtEnd {
public:
    explicit OrvAtEnd(Action action) : action_(std::move(action)) {}
    ~OrvAtEnd() { action_(); }
    OrvAtEnd(const OrvAtEnd&) = delete;
    OrvAtEnd& operator=(const OrvAtEnd&) = delete;

private:
    Action action_;
};
