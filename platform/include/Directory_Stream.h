// A directory being read, with one owner: closed when the owner goes. Plain POSIX.
//
// What is in it but for "." and "..". Moves, never copies. One thread at a time.
#pragma once

#include "Descriptor.h"

#include <dirent.h>

#include <cerrno>
#include <string_view>
#include <utility>

class Directory_Stream {
public:
    Directory_Stream() = default;
    // Takes an open directory's descriptor. Without a stream when it is none: errno tells why.
    explicit Directory_Stream(Descriptor directory) : stream_(directory ? fdopendir(directory.get()) : nullptr) {
        if (stream_ != nullptr) {
            [[maybe_unused]] const int taken = directory.release();
        }
    }
    ~Directory_Stream() { reset(); }
    Directory_Stream(Directory_Stream&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}
    Directory_Stream& operator=(Directory_Stream&& other) noexcept {
        if (this != &other) {
            reset();
            stream_ = std::exchange(other.stream_, nullptr);
        }
        return *this;
    }
    Directory_Stream(const Directory_Stream&) = delete;
    Directory_Stream& operator=(const Directory_Stream&) = delete;

    explicit operator bool() const { return stream_ != nullptr; }
    // For openat() and its like; -1 when there is no stream.
    int descriptor() const { return stream_ != nullptr ? dirfd(stream_) : -1; }

    // The next name, valid until the next call. Null at the end, then errno is 0, and at a failure.
    const char* next() {
        for (;;) {
            errno = 0;
            const dirent* const entry = readdir(stream_);
            if (entry == nullptr) {
                return nullptr;
            }
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                return entry->d_name;
            }
        }
    }

    // Leaves errno as it is.
    void reset() {
        if (stream_ != nullptr) {
            const int error = errno;
            closedir(std::exchange(stream_, nullptr));
            errno = error;
        }
    }

private:
    DIR* stream_ = nullptr;
};
