// What the targets stand on: a switch that writes down what it is sent, a file tree, a calendar that stands still. One
// for the whole process, made when it is first asked for: a run must not cost a file tree.
#pragma once

#include "platform/posix/Clock.h"
#include "testing/profile/RecordingSwitch.h"

#include <string>
#include <vector>

namespace orv_fuzz {

class Stage {
public:
    static Stage& get();

    dsClient& store() { return switch_.store(); }
    TempRoot& root() { return switch_.root(); }
    ManualClock& clock() { return clock_; }

    // The request to the attribute store with this number from now (1 is the next) cannot be sent; 0: each can.
    void refuseRequest(std::size_t number) { switch_.refuseRequest(number); }
    // What was sent since the last call. Expects of every entry of the event log that it is in the daemon's catalogue.
    std::vector<std::string> takeSent();

private:
    Stage();
    ~Stage();

    ManualClock clock_{1700000000, 123456};
    RecordingSwitch switch_;
};

}  // namespace orv_fuzz
