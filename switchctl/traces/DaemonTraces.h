// What the daemon's traces tell about its start, its send thread and its mail server.
//
// Every record names its process: what an earlier daemon traced is told apart.
#pragma once

#include "switchctl/traces/DaemonProcess.h"
#include "switchctl/traces/SendTrace.h"

#include <cstdint>
#include <optional>
#include <string>

struct DaemonTraces {
    enum class SendThread {
        UNKNOWN,  // its trace cannot be read
        SILENT,   // nothing there is from this daemon
        RUNS,
        ENDED,
    };

    long process = 0;  // 0: not known
    DaemonProcess system;
    // Times in microseconds since 1970.
    std::optional<std::int64_t> started;
    bool startTraced = false;                   // That is the daemon's own word.
    std::optional<std::int64_t> readBegun;      // its last read of the configuration
    std::optional<std::int64_t> opened;         // when it last gave a message to the send thread
    std::optional<std::uint32_t> openedNumber;  // which one, by its number in the queue
    std::optional<std::int64_t> captureBegun;   // the last one
    std::optional<std::int64_t> captureDone;    // the last that ended well
    std::optional<std::int64_t> latest;         // the last record
    std::string zone;                           // that its times are in
    bool addressTold = false;                   // An event has told it the switch's address.
    std::string fileError;                      // what the system said about a file last
    bool lookupsUnsent = false;                 // It will never ask for its configuration.
    bool readyUnsent = false;                   // The same: it could not say that it is ready.
    bool clockStopped = false;                  // Its one-second timer could not be started.
    bool outOfDescriptors = false;
    std::string failedStart;  // why its start ended, where it did
    SendThread sendThread = SendThread::UNKNOWN;
    // In the last dialogue a reply came in pieces, or there were more replies than commands: replies that the daemon
    // took for those of a command belonged to another one.
    bool repliesOutOfStep = false;
    std::string presentedAs;  // its name for the last mail server; "" when it is not known
    SendTrace send;

    // Of the daemon that is this process; 0: of the last that traced anything.
    static DaemonTraces read(long process);
};
