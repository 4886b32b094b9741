// Test support: lets a test step in where the controller begins one of its guarded steps. Main thread only.
#pragma once

#include <functional>
#include <string>

struct WatchedSteps {
    // Told of every step before it is made, by the name that its guard reports; true makes it fail by an exception. One
    // at a time.
    explicit WatchedSteps(std::function<bool(const std::string& name)> step);
    ~WatchedSteps();
    WatchedSteps(const WatchedSteps&) = delete;
    WatchedSteps& operator=(const WatchedSteps&) = delete;

    const std::function<bool(const std::string& name)> step;
};
