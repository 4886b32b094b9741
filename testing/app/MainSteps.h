// Test support: tells which steps of the daemon's start are made, in order, and lets a test make each of them fail.
//
// Steps are told as texts, such as "Hsb::init 64 0 0" or "syslog 5 the text", to the one MainSteps object that is
// alive. The program is linked with SteppedMain.cpp, WatchedSlot.cpp and what makes calls and allocations fail; it has
// an event log of its own. Main thread only.
#pragma once

#include "testing/CallFaults.h"
#include "testing/FailingCalls.h"

#include <functional>
#include <string>

class Timeval;

struct MainSteps {
    explicit MainSteps(std::function<void(const std::string&)> tell);
    ~MainSteps();
    MainSteps(const MainSteps&) = delete;
    MainSteps& operator=(const MainSteps&) = delete;

    // Told of every step before it is made.
    const std::function<void(const std::string& step)> tell;
    // The step beginning with this text fails; empty: none.
    std::string failing;
    std::string alsoFailing;
    // The first allocation after the step beginning with this text fails; empty: none.
    std::string noMemoryAfter;
    // Serves instead of the bus; the result of Hsb::handle_events. Empty: the bus is served.
    std::function<int()> serve;

private:
    const OnCall calls_;
};

// What main calls on the platform: a step first, and then the platform's own.
struct SteppedHsb {
    static SteppedHsb* instance();
    [[nodiscard]] int init(int maxMessages, int flags, int options);
    [[nodiscard]] int handle_events(const Timeval* limit);
    void shutdown();
};

struct SteppedCns {
    static SteppedCns* instance();
    [[nodiscard]] int init(int options);
    void shutdown();
};

struct SteppedEns {
    static SteppedEns* instance();
    [[nodiscard]] int init();
    void shutdown();
};
