// Tells on stderr, once, that a command has lasted a second and goes on.
//
// A thread of its own: whatever the command waits in. Not for a script that wants to compare what is printed:
// SWITCHCTL_QUIET leaves it out.
#pragma once

#include "Guarding_Mutex.h"

#include <condition_variable>
#include <string>
#include <thread>
#include <vector>

class WaitNotice {
public:
    explicit WaitNotice(const std::vector<std::string>& arguments);
    ~WaitNotice();
    WaitNotice(const WaitNotice&) = delete;
    WaitNotice& operator=(const WaitNotice&) = delete;

private:
    void wait() ORV_EXCLUDES(lock_);

    Guarding_Mutex lock_;
    std::condition_variable_any ended_;
    bool done_ ORV_GUARDED_BY(lock_) = false;
    std::thread thread_;  // the maker's
};
