// A queue of messages between threads. Any thread.
//
// It owns a message from push() until pop(). A queue with a high-water mark holds its pushers back: a blocking push
// that reaches the mark fills the queue, and from then on every pusher waits until a pop has reached the low-water
// mark.
//
// Of some their consumer need not ask: one makes a descriptor readable, the other is served by a Dispatcher.
#pragma once

#include "Descriptor.h"
#include "Dispatcher.h"
#include "Event_Handler.h"
#include "base/OrvMutex.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
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
    QueueElement* next_ = nullptr;  // null outside a queue, and within it under its lock
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
    virtual void push(std::unique_ptr<T> message, std::uint32_t* sequenceOut, bool block) ORV_EXCLUDES(mutex_) {
        const Lock lock(mutex_);
        append(std::move(message), sequenceOut);
        fillIfHigh(block);
        waitWhileFull();
    }

    // Destroys everything queued.
    void clear() ORV_EXCLUDES(mutex_) {
        const Lock lock(mutex_);
        while (pop() != nullptr) {
        }
    }

    // high 0: a push never waits.
    void setWater(std::uint32_t high, std::uint32_t low) ORV_EXCLUDES(mutex_) {
        const Lock lock(mutex_);
        highWater_ = high;
        lowWater_ = low;
    }
    // The count at which a push wakes a waiter.
    void setSignalAt(std::uint32_t count) ORV_EXCLUDES(mutex_) {
        const Lock lock(mutex_);
        signalAt_ = count;
    }

    std::uint32_t count() ORV_EXCLUDES(mutex_) {
        const Lock lock(mutex_);
        return count_;
    }
    bool full() ORV_EXCLUDES(mutex_) {
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
            cond_.wait(mutex_);
        }
    }

private:
    Mutex mutex_;
    CondLock cond_;
    T* head_ ORV_GUARDED_BY(mutex_) = nullptr;
    T* tail_ ORV_GUARDED_BY(mutex_) = nullptr;
    std::uint32_t count_ ORV_GUARDED_BY(mutex_) = 0;
    std::uint32_t highWater_ ORV_GUARDED_BY(mutex_) = 0;
    std::uint32_t lowWater_ ORV_GUARDED_BY(mutex_) = 0;
    bool full_ ORV_GUARDED_BY(mutex_) = false;
    std::uint32_t signalAt_ ORV_GUARDED_BY(mutex_) = 1;
    std::uint32_t sequence_ ORV_GUARDED_BY(mutex_) = 0;  // the last one given
};

// Each push makes the read end of a pipe readable. The pipe carries no data, only wake-ups. Any thread pushes; what
// concerns the read end is the consumer's.
template <typename T>
class SelectQueue : public Queue<T> {
public:
    // Throws a text (const char*) when there is no pipe to be had.
    SelectQueue() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) < 0) {
            throw "pipe create";
        }
        readFd_.reset(ends[0]);
        writeFd_.reset(ends[1]);
        if (fcntl(ends[0], F_SETFL, O_NONBLOCK) < 0 || fcntl(ends[1], F_SETFL, O_NONBLOCK) < 0) {
            throw "pipe nonblock";
        }
    }

    void push(std::unique_ptr<T> message, std::uint32_t* sequenceOut, bool block) override ORV_EXCLUDES(this->mutex()) {
        {
            const Lock lock(this->mutex());
            this->append(std::move(message), sequenceOut);
            this->fillIfHigh(block);
            if (this->isFull()) {
                wakeConsumer();  // before the wait, which only the consumer can end
                this->waitWhileFull();
                return;
            }
        }
        wakeConsumer();
    }

protected:
    int readFd() const { return readFd_.get(); }

    // Takes what the pipe holds: less than was asked for is the rest of it.
    void drainPipe() ORV_REQUIRES(this->mutex()) {
        char bytes[256];
        constexpr auto kAll = static_cast<ssize_t>(sizeof bytes);
        ssize_t taken = 0;
        do {
            taken = ::read(readFd(), bytes, sizeof bytes);
        } while (taken == kAll || (taken < 0 && errno == EINTR));
    }

private:
    // A pipe that is full wakes the consumer anyway.
    void wakeConsumer() {
        while (::write(writeFd_.get(), "X", 1) < 0 && errno == EINTR) {
        }
    }

    // There from the construction to the end. The last one goes first: nobody finds a pipe to write to that has no
    // reader.
    Descriptor readFd_;
    Descriptor writeFd_;
};

// Delivers every message on the dispatcher's thread, then destroys it. Made and destroyed on the dispatcher's thread,
// or while its loop does not run.
//
// Of the platform's dispatcher, or of one that is like it.
template <typename T, typename Loop = Dispatcher>
class EventQueue : public SelectQueue<T>, protected Event_Handler {
public:
    // Throws a text (const char*) when there is no pipe or the dispatcher refuses.
    explicit EventQueue(Loop& dispatcher) : dispatcher_(dispatcher) {
        if (dispatcher_.register_handler(this, READ) != 0) {
            throw "register_handler failed";
        }
    }
    ~EventQueue() override { deregister(); }

    // Hands one message to its owner. Without the lock: the owner may push into this very queue.
    virtual void process(T* message) ORV_EXCLUDES(this->mutex()) = 0;

protected:
    int get_handle() const final { return this->readFd(); }

    int handle_input(int /*fd*/) override ORV_EXCLUDES(this->mutex()) {
        while (const std::unique_ptr<T> message = take()) {
            process(message.get());
        }
        const Lock lock(this->mutex());
        if (this->empty()) {  // else a push came in between: the bytes stay, and the dispatcher calls again
            this->drainPipe();
        }
        return 0;
    }

    int handle_close(int /*fd*/, unsigned /*mask*/) override { return deregister(); }

private:
    std::unique_ptr<T> take() ORV_EXCLUDES(this->mutex()) {
        const Lock lock(this->mutex());
        return this->pop();
    }

    int deregister() { return dispatcher_.remove_handler(this, READ | DONT_CALL); }

    Loop& dispatcher_;
};

}  // namespace Mt
