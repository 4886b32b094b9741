// How long OrvCHClient waits before it tries to send again.
//
// The delay grows with every failed send, up to an hour. With two valid servers each delay is used twice, once per
// server, because every failure also changes over.
// Plain data: no clock, no lock. The one-second tick counts the delay down.
#pragma once

#include <cstdint>

class OrvRetryDelay {
public:
    // How many of the two servers are valid: sets the step by which later failures count.
    void setValidServers(unsigned servers);

    // Counts one more failed send; returns the seconds to wait before the next try.
    std::uint32_t nextAfterFailure() { return nextAfter(attempts_); }
    // The same for somebody else's attempts.
    std::uint32_t nextAfter(std::uint32_t& attempts) const;

    // A mail went out, the queue ran empty or the servers were configured anew: the next failure starts afresh.
    void reset() { attempts_ = 0; }

    std::uint32_t step() const { return step_; }
    std::uint32_t attempts() const { return attempts_; }

private:
    std::uint32_t step_ = 0;      // 1 with two valid servers, 2 with one, 0 with none
    std::uint32_t attempts_ = 0;  // stops growing beyond the end of the table
};
