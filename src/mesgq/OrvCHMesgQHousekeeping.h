// The life of an entry between admission and the sender: parking, return, expiry, discarding, clearing. Main thread
// only.
#pragma once

#include "mesgq/OrvCHMesgQLists.h"
#include "mesgq/OrvCHMesgQSending.h"

#include <cstdint>

class OrvCHMesgQHousekeeping {
public:
    // All three are referred to for this object's life.
    OrvCHMesgQHousekeeping(OrvCHMesgQLists& lists, const OrvCHQuotas& quotas, OrvCHMesgQSending& sending)
        : lists_(lists), quotas_(quotas), sending_(sending) {}

    // Once a second on a queue that is open for business, whether a copy to the standby runs or not.
    void oneSecondChores();
    // Posts what was counted on the duplicate queue, forgets the rest: 0. While a copy to the standby runs it is put
    // off to the next tick, and is not made when the copy still runs then.
    int flushDuplicateQueue();
    // The operator's clear command: 0. While a copy to the standby runs, what would be deleted is marked for later.
    int clearQueue();

    bool pendingDuplicateFlush() const { return (pendingActions_ & kPendingDuplicateFlush) != 0; }

private:
    void pendingActionChores();
    void sendQueueChores(std::uint32_t now);
    bool sendEntryChores(OrvCHMesgQEntry& entry, std::uint32_t now);
    void discardOldEntry(OrvCHMesgQEntry& entry, std::uint32_t now);
    void discardForQuota(OrvCHMesgQEntry& entry, OrvDeletionReason reason, const char* quota);
    void duplicateQueueChores(std::uint32_t now);
    void endThrottling(OrvCHMesgQEntry& entry);
    void persistQueueChores(std::uint32_t now);

    static constexpr std::uint32_t kPendingDuplicateFlush = 1;

    OrvCHMesgQLists& lists_;
    const OrvCHQuotas& quotas_;
    OrvCHMesgQSending& sending_;
    std::uint32_t pendingActions_ = 0;
};
