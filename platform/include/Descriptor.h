// A file descriptor with one owner, closed when the owner goes. Plain POSIX: it needs nothing of a platform.
//
// The only place of this tree that closes a descriptor (tools/check_descriptors holds everybody to it). Moves, never
// copies. One thread at a time.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

class Descriptor {
public:
    Descriptor() = default;
    // Takes what open(), socket() and their like return; a negative number is none.
    explicit Descriptor(int number) : number_(number < 0 ? NONE : number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    // -1 when there is none.
    int get() const { return number_; }
    explicit operator bool() const { return number_ != NONE; }

    // The caller closes it from now on.
    [[nodiscard]] int release() { return std::exchange(number_, NONE); }
    // Closes, and takes another one. Leaves errno as it is.
    void reset(int number = NONE) {
        const int error = errno;
        [[maybe_unused]] const int result = close();
        number_ = number < 0 ? NONE : number;
        errno = error;
    }
    // For whom it matters whether closing worked: 0 (also when there is none), or -1 with errno. Gone in either case.
    [[nodiscard]] int close() {
        const int number = release();
        return number == NONE ? 0 : ::close(number);
    }

private:
    static constexpr int NONE = -1;

    int number_ = NONE;
};
