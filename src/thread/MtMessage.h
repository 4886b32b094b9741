// A message between threads: what kind it is, and the number its queue gave it. One thread at a time.
#pragma once

#include "thread/MtQueueElement.h"

#include <cstdint>

namespace Mt {

class Message : public QueueElement {
public:
    explicit Message(std::uint32_t code) : code_(code) {}

    // The kind, within its direction.
    std::uint32_t code() const { return code_; }
    // 0 until pushed.
    std::uint32_t sequence() const { return sequence_; }

private:
    template <typename T>
    friend class Queue;
    const std::uint32_t code_;
    std::uint32_t sequence_ = 0;
};

}  // namespace Mt
