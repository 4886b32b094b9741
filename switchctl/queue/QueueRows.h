// What is known of each message of the queue: how it stands, when it is tried next, what was said about it last.
#pragma once

#include "switchctl/queue/QueueFacts.h"

#include <optional>
#include <string>
#include <vector>

enum class QueueState {
    WAITING,
    OPEN,              // with the send thread
    PARKED,            // mailed; its repeats are counted
    PERSISTENT,        // between two postings
    LEFT_OVER,         // The daemon does not know it: it comes back at the next start.
    HALF_WRITTEN,      // It has just been written and is not whole.
    NEVER_RESTORABLE,  // It is not whole: no start makes a message of it.
    UNREADABLE,        // The system does not let us.
};
// As one writes it: "waiting", "never restorable".
const char* nameOf(QueueState state);

struct QueueRow {
    struct Reply {
        std::string server;
        std::string text;
        std::int64_t time = 0;  // microseconds since 1970
    };

    const QueueEntry* entry = nullptr;
    QueueState state = QueueState::WAITING;
    std::string remark;                   // in plain words; "" for none
    std::optional<std::int64_t> nextTry;  // microseconds since 1970
    std::string after;                    // the message that goes before it
    std::optional<Reply> lastReply;
};

// A row for each file, in the order in which they are mailed. Points into the facts.
std::vector<QueueRow> queueRows(const QueueFacts& facts);

// What becomes of a recipient, from the mark in front of its address.
std::string recipientWords(char mark);
// Repeats, those that are not in the count yet included.
std::uint64_t repeatsOf(const QueueEntry& entry);
