// The main thread of a test: serves its queues.
#pragma once

#include "Dispatcher.h"

#include <chrono>

// Serves the main thread's queues until the condition holds; false when it never does.
template <typename Condition>
bool serveUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const Timeval limit(0, 10000);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline || Dispatcher::instance()->handle_events(&limit) < 0) {
            return false;
        }
    }
    return true;
}
