// From one worker thread to the main thread: delivers to the worker object's handleMainMesg, on the main thread.
#pragma once

#include "thread/MtEventQueue.h"
#include "thread/OrvMesg.h"

class OrvThread;

class OrvMainMesgQ final : public Mt::EventQueue<OrvToMainMesg> {
public:
    // The owner outlives the queue. Throws a text, see Mt::EventQueue.
    OrvMainMesgQ(OrvThread& owner, Dispatcher& dispatcher);

    // An exception is reported, and the message dropped.
    void process(OrvToMainMesg* mesg) override;

private:
    OrvThread& owner_;
};
