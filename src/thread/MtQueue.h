// A queue of messages between threads. Any thread.
//
// It owns a message from push() until pop(). A queue with a high-water mark holds its pushers back: a blocking push
// that reaches the mark fills the queue, and from then on every pusher waits until a pop has reached the low-water
// mark.
#pragma once

#include "base/OrvMutex.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace Mt {

template <typename T>
class Queue;

// What can stand in a queue.
class QueueElement {
public:
    QueueElement() = default;
    virtual ~QueueElement() = default;
    QueueElement(const QueueElement&) = delete;
    QueueElement& operator=(const QueueElement&) = delete;

private:
    template <typename T>
    friend class Queue;
    QueueElement* next_ = nullptr;  // null outside a queue
};

// What kind it is, and the number its queue gave it. One thread at a time.
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

// T: a Message.
template <typename T>
class Queue {
public:
    Queue() = default;
    virtual ~Queue() { clear(); }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    // Appends the message, writes the number it got to sequenceOut (may be null), and waits while the queue is full.
    // block: this push may fill the queue.
    virtual void push(std::unique_ptr<T> message, std::uint32_t* sequenceOut, bool block) {
        const Lock lock(mutex_);
        append(std::move(message), sequenceOut);
        fillIfHigh(block);
        waitWhileFull();
    }

    // Destroys everything queued.
    void clear() {
        const Lock lock(mutex_);
        while (pop() != nullptr) {
        }
    }

    // high 0: a push never waits.
    void setWater(std::uint32_t high, std::uint32_t low) {
        const Lock lock(mutex_);
        highWater_ = high;
        lowWater_ = low;
    }
    // The count at which a push wakes a waiter.
    void setSignalAt(std::uint32_t count) {
        const Lock lock(mutex_);
        signalAt_ = count;
    }

    std::uint32_t count() {
        const Lock lock(mutex_);
        return count_;
    }
    bool full() {
        const Lock lock(mutex_);
        return full_;
    }

protected:
    Mutex& mutex() ORV_RETURN_CAPABILITY(mutex_) { return mutex_; }

    // The oldest message; null when there is none.
    std::unique_ptr<T> pop() ORV_REQUIRES(mutex_) {
        std::unique_ptr<T> message(head_);
        if (message == nullptr) {
            return message;
        }
        head_ = static_cast<T*>(message->next_);
        tail_ = head_ == nullptr ? nullptr : tail_;
        message->next_ = nullptr;
        --count_;
        if (full_ && count_ <= lowWater_) {
            full_ = false;
            cond_.broadcast();
        }
        return message;
    }

    bool empty() const ORV_REQUIRES(mutex_) { return count_ == 0; }
    bool isFull() const ORV_REQUIRES(mutex_) { return full_; }

    void append(std::unique_ptr<T> message, std::uint32_t* sequenceOut) ORV_REQUIRES(mutex_) {
        ++sequence_;
        if (sequenceOut != nullptr) {
            *sequenceOut = sequence_;
        }
        message->sequence_ = sequence_;
        T* const last = message.release();
        last->next_ = nullptr;
        if (tail_ == nullptr) {
            head_ = last;
        } else {
            tail_->next_ = last;
        }
        tail_ = last;
        ++count_;
        if (count_ == signalAt_) {
            cond_.signal();
        }
    }

    void fillIfHigh(bool block) ORV_REQUIRES(mutex_) {
        if (block && highWater_ != 0 && count_ >= highWater_) {
            full_ = true;
        }
    }

    void waitWhileFull() ORV_REQUIRES(mutex_) {
        while (full_) {
            cond_.wait();
        }
    }

private:
    Mutex mutex_;
    CondLock cond_{mutex_};
    T* head_ ORV_GUARDED_BY(mutex_) = nullptr;
    T* tail_ ORV_GUARDED_BY(mutex_) = nullptr;
    std::uint32_t count_ ORV_GUARDED_BY(mutex_) = 0;
    std::uint32_t highWater_ ORV_GUARDED_BY(mutex_) = 0;
    std::uint32_t lowWater_ ORV_GUARDED_BY(mutex_) = 0;
    bool full_ ORV_GUARDED_BY(mutex_) = false;
    std::uint32_t signalAt_ ORV_GUARDED_BY(mutex_) = 1;
    std::uint32_t sequence_ ORV_GUARDED_BY(mutex_) = 0;  // the last one given
};

}  // namespace Mt
