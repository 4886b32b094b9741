// The queue as it stands on flash, from its files alone. The daemon may write them at any moment; nothing here writes,
// and nothing is locked.
#pragma once

#include "switchctl/queue/QueuedMessage.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct QueueEntry {
    std::string queue;  // "send", "duplicate", "persist"
    std::uint32_t number = 0;
    std::string path;  // on this machine
    std::uint64_t bytes = 0;
    std::int64_t written = 0;              // microseconds since 1970
    bool listed = false;                   // The order file has it.
    std::optional<QueuedMessage> message;  // nothing where the file could not be read
    std::string unread;                    // why

    // As one names it to a command: "5", "duplicate/5".
    std::string name() const;
    // Its file and, of a capture, its attachments.
    std::uint64_t allBytes() const;
    // When what it tells of happened; where that cannot be known, when it was written.
    std::int64_t since() const;
};

struct QueueFiles {
    std::vector<QueueEntry> entries;   // queue by queue, as they are to be mailed
    std::vector<std::string> foreign;  // files that are none of the queues'
    std::vector<std::string> unknown;  // what could not be read, and why
    std::uint64_t tests = 0;           // test messages that wait: they have no file
    std::uint64_t parkedWithout = 0;   // mailed messages that are kept without a file
    bool ordered = true;               // The send queue has an order file.

    static QueueFiles read();
    // By its name. Null when there is none.
    const QueueEntry* find(const std::string& name) const;

    static constexpr const char* SEND = "send";
    static constexpr const char* DUPLICATE = "duplicate";
    static constexpr const char* PERSIST = "persist";
};
