#include "thread/OrvMainMesgQ.h"

#include "dbg/OrvGuard.h"
#include "thread/OrvThread.h"

OrvMainMesgQ::OrvMainMesgQ(OrvThread& owner, Dispatcher& dispatcher) : EventQueue(dispatcher), owner_(owner) {
}

void OrvMainMesgQ::process(OrvToMainMesg* mesg) {
    orvGuarded("OrvMainMesgQ::process", [this, mesg] {
        owner_.handleMainMesg(mesg);
        return 0;
    });
}
