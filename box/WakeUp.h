// What one thread of a box wakes another one with: the two ends of a pipe, or an eventfd. The descriptors are the
// system's, what goes through them is the box's: nobody but its own threads could be at the other end.
#pragma once

#include "box/BoxFile.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace box {

// A thread that would wait in one of these calls has said that it does not; they never do.
class WakeUp : public BoxFile {
public:
    Time due(Time /*now*/) const override { return kNever; }
    // As read and write: bytes, or minus an error number.
    virtual ssize_t read(void* data, std::size_t size) = 0;
    virtual ssize_t write(const void* data, std::size_t size) = 0;
};

// A descriptor that counts.
class Counter final : public WakeUp {
public:
    explicit Counter(std::uint64_t count) : count_(count) {}

    short ready(Time now) const override;
    ssize_t read(void* data, std::size_t size) override;
    ssize_t write(const void* data, std::size_t size) override;

private:
    std::uint64_t count_;
};

// One end of a pipe. An end that is gone ends the other.
class PipeEnd final : public WakeUp {
public:
    struct Pipe {
        std::string bytes;
        int ends = 2;
    };

    PipeEnd(std::shared_ptr<Pipe> pipe, bool reads) : pipe_(std::move(pipe)), reads_(reads) {}
    ~PipeEnd() override { --pipe_->ends; }
    PipeEnd(const PipeEnd&) = delete;
    PipeEnd& operator=(const PipeEnd&) = delete;

    short ready(Time now) const override;
    ssize_t read(void* data, std::size_t size) override;
    ssize_t write(const void* data, std::size_t size) override;

private:
    bool isAlone() const { return pipe_->ends < 2; }

    const std::shared_ptr<Pipe> pipe_;
    const bool reads_;
};

}  // namespace box
