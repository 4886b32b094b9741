// The library's server, with connections that cannot keep others out: each has so long for all of its request and so
// long for the answer, and far less while somebody waits for a worker.
#pragma once

#include <httplib.h>
// One of the resolver's macros, which the library brings along.
#undef REFUSED

#include <atomic>
#include <chrono>

class BoundedServer : public httplib::Server {
public:
    // More than so many at a time wait for their turn. A browser has up to six, some of them in advance.
    static constexpr int WORKERS = 128;
    static constexpr std::chrono::milliseconds LONGEST{2000};
    // A browser connects in advance; one that is busy says nothing for a while.
    static constexpr std::chrono::milliseconds LONGEST_SILENCE{10000};
    // A browser on this machine has said all in far less.
    static constexpr std::chrono::milliseconds LONGEST_BEFORE_OTHERS{500};

    BoundedServer();

    // Once it is bound: the library lets five connections wait to be accepted, and who comes behind them tries again
    // after a second.
    void acceptMany();

    // Nobody is free for somebody.
    bool isFull() const { return waiting_ > 0 && busy_ >= WORKERS; }
    bool isStopped() const { return svr_sock_ == INVALID_SOCKET; }

private:
    bool process_and_close_socket(socket_t socket) override;

    std::atomic<int> waiting_ = 0;  // nobody has begun with them
    std::atomic<int> busy_ = 0;
};
