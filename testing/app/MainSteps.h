// Test support: tells which steps of the daemon's start are made, in order, and lets a test make each of them fail.
//
// Steps are told as texts, such as "Hsb::init 64 0 0" or "syslog 5 the text", to the one MainSteps object that is
// alive; the program is linked with --wrap for each of them. Main thread only.
#pragma once

#include <functional>
#include <string>

class Hsb_Component;

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
    // After a component has joined the bus.
    std::function<void(Hsb_Component*)> inserted;
};
