#include "mesgq/OrvCHMesgQ.h"

#include "dbg/OrvDbg.h"
#include "mesgq/OrvCHQueueFiles.h"

#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Both texts of a probe are traced under its name.
constexpr char kProbe[] = "probe";

// Sizes and counts are shown signed: a quota without limit is -1.
int shown(std::uint32_t value) {
    return static_cast<int>(value);
}

}  // namespace

OrvCHMesgQ::OrvCHMesgQ(dsClient& store, orvClient& responses, OrvConfigListener& config)
    : config_(store, config), lists_(responses, config_.quotas()) {
    orvMakeQueueDirectories();
}

int OrvCHMesgQ::add(std::unique_ptr<OrvCHMesg> message, bool testMsg, bool persist, std::uint32_t persistRepostPeriod,
                    std::int32_t expireCountdown, bool reprocess) {
    return admission_.add(std::move(message), {testMsg, persist, persistRepostPeriod, expireCountdown}, reprocess);
}

int OrvCHMesgQ::remove(OrvCHMesg* /*message*/) {
    ORV_TRACE("Entry\n");
    return -1;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQ::removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type) {
    OrvCHMesgQQueue& holder = *ToQueuePtr(type);
    OrvCHMesgQEntry* const entry = OrvCHMesgQLists::findClosed(message, holder);
    return entry ? lists_.removeInternal(*entry, holder) : nullptr;
}

int OrvCHMesgQ::removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type, int result) {
    OrvCHMesgQQueue& holder = *ToQueuePtr(type);
    OrvCHMesgQEntry* const entry = OrvCHMesgQLists::findClosed(message, holder);
    if (!entry) {
        return -1;
    }
    lists_.removeInternal(*entry, holder, result);
    return 0;
}

int OrvCHMesgQ::readConfig() {
    return config_.readConfig() < 0 ? -1 : flushDuplicateQueue();
}

void OrvCHMesgQ::oneSecondChores() {
    if (openForBusiness()) {
        housekeeping_.oneSecondChores();
    } else if (config_.configDataRead() && !initStarted_ && monitorReady_) {
        initStarted_ = true;
        restore_.init();
    }
}

int OrvCHMesgQ::probe() const {
    ORV_TRACE("Entry\n");
    probeInformation();
    probeStatistics();
    return 0;
}

void OrvCHMesgQ::probeInformation() const {
    const OrvCHQuotas& quotas = config_.quotas();
    const OrvCHMesgQQueue& init = queue(ORV_CH_MESG_Q_INIT);
    const OrvCHMesgQQueue& send = queue(ORV_CH_MESG_Q_SEND);
    const OrvCHMesgQQueue& duplicate = queue(ORV_CH_MESG_Q_DUPLICATE);
    const OrvCHMesgQQueue& persist = queue(ORV_CH_MESG_Q_PERSIST);
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
             orvTrueFalse(openForBusiness()), orvTrueFalse(busy()), orvTrueFalse(config_.configDataRead()),
             orvTrueFalse(housekeeping_.pendingDuplicateFlush()), shown(quotas.spaceAllowed), shown(spaceInUse()),
             shown(init.bytes()), shown(send.bytes()), shown(duplicate.bytes()), shown(persist.bytes()),
             shown(init.count()), shown(quotas.filesAllowed), shown(lists_.closedCount()), shown(duplicate.count()),
             shown(persist.count()), orvTrueFalse(quotas.throttleDuplicates), shown(quotas.throttleDuplicatesPeriod),
             shown(quotas.discardPeriod));
}

void OrvCHMesgQ::probeStatistics() const {
    const OrvCHMesgQStatistics& counted = statistics();
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
             counted.totalReceived, counted.testReceived, counted.persistentReceived, counted.duplicateReceived,
             counted.reconstituted, counted.deletedForSpace, counted.deletedForFileLimit, counted.deletedForTime,
             counted.deletedForClearReq, counted.sendOk, counted.couldNotBeAdded, counted.openCount);
}
