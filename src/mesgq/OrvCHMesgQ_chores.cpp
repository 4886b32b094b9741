// The life of an entry between admission and the sender: parking, return, expiry, discarding, clearing.
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"
#include "uptime.h"

#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// The steps of oneSecondChores() are traced under its name.
constexpr char kChores[] = "oneSecondChores";

// The results that a test message's profile is told.
constexpr int kPassed = 0;
constexpr int kFailed = 1;
constexpr int kCleared = 2;

// Whether more than period seconds have passed since the entry was received; not for one received after now.
bool olderThan(const OrvCHMesgQEntry& entry, std::uint32_t period, std::uint32_t now) {
    return now > entry.received && now - entry.received > period;
}

}  // namespace

void OrvCHMesgQ::mark(OrvCHMesgQEntry& entry, OrvDeletionReason reason) {
    entry.markedForDeletion = reason;
    static_cast<void>(saveEntryToFile(entry, send_));
}

void OrvCHMesgQ::discard(OrvCHMesgQEntry& entry, OrvDeletionReason reason) {
    static constexpr std::uint32_t OrvCHMesgQStatistics::*kCounters[] = {
        nullptr, &OrvCHMesgQStatistics::deletedForClearReq, &OrvCHMesgQStatistics::deletedForSpace,
        &OrvCHMesgQStatistics::deletedForFileLimit, &OrvCHMesgQStatistics::deletedForTime};
    ++(statistics_.*kCounters[reason]);
    removeInternal(entry, send_, reason == kOrvMarkedByClear ? kCleared : kFailed);
}

void OrvCHMesgQ::removeMarked(OrvCHMesgQEntry& entry) {
    statistics_.persistentDeleted += entry.posting.persist;
    discard(entry, static_cast<OrvDeletionReason>(entry.markedForDeletion));
}

int OrvCHMesgQ::flushDuplicateQueue() {
    ORV_TRACE("Entry\n");
    if (syncInProgress_) {
        pendingActions_ |= kPendingDuplicateFlush;
        return 0;
    }
    for (OrvCHMesgQEntry& entry : duplicate_) {
        if (entry.message->DuplicateCount > 0) {
            moveEntry(entry, duplicate_, send_);
        } else {
            removeInternal(entry, duplicate_, kPassed);
        }
    }
    send_.clearDupEligible();  // those just moved included
    return 0;
}

int OrvCHMesgQ::clearQueue() {
    ORV_TRACE("Entry\n");
    for (OrvCHMesgQEntry& entry : duplicate_) {
        if (syncInProgress_) {
            entry.markedForDeletion = kOrvMarkedByClear;
        } else {
            removeInternal(entry, duplicate_, kPassed);
            ++statistics_.deletedForClearReq;
        }
    }
    for (OrvCHMesgQEntry& entry : send_) {
        if (syncInProgress_) {
            if (!entry.posting.persist) {
                entry.markedForDeletion = kOrvMarkedByClear;
            }
        } else if (entry.open) {
            mark(entry, kOrvMarkedByClear);
        } else if (entry.posting.persist) {
            moveEntry(entry, send_, persist_);
        } else {
            discard(entry, kOrvMarkedByClear);
        }
    }
    return 0;
}

void OrvCHMesgQ::oneSecondChores() {
    if (!queueOpenForBusiness_) {
        if (configDataRead_ && !initStarted_ && monitorReady_) {
            initStarted_ = true;
            init();
        }
        return;
    }
    if (pendingActions_ != 0) {
        pendingActionChores();
    }
    if (send_.count() == 0 && duplicate_.count() == 0 && persist_.count() == 0) {
        return;
    }
    const std::uint32_t now = uptime();
    sendQueueChores(now);
    duplicateQueueChores(now);
    persistQueueChores(now);
}

void OrvCHMesgQ::pendingActionChores() {
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

void OrvCHMesgQ::sendQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : send_) {
        if (!sendEntryChores(entry, now)) {
            return;
        }
    }
}

// False for the first entry that needs nothing: those behind it are not looked at. The entry may be gone.
bool OrvCHMesgQ::sendEntryChores(OrvCHMesgQEntry& entry, std::uint32_t now) {
    if (entry.pendingOps != 0) {
        const int result = (entry.pendingOps & kOrvPendingSuccess) != 0 ? kPassed : kFailed;
        static_cast<void>(peekDelete(entry.message.get(), result));
    } else if (!entry.open && entry.markedForDeletion != kOrvNotMarked) {
        orvTrace(kTraceModule, kChores, "discard msg marked for deletion from send queue\n");
        removeMarked(entry);
    } else if (olderThan(entry, discardPeriod_, now)) {
        discardOldEntry(entry, now);
    } else if (spaceInUse_ > spaceAllowed_) {
        discardForQuota(entry, kOrvMarkedForSpace, "file system usage");
    } else if (closedCount() > filesAllowed_) {
        discardForQuota(entry, kOrvMarkedForFileLimit, "file count");
    } else {
        return false;
    }
    return true;
}

void OrvCHMesgQ::discardOldEntry(OrvCHMesgQEntry& entry, std::uint32_t now) {
    if (entry.posting.persist) {
        return;
    }
    if (!entry.open) {
        orvTrace(kTraceModule, kChores,
                 "discarded old msg from send queue, now = %u, received = %u, discardPeriod = %u\n", now,
                 entry.received, discardPeriod_);
        discard(entry, kOrvMarkedForTime);
    } else if (entry.markedForDeletion == kOrvNotMarked) {
        mark(entry, kOrvMarkedForTime);
    }
}

void OrvCHMesgQ::discardForQuota(OrvCHMesgQEntry& entry, OrvDeletionReason reason, const char* quota) {
    if (!entry.open) {
        orvTrace(kTraceModule, kChores, "discarded msg from send queue to reduce %s\n", quota);
        discard(entry, reason);
    } else if (entry.markedForDeletion == kOrvNotMarked) {
        orvTrace(kTraceModule, kChores, "mark (open) msg in send queue for deletion to reduce %s\n", quota);
        mark(entry, reason);
    }
}

void OrvCHMesgQ::duplicateQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : duplicate_) {
        if (olderThan(entry, throttleDuplicatesPeriod_, now)) {
            endThrottling(entry);
        } else if (duplicate_.ordered()) {
            return;
        }
    }
}

void OrvCHMesgQ::endThrottling(OrvCHMesgQEntry& entry) {
    if (entry.markedForDeletion != kOrvNotMarked) {
        removeInternal(entry, duplicate_, kPassed);
        ++statistics_.deletedForClearReq;
    } else if (entry.message->DuplicateCount > 0) {
        orvTrace(kTraceModule, kChores,
                 "throttleDuplicatesPeriod expired, duplicate(s) detected, move msg from duplicate to send queue "
                 "(DuplicateCount = %u, DuplicateTime = %s)\n",
                 static_cast<unsigned>(entry.message->DuplicateCount), entry.message->DuplicateTime.c_str());
        duplicate_.clearDupEligible(entry);
        moveEntry(entry, duplicate_, send_);
    } else {
        orvTrace(kTraceModule, kChores,
                 "throttleDuplicatesPeriod expired, no duplicates detected, remove msg from duplicate queue\n");
        removeInternal(entry, duplicate_, kPassed);
    }
}

void OrvCHMesgQ::persistQueueChores(std::uint32_t now) {
    for (OrvCHMesgQEntry& entry : persist_) {
        if (olderThan(entry, entry.posting.persistRepostPeriod, now)) {
            orvTrace(kTraceModule, kChores, "moved msg from persist to send queue for re-posting\n");
            moveEntry(entry, persist_, send_);
        }
    }
}
