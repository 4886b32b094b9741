// What happened to one message, or to the mails of one profile, in order: from the daemon's traces and the event log.
//
// An entry of the queue is known by its number, which it shares with others before and after it, and which changes when
// it moves to another list: its life is followed from trace to trace.
#pragma once

#include "switchd/store/LogEntry.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct TimelineEvent {
    std::int64_t time = 0;  // microseconds since 1970
    std::string source;     // "queue", "flash", "server", "log"
    std::string text;

    friend bool operator==(const TimelineEvent&, const TimelineEvent&) = default;
};

struct TimelineSources {
    std::string mainTrace;
    std::string sendTrace;
    std::vector<LogEntry> log;
};

struct Timeline {
    std::vector<TimelineEvent> events;
    std::int64_t from = 0;  // What was before this is not in the traces; 0: there are none.
    bool found = false;     // The traces know the message.

    // Of the entry that has, or had last, this number in this list: "send", "duplicate", "persist".
    static Timeline ofMessage(const TimelineSources& sources, const std::string& list, std::uint32_t number);
    static Timeline ofProfile(const TimelineSources& sources, const std::string& profile);
};
