// What the system knows about the daemon's process, where it has files that tell.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct DaemonProcess {
    bool alive = false;                   // There is such a process, and it is the daemon.
    bool stopped = false;                 // It gets no time until it is told to go on.
    std::optional<std::int64_t> started;  // microseconds since 1970, to the second, by the clock as it goes now
    long other = 0;                       // another daemon below the same root; 0: none
    long child = 0;                       // what a capture runs; 0: nothing

    // 0: of no process that is known.
    static DaemonProcess find(long process);
    // Whether this machine waits for a connection with that port anywhere.
    static bool connects(std::uint16_t port);
};
