// The queue's answer to the operator's probe, in the trace.
#include "dbg/OrvDbg.h"
#include "mesgq/OrvCHMesgQ.h"

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Both texts are traced under its name.
constexpr char kProbe[] = "probe";

// Sizes and counts are shown signed: a quota without limit is -1.
int shown(std::uint32_t value) {
    return static_cast<int>(value);
}

}  // namespace

int OrvCHMesgQ::probe() const {
    ORV_TRACE("Entry\n");
    probeInformation();
    probeStatistics();
    return 0;
}

void OrvCHMesgQ::probeInformation() const {
    orvTrace(kTraceModule, kProbe,
             "Call Home Message Queue Information:\n"
             "  queueOpenForBusiness            = %s\n"
             "  syncInProgress                  = %s\n"
             "  configDataRead                  = %s\n"
             "  pendingDuplicateFlush           = %s\n"
             "  spaceAllowed                    = %d (bytes)\n"
             "  spaceInUse (total all queues)   = %d (bytes)\n"
             "  spaceInUse (init queue)         = %d (bytes)\n"
             "  spaceInUse (send queue)         = %d (bytes)\n"
             "  spaceInUse (duplicate queue)    = %d (bytes)\n"
             "  spaceInUse (persit queue)       = %d (bytes)\n"
             "  message count (init queue)      = %d\n"
             "  files allowed (send queue)      = %d\n"
             "  message count (send queue)      = %d\n"
             "  message count (duplicate queue) = %d\n"
             "  message count (persist queue)   = %d\n"
             "  throttleDuplicates              = %s\n"
             "  throttleDuplicatesPeriod        = %d (seconds)\n"
             "  discardPeriod                   = %d (seconds)\n\n",
             orvTrueFalse(queueOpenForBusiness_), orvTrueFalse(syncInProgress_), orvTrueFalse(configDataRead_),
             orvTrueFalse((pendingActions_ & kPendingDuplicateFlush) != 0), shown(spaceAllowed_), shown(spaceInUse_),
             shown(init_.bytes()), shown(send_.bytes()), shown(duplicate_.bytes()), shown(persist_.bytes()),
             shown(init_.count()), shown(filesAllowed_), shown(closedCount()), shown(duplicate_.count()),
             shown(persist_.count()), orvTrueFalse(throttleDuplicates_), shown(throttleDuplicatesPeriod_),
             shown(discardPeriod_));
}

void OrvCHMesgQ::probeStatistics() const {
    orvTrace(kTraceModule, kProbe,
             "Call Home Message Queue Internal Stats:\n"
             "  total messages received         = %u\n"
             "  test messages received          = %u\n"
             "  persistent messages received    = %u\n"
             "  duplicate messages received     = %u\n"
             "  reconstituted messages          = %u\n"
             "  messages deleted for space      = %u\n"
             "  messages deleted for file limit = %u\n"
             "  messages deleted for time       = %u\n"
             "  messages deleted for clear req  = %u\n"
             "  messages send OK                = %u\n"
             "  messages could not be added     = %u\n"
             "  currently open messages         = %u\n\n",
             statistics_.totalReceived, statistics_.testReceived, statistics_.persistentReceived,
             statistics_.duplicateReceived, statistics_.reconstituted, statistics_.deletedForSpace,
             statistics_.deletedForFileLimit, statistics_.deletedForTime, statistics_.deletedForClearReq,
             statistics_.sendOk, statistics_.couldNotBeAdded, statistics_.openCount);
}
