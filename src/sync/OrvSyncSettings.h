// Where the two ends of the file synchronisation meet, and how long they bear with each other.
//
// What stands here is what a switch uses; a test brings both ends together at a port of its own.
#pragma once

#include <chrono>
#include <cstdint>

struct OrvSyncSettings {
    // In the processor's order. 0: the sender connects to its own host, the receiver listens on every address.
    std::uint32_t address = 0;
    // 0, for a receiver only: a free one.
    std::uint16_t port = 5444;
    // For a peer that has gone silent in the middle of a record, a file or a reply. A receiver between two records
    // waits as long as it takes.
    std::chrono::milliseconds limit = std::chrono::seconds(300);
};
