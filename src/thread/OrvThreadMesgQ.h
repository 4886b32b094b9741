// From the main thread to one worker thread: delivers to the worker object's handleThreadMesg, on the worker.
#pragma once

#include "thread/MtEventQueue.h"
#include "thread/OrvMesg.h"

class OrvThread;

class OrvThreadMesgQ final : public Mt::EventQueue<OrvToThreadMesg> {
public:
    // The owner outlives the queue. Throws a text, see Mt::EventQueue.
    OrvThreadMesgQ(OrvThread& owner, Dispatcher& dispatcher);

    // An exception goes on through the thread's loop to its body.
    void process(OrvToThreadMesg* mesg) override;

private:
    OrvThread& owner_;
};
