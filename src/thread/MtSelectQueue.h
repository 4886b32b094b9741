// A queue whose consumer waits for a descriptor: each push makes the read end of a pipe readable.
//
// The pipe carries no data, only wake-ups. Any thread pushes; what concerns the read end is the consumer's.
#pragma once

#include "Descriptor.h"
#include "thread/MtQueue.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Mt {

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

    void push(std::unique_ptr<T> message, std::uint32_t* sequenceOut, bool block) override {
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

    // Takes what the pipe holds.
    void drainPipe() ORV_REQUIRES(this->mutex()) {
        char bytes[256];
        ssize_t taken = 0;
        do {
            taken = ::read(readFd(), bytes, sizeof bytes);
        } while (taken > 0 || (taken < 0 && errno == EINTR));
    }

private:
    // A pipe that is full wakes the consumer anyway.
    void wakeConsumer() {
        while (::write(writeFd_.get(), "X", 1) < 0 && errno == EINTR) {
        }
    }

    // The last one goes first: nobody finds a pipe to write to that has no reader.
    Descriptor readFd_;
    Descriptor writeFd_;
};

}  // namespace Mt
