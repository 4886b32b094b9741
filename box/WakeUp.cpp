#include "box/WakeUp.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace box {

namespace {

// As the system has it: what a pipe holds at most, and what a counter does.
constexpr std::size_t kPipeSize = 65536;
constexpr std::uint64_t kMostCounted = UINT64_MAX - 1;

}  // namespace

short Counter::ready(Time /*now*/) const {
    return static_cast<short>((count_ > 0 ? POLLIN : 0) | (count_ < kMostCounted ? POLLOUT : 0));
}

ssize_t Counter::read(void* data, std::size_t size) {
    if (size < sizeof count_ || count_ == 0) {
        return size < sizeof count_ ? -EINVAL : -EAGAIN;
    }
    std::memcpy(data, &count_, sizeof count_);
    count_ = 0;
    return sizeof count_;
}

ssize_t Counter::write(const void* data, std::size_t size) {
    std::uint64_t more = 0;
    if (size < sizeof more) {
        return -EINVAL;
    }
    std::memcpy(&more, data, sizeof more);
    if (more > kMostCounted - count_) {
        return more == UINT64_MAX ? -EINVAL : -EAGAIN;
    }
    count_ += more;
    return sizeof more;
}

short PipeEnd::ready(Time /*now*/) const {
    if (reads_) {
        return static_cast<short>((pipe_->bytes.empty() ? 0 : POLLIN) | (isAlone() ? POLLHUP : 0));
    }
    return static_cast<short>((pipe_->bytes.size() < kPipeSize ? POLLOUT : 0) | (isAlone() ? POLLERR : 0));
}

ssize_t PipeEnd::read(void* data, std::size_t size) {
    std::string& bytes = pipe_->bytes;
    if (!reads_ || (bytes.empty() && !isAlone())) {
        return reads_ ? -EAGAIN : -EBADF;
    }
    const std::size_t taken = bytes.copy(static_cast<char*>(data), size);
    bytes.erase(0, taken);
    return static_cast<ssize_t>(taken);
}

ssize_t PipeEnd::write(const void* data, std::size_t size) {
    if (reads_ || isAlone()) {
        return reads_ ? -EBADF : -EPIPE;
    }
    const std::size_t room = kPipeSize - pipe_->bytes.size();
    if (room == 0 && size > 0) {
        return -EAGAIN;
    }
    const std::size_t moved = std::min(size, room);
    pipe_->bytes.append(static_cast<const char*>(data), moved);
    return static_cast<ssize_t>(moved);
}

}  // namespace box
