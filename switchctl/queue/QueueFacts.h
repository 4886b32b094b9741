// What the commands of the queue know: its files, and beside them what the switch and the daemon say, as far as they
// answer. No probe is asked for.
#pragma once

#include "switchctl/queue/QueueFiles.h"
#include "switchctl/status/StatusFacts.h"

#include <string>
#include <vector>

// What the daemon would say of its queue, as its files and its send thread's trace have it.
QueueInfo queueOnFlash(const QueueFiles& files, const DaemonTraces& traces);

struct QueueFacts {
    QueueFiles files;
    StatusFacts status;                // without probe, profiles and attributes
    std::vector<std::string> unknown;  // what could not be known, and why
    std::string silence;               // who has not answered; "" when all did

    // PASSIVE leaves the daemon alone.
    static QueueFacts gather(Session& session, StatusFacts::Ask ask = StatusFacts::Ask::DAEMON);
    // Ends the command when somebody did not answer: what is known has been printed.
    void throwSilence() const;
};
