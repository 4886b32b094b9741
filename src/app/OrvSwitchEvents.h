// Events of the switch: each finds its place in the controller by category and number.
//
// Main thread only.
#pragma once

class Ens_Event;
class OrvCallHome;

class OrvSwitchEvents {
public:
    // Must outlive this object.
    explicit OrvSwitchEvents(OrvCallHome& callHome) : callHome_(callHome) {}

    // -1 when the event was of no use.
    int process(const Ens_Event& event);

private:
    OrvCallHome& callHome_;
};
