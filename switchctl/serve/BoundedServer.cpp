#include "switchctl/serve/BoundedServer.h"

#include "Descriptor.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <utility>

namespace {

using SteadyClock = std::chrono::steady_clock;

// Knows how many are at work, and how many nobody has begun with.
class CountedWorkers : public httplib::TaskQueue {
public:
    CountedWorkers(std::atomic<int>& waiting, std::atomic<int>& busy)
        : waiting_(waiting), busy_(busy), pool_(BoundedServer::WORKERS) {}

    void enqueue(std::function<void()> task) override {
        ++waiting_;
        pool_.enqueue([this, task = std::move(task)] {
            ++busy_;
            --waiting_;
            task();
            --busy_;
        });
    }
    void shutdown() override { pool_.shutdown(); }

private:
    std::atomic<int>& waiting_;
    std::atomic<int>& busy_;
    httplib::ThreadPool pool_;
};

class BoundedStream : public httplib::Stream {
public:
    BoundedStream(int socket, const BoundedServer& server) : socket_(socket), server_(server) {}

    bool is_readable() const override { return begin_ < end_ || await(POLLIN); }
    bool is_writable() const override { return await(POLLOUT); }
    // The library reads a request's head byte by byte.
    ssize_t read(char* to, std::size_t size) override {
        if (begin_ == end_) {
            const ssize_t got = await(POLLIN) ? ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT) : -1;
            if (got <= 0) {
                return got;
            }
            if (std::exchange(silent_, false)) {
                since_ = SteadyClock::now();
            }
            begin_ = 0;
            end_ = static_cast<std::size_t>(got);
        }
        const std::size_t length = std::min(size, end_ - begin_);
        std::copy_n(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_), length, to);
        begin_ += length;
        return static_cast<ssize_t>(length);
    }
    // The answer has a time of its own, from its first byte on.
    ssize_t write(const char* from, std::size_t size) override {
        if (!std::exchange(answers_, true)) {
            since_ = SteadyClock::now();
        }
        return await(POLLOUT) ? ::send(socket_, from, size, MSG_DONTWAIT | MSG_NOSIGNAL) : -1;
    }
    // Everybody is of this machine.
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return socket_; }

private:
    bool isOver() const {
        const auto gone = SteadyClock::now() - since_;
        return gone > (silent_ ? BoundedServer::LONGEST_SILENCE : BoundedServer::LONGEST) ||
               (gone > BoundedServer::LONGEST_BEFORE_OTHERS && server_.isFull()) || server_.isStopped();
    }
    // Looks up now and then whether somebody has come to wait.
    bool await(short events) const {
        constexpr int LOOK_UP = 50;
        while (!isOver()) {
            pollfd place{socket_, events, 0};
            const int ready = ::poll(&place, 1, LOOK_UP);
            if (ready > 0 || (ready < 0 && errno != EINTR)) {
                return ready > 0;
            }
        }
        return false;
    }

    int socket_;
    const BoundedServer& server_;
    SteadyClock::time_point since_ = SteadyClock::now();
    bool silent_ = true;
    bool answers_ = false;
    std::array<char, 4096> buffer_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

}  // namespace

BoundedServer::BoundedServer() {
    new_task_queue = [this] { return new CountedWorkers(waiting_, busy_); };
}

void BoundedServer::acceptMany() {
    ::listen(svr_sock_, WORKERS);
}

bool BoundedServer::process_and_close_socket(socket_t socket) {
    const Descriptor owned(socket);
    BoundedStream stream(socket, *this);
    bool closed = false;
    const bool served = process_request(stream, true, closed, nullptr);
    ::shutdown(socket, SHUT_RDWR);
    return served;
}
