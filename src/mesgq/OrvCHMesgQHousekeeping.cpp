#include "mesgq/OrvCHMesgQHousekeeping.h"

#include "dbg/OrvDbg.h"
#include "uptime.h"

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// The steps of oneSecondChores() are traced under its name.
constexpr char kChores[] = "oneSecondChores";

// Whether more than period seconds have passed since the entry was received; not for one received after now.
bool olderThan(const OrvCHMesgQEntry& entry, std::uint32_t period, std::uint32_t now) {
    return now > entry.received && now - entry.received > period;
}

}  // namespace

int OrvCHMesgQHousekeeping::flushDuplicateQueue() {
    ORV_TRACE("Entry\n");
    if (sending_.syncInProgress()) {
        pendingActions_ |= kPendingDuplicateFlush;
        return 0;
    }
    for (OrvCHMesgQEntry& entry : lists_.duplicate()) {
        if (entry.message->duplicateCount() > 0) {
            lists_.moveEntry(entry, lists_.duplicate(), lists_.send());
        } else {
            lists_.removeInternal(entry, lists_.duplicate(), kOrvPassed);
        }
    }
    lists_.send().clearDupEligible();  // those just moved included
    return 0;
}

int OrvCHMesgQHousekeeping::clearQueue() {
    ORV_TRACE("Entry\n");
    for (OrvCHMesgQEntry& entry : lists_.duplicate()) {
        if (sending_.syncInProgress()) {
            entry.markedForDeletion = kOrvMarkedByClear;
        } else {
            lists_.removeInternal(entry, lists_.duplicate(), kOrvPassed);
            ++lists_.statistics().deletedForClearReq;
        }
    }
    for (OrvCHMesgQEntry& entry : lists_.send()) {
        if (sending_.syncInProgress()) {
            if (!entry.posting.persist) {
                entry.markedForDeletion = kOrvMarkedByClear;
            }
        } else if (entry.open) {
            lists_.mark(entry, kOrvMarkedByClear);
        } else if (entry.posting.persist) {
            lists_.moveEntry(entry, lists_.send(), lists_.persist());
        } else {
            lists_.discard(entry, kOrvMarkedByClear);
        }
    }
    return 0;
}

void OrvCHMesgQHousekeeping::oneSecondChores() {
    if (pendingActions_ != 0) {
        pendingActionChores();
    }
    if (lists_.send().count() == 0 && lists_.duplicate().count() == 0 && lists_.persist().count() == 0) {
        return;
    }
    const std::uint32_t now = uptime();
    sendQueueChores(now);
    duplicateQueueChores(now);
    persistQueueChores(now);
}

void OrvCHMesgQHousekeeping::pendingActionChores() {
    bool handled = false;
    if ((pendingActions_ & kPendingDuplicateFlush) != 0) {
        static_cast<void>(flushDuplicateQueue());
        // Kept: also when a sync still runs and the flush has just asked for itself again.
        pendingActions_ &= ~kPendingDuplicateFlush;
        handled = true;
    }
    if (!handled || pendingActions_ != 0) {
        orvTrace(kTraceModule, kChores, "Unhandled general pending action!!!\n");
    }
}

void OrvCHMesgQHousekeeping::sendQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : lists_.send()) {
        if (!sendEntryChores(entry, now)) {
            return;
        }
    }
}

// False for the first entry that needs nothing: those behind it are not looked at. The entry may be gone.
bool OrvCHMesgQHousekeeping::sendEntryChores(OrvCHMesgQEntry& entry, std::uint32_t now) {
    if (entry.pendingOps != 0) {
        const int result = (entry.pendingOps & kOrvPendingSuccess) != 0 ? kOrvPassed : kOrvFailed;
        static_cast<void>(sending_.peekDelete(entry.message.get(), result));
    } else if (!entry.open && entry.markedForDeletion != kOrvNotMarked) {
        orvTrace(kTraceModule, kChores, "discard msg marked for deletion from send queue\n");
        lists_.removeMarked(entry);
    } else if (olderThan(entry, quotas_.discardPeriod, now)) {
        discardOldEntry(entry, now);
    } else if (lists_.spaceInUse() > quotas_.spaceAllowed) {
        discardForQuota(entry, kOrvMarkedForSpace, "file system usage");
    } else if (lists_.closedCount() > quotas_.filesAllowed) {
        discardForQuota(entry, kOrvMarkedForFileLimit, "file count");
    } else {
        return false;
    }
    return true;
}

void OrvCHMesgQHousekeeping::discardOldEntry(OrvCHMesgQEntry& entry, std::uint32_t now) {
    if (entry.posting.persist) {
        return;
    }
    if (!entry.open) {
        orvTrace(kTraceModule, kChores,
                 "discarded old msg from send queue, now = %u, received = %u, discardPeriod = %u\n", now,
                 entry.received, quotas_.discardPeriod);
        lists_.discard(entry, kOrvMarkedForTime);
    } else if (entry.markedForDeletion == kOrvNotMarked) {
        lists_.mark(entry, kOrvMarkedForTime);
    }
}

void OrvCHMesgQHousekeeping::discardForQuota(OrvCHMesgQEntry& entry, OrvDeletionReason reason, const char* quota) {
    if (!entry.open) {
        orvTrace(kTraceModule, kChores, "discarded msg from send queue to reduce %s\n", quota);
        lists_.discard(entry, reason);
    } else if (entry.markedForDeletion == kOrvNotMarked) {
        orvTrace(kTraceModule, kChores, "mark (open) msg in send queue for deletion to reduce %s\n", quota);
        lists_.mark(entry, reason);
    }
}

void OrvCHMesgQHousekeeping::duplicateQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : lists_.duplicate()) {
        if (olderThan(entry, quotas_.throttleDuplicatesPeriod, now)) {
            endThrottling(entry);
        } else if (lists_.duplicate().ordered()) {
            return;
        }
    }
}

void OrvCHMesgQHousekeeping::endThrottling(OrvCHMesgQEntry& entry) {
    if (entry.markedForDeletion != kOrvNotMarked) {
        lists_.removeInternal(entry, lists_.duplicate(), kOrvPassed);
        ++lists_.statistics().deletedForClearReq;
    } else if (entry.message->duplicateCount() > 0) {
        orvTrace(kTraceModule, kChores,
                 "throttleDuplicatesPeriod expired, duplicate(s) detected, move msg from duplicate to send queue "
                 "(DuplicateCount = %u, DuplicateTime = %s)\n",
                 static_cast<unsigned>(entry.message->duplicateCount()), entry.message->duplicateTime().c_str());
        lists_.duplicate().clearDupEligible(entry);
        lists_.moveEntry(entry, lists_.duplicate(), lists_.send());
    } else {
        orvTrace(kTraceModule, kChores,
                 "throttleDuplicatesPeriod expired, no duplicates detected, remove msg from duplicate queue\n");
        lists_.removeInternal(entry, lists_.duplicate(), kOrvPassed);
    }
}

void OrvCHMesgQHousekeeping::persistQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : lists_.persist()) {
        if (olderThan(entry, entry.posting.persistRepostPeriod, now)) {
            orvTrace(kTraceModule, kChores, "moved msg from persist to send queue for re-posting\n");
            lists_.moveEntry(entry, lists_.persist(), lists_.send());
        }
    }
}
