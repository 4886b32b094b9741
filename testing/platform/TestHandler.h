// Test support: a handler on a descriptor that does what its test says and writes down what it was called for.
#pragma once

#include "Descriptor.h"
#include "Event_Handler.h"
#include "Timeval.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// For a turn that waits for nothing.
inline const Timeval kAtOnce(0, 0);

// Two connected, non-blocking ends; closed with the object.
class SocketPair {
public:
    SocketPair() {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("socketpair");
        }
        ends_[0].reset(ends[0]);
        ends_[1].reset(ends[1]);
    }

    int end(int which) const { return ends_[which].get(); }
    void closeEnd(int which) { ends_[which].reset(); }
    // Writes one byte into this end, so that the other has something to read.
    void feed(int which) const {
        if (write(end(which), "x", 1) != 1) {
            throw std::runtime_error("write");
        }
    }

private:
    Descriptor ends_[2];
};

class TestHandler final : public Event_Handler {
public:
    using Action = std::function<int()>;

    // calls is where this handler writes its name and the operation; it may be shared.
    TestHandler(int fd, std::vector<std::string>& calls, std::string name = "")
        : fd_(fd), calls_(calls), name_(std::move(name)) {}

    Action onInput = [] { return 0; };
    Action onOutput = [] { return 0; };
    Action onException = [] { return 0; };
    Action onClose = [] { return 0; };

    int handle_input(int fd) override { return act("input", fd, onInput); }
    int handle_output(int fd) override { return act("output", fd, onOutput); }
    int handle_exception(int fd) override { return act("exception", fd, onException); }
    int handle_close(int fd, unsigned mask) override {
        return act(("close " + std::to_string(mask)).c_str(), fd, onClose);
    }
    int get_handle() const override { return fd_; }
    void setHandle(int fd) { fd_ = fd; }

    // Takes one byte.
    int swallow() const {
        char byte = 0;
        return read(fd_, &byte, 1) == 1 ? 0 : -1;
    }

private:
    // The action may destroy this handler: a copy runs.
    int act(const char* operation, int fd, const Action& action) {
        calls_.push_back(name_ + operation + (fd == fd_ ? "" : " of another descriptor"));
        const Action copy = action;
        return copy();
    }

    int fd_;
    std::vector<std::string>& calls_;
    std::string name_;
};
