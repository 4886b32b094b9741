// Test support: poll fails as a test says, and pauses take no time but are written down. One at a time.
//
// A program that links it wraps the calls at link time (CMakeLists.txt: failing_poll).
#pragma once

#include <vector>

class FailingPoll {
public:
    // The next `times` calls of poll fail with this error.
    FailingPoll(int error, int times);
    ~FailingPoll();
    FailingPoll(const FailingPoll&) = delete;
    FailingPoll& operator=(const FailingPoll&) = delete;

    // What the next call answers with: its errno, or 0.
    int nextError();
    void paused(int milliseconds) { pauses_.push_back(milliseconds); }

    int calls() const { return calls_; }
    // In milliseconds, in the order made.
    const std::vector<int>& pauses() const { return pauses_; }

private:
    int error_;
    int times_;
    int calls_ = 0;
    std::vector<int> pauses_;
};
