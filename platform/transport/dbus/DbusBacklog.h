// What was sent and the socket has not taken yet. Main thread only.
#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

class DbusBacklog {
public:
    // Bounds: messages, and bytes of their payloads.
    DbusBacklog(std::uint64_t maxMessages, std::uint64_t maxBytes) : maxMessages_(maxMessages), maxBytes_(maxBytes) {}

    // Nothing more may be sent.
    [[nodiscard]] bool full(sd_bus& bus);
    // Counts a message before it is sent: what has been sent is not to be told a failure. False without memory.
    [[nodiscard]] bool add(std::size_t bytes);
    // The last one could not be sent.
    void takeBack();
    void clear();
    // A message is refused. True when that is news.
    bool refuse() { return !std::exchange(refusing_, true); }

private:
    std::uint64_t maxMessages_;
    std::uint64_t maxBytes_;
    std::deque<std::size_t> sizes_;  // of payloads that sd-bus still holds, oldest first
    std::uint64_t bytes_ = 0;        // their sum
    bool refusing_ = false;          // a message was refused, and that was said
};
