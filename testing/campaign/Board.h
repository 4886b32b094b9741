// What a life of the daemon and the world around it tell each other: one page that both processes share.
#pragma once

#include "testing/CallFaults.h"
#include "testing/MemoryFaults.h"

#include <array>
#include <atomic>
#include <cstddef>

struct Board {
    static constexpr std::size_t kEvents = 16;
    static constexpr std::size_t kRecipients = 2;

    // --- Said by the world ---
    std::array<std::array<std::atomic<unsigned>, kRecipients>, kEvents> mails{};  // taken, of each event
    std::atomic<unsigned> captures{0};                                            // mails of captures
    std::atomic<unsigned> openConnections{0};

    // --- Said by the life ---
    std::atomic<bool> refusing{false};   // the mail server lets nobody in
    std::atomic<bool> deferring{false};  // its next client is to hear that the second recipient is put off
    std::array<std::atomic<bool>, kEvents> accepted{};  // what has to be mailed, whatever follows
    std::atomic<bool> capturing{false};                 // the switch has a capture schedule
    std::atomic<bool> stepDone{false};
    std::array<char, 256> complaint{};

    // --- Said by the case ---
    std::atomic<unsigned> filesLeft{0};  // entries' files that may stay behind

    CallFaults faults;
    MemoryFaults memory;

    // Both count from now on, or no more.
    void watch(bool on) {
        faults.watched = on;
        memory.watched = on;
    }
};
