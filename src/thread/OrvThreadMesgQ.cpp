#include "thread/OrvThreadMesgQ.h"

#include "thread/OrvThread.h"

OrvThreadMesgQ::OrvThreadMesgQ(OrvThread& owner, Dispatcher& dispatcher) : EventQueue(dispatcher), owner_(owner) {
}

void OrvThreadMesgQ::process(OrvToThreadMesg* mesg) {
    owner_.handleThreadMesg(mesg);
}
