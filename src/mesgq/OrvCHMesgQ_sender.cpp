// The queue as the sender uses it: entries are opened, given back or finished.
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"
#include "uptime.h"

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// The steps of peekDelete() are traced under its name.
constexpr char kPeekDelete[] = "peekDelete";

}  // namespace

OrvCHMesg* OrvCHMesgQ::peekOpen() {
    if (syncInProgress_) {
        return nullptr;
    }
    for (OrvCHMesgQEntry& entry : send_) {
        if (!entry.open && entry.markedForDeletion == kOrvNotMarked) {
            ORV_TRACE("entry (%u) opened in the send queue\n", entry.uniqueId);
            entry.open = true;
            ++statistics_.openCount;
            return entry.message.get();
        }
    }
    return nullptr;
}

int OrvCHMesgQ::peekClose(OrvCHMesg* message) {
    OrvCHMesgQEntry* const entry = send_.findEntry(message);
    if (!entry) {
        orvLog(orv_log::kCloseOfNone);
        ORV_TRACE("entry not found\n");
        return -1;
    }
    if (!entry->open) {
        orvLog(orv_log::kCloseOfClosed);
        ORV_TRACE("entry (%u) not open\n", entry->uniqueId);
        return -1;
    }
    entry->open = false;
    --statistics_.openCount;
    const char* const kind = entry->posting.persist ? "persistent " : "";
    if (entry->markedForDeletion == kOrvNotMarked) {
        ORV_TRACE("%sentry (%u) has not completed processing, leave it on the send queue\n", kind, entry->uniqueId);
    } else if (syncInProgress_) {
        ORV_TRACE(
            "%sentry (%u) has not completed processing, is marked for deletion,  but a sync is in progress, "
            "leave it on the send queue\n",
            kind, entry->uniqueId);
    } else {
        ORV_TRACE(
            "%sentry (%u) has not completed processing but is marked for deletion, remove from the send queue "
            "and delete\n",
            kind, entry->uniqueId);
        removeMarked(*entry);
    }
    return 0;
}

int OrvCHMesgQ::peekDelete(OrvCHMesg* message, int result) {
    OrvCHMesgQEntry* const entry = send_.findEntry(message);
    if (!entry) {
        orvLog(orv_log::kDeleteOfNone);
        ORV_TRACE("entry not found\n");
        return -1;
    }
    if (!entry->open) {
        orvLog(orv_log::kDeleteOfClosed);
        ORV_TRACE("entry (%u) not open\n", entry->uniqueId);
        return -1;
    }
    if (syncInProgress_) {
        entry->pendingOps |= result != 0 ? kOrvPendingFailure : kOrvPendingSuccess;
        return 0;
    }
    entry->open = false;
    entry->pendingOps = 0;
    --statistics_.openCount;
    if (entry->posting.persist) {
        finishPersistent(*entry);
    } else {
        finishOrdinary(*entry, result);
    }
    ++statistics_.sendOk;
    return 0;
}

void OrvCHMesgQ::finishPersistent(OrvCHMesgQEntry& entry) {
    // Only -1 goes on for ever; any other negative number counts down too.
    if (entry.posting.expire != -1) {
        entry.posting.expire = static_cast<std::int32_t>(static_cast<std::uint32_t>(entry.posting.expire) - 1);
    }
    if (entry.markedForDeletion != kOrvNotMarked) {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing and is marked for deletion, remove from the send "
                 "queue and delete\n",
                 entry.uniqueId);
        removeMarked(entry);
    } else if (entry.posting.expire != 0) {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing, move it back to the persistent queue\n",
                 entry.uniqueId);
        entry.received = uptime();
        moveEntry(entry, send_, persist_);
    } else {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing and has expired, remove from the send queue and "
                 "delete\n",
                 entry.uniqueId);
        ++statistics_.persistentDeleted;
        removeInternal(entry, send_, 0);
    }
}

// Kept: the mark of an entry that was mailed is not looked at; it goes its way like any other.
void OrvCHMesgQ::finishOrdinary(OrvCHMesgQEntry& entry, int result) {
    const bool park = throttleDuplicates_ && entry.dupEligible;
    if (!park && entry.duplicatesPending == 0) {
        orvTrace(kTraceModule, kPeekDelete,
                 "entry (%u) has completed processing, (%s) remove it from the send queue and delete\n", entry.uniqueId,
                 throttleDuplicates_ ? "further duplicates not allowed" : "duplicates not allowed");
        removeInternal(entry, send_, result);
        return;
    }
    const std::uint32_t pending = entry.duplicatesPending;
    entry.duplicatesPending = 0;
    entry.received = uptime();
    {
        const Mt::Lock lock(entry.message->lock());
        entry.message->DuplicateCount = static_cast<std::int32_t>(pending);
    }
    if (park) {
        orvTrace(kTraceModule, kPeekDelete,
                 "entry (%u) has completed processing, move it to the duplicate queue (DuplicateCount = %u)\n",
                 entry.uniqueId, pending);
        moveEntry(entry, send_, duplicate_);
    } else {
        orvTrace(kTraceModule, kPeekDelete,
                 "entry (%u) has completed processing, further duplicates are not allowed but there are %u pending "
                 "duplicates, leave it on the send queue\n",
                 entry.uniqueId, pending);
        static_cast<void>(saveEntryToFile(entry, send_));  // or a restart would mail it without its count
    }
}
