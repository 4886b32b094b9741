// A TCP socket of the file synchronisation, shut down and closed when its owner goes.
//
// What the socket sends and receives is retried after a signal and bounded by a time limit, which shows as ETIMEDOUT.
// No signal is raised by a peer that has gone. One thread.
#pragma once

#include "Descriptor.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

class OrvSyncSocket {
public:
    OrvSyncSocket() = default;
    ~OrvSyncSocket() { end(); }
    OrvSyncSocket(const OrvSyncSocket&) = delete;
    OrvSyncSocket& operator=(const OrvSyncSocket&) = delete;

    // Takes over an open socket in place of the one it had.
    void take(Descriptor descriptor);
    // Shuts down both directions and closes, unless there is none.
    // Kept: descriptor 0 counts as none. See OrvSyncSocket.neverClosesDescriptorZero.
    void end();

    int descriptor() const { return descriptor_.get(); }
    // Bounds each step; a small last piece is sent at once instead of waiting for an acknowledgement, and a peer that
    // has vanished is noticed sooner or later even by who only listens. Failing here is told by the next step.
    void prepare(std::chrono::milliseconds limit) const;

    // As send(), sendfile() and recv(): the bytes that went, 0 when there is nothing more, -1 with errno.
    ssize_t send(std::span<const std::uint8_t> bytes, int flags = 0) const;
    ssize_t sendFile(int file, std::size_t count) const;
    ssize_t receive(std::span<std::uint8_t> bytes, int flags = 0) const;
    // The same without a limit on the first byte.
    ssize_t awaitAndReceive(std::span<std::uint8_t> bytes, int flags) const;

private:
    Descriptor descriptor_;
};
