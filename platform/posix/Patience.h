// How long a call that fails for want of memory, or was interrupted, is tried again.
//
// The pauses between the tries grow, and patience ends when there have been a few seconds of them without a success.
// Nothing in here allocates. One thread at a time.
#pragma once

#include <climits>

class Patience {
public:
    static constexpr int SHORTEST_MS = 1;
    static constexpr int LONGEST_MS = 500;
    static constexpr int LIMIT_MS = 5000;  // all pauses since the last success

    Patience() = default;
    Patience(int longest, int limit) : longest_(longest), limit_(limit) {}

    // May the same call work a little later? (An errno.)
    static bool isTransient(int error);

    // The pause before the next try, in milliseconds but for atMost; -1 when patience is over.
    [[nodiscard]] int next(int atMost = INT_MAX);
    // The call failed with this errno. 0 after a pause, or -1 at once when trying again is pointless.
    [[nodiscard]] int waitOut(int error, int atMost = INT_MAX);
    // The call worked.
    void renew() { step_ = SHORTEST_MS, passed_ = 0; }

private:
    int longest_ = LONGEST_MS;
    int limit_ = LIMIT_MS;
    int step_ = SHORTEST_MS;
    int passed_ = 0;
};
