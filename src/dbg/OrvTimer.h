// A bus timer with an action of its own: the main thread's one-second tick. Main thread only.
//
// The owner arms it (cancel, set, start) and cancels it before it dies. An exception of the action is reported and
// ends there; a periodic timer goes on.
#pragma once

#include "Hsb_Timer.h"

class OrvTimer : public Hsb_Timer {
public:
    // Runs the action. 0, or -1 when it threw.
    int handle_timeout() override;

private:
    virtual void action() = 0;
};
