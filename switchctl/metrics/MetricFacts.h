// What can be known of CallHome without asking the daemon anything: from the switch's names and event log, from the
// daemon's traces and the queue's files, and from what the system knows of its process.
#pragma once

#include "switchctl/client/Session.h"
#include "switchctl/log/LogDigest.h"
#include "switchctl/queue/QueueFiles.h"
#include "switchctl/traces/DaemonTraces.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

struct MetricFacts {
    // What the daemon told of itself when somebody asked it last: status, doctor and ledger do.
    struct LastProbe {
        std::int64_t time = 0;  // microseconds since 1970
        std::map<std::string, std::string> statistics;
    };

    bool registered = false;  // The daemon has its name on the bus.
    bool started = false;
    LogDigest log;
    std::map<std::string, std::uint64_t> failures;  // sends that failed, by the stage as the daemon names it
    std::uint64_t recipientsRefused = 0;
    std::uint64_t capturesFailed = 0;
    DaemonTraces traces;
    std::optional<LastProbe> probe;
    QueueFiles queue;
    std::optional<std::uint64_t> flashFree;     // bytes
    std::optional<std::uint64_t> bytesWritten;  // by the daemon's process, where the system tells
    std::int64_t now = 0;                       // microseconds since 1970

    // Throws as OperatorClient::call.
    static MetricFacts gather(Session& session);
};
