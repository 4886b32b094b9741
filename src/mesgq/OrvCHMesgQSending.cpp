#include "mesgq/OrvCHMesgQSending.h"

#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHEntryFiles.h"
#include "uptime.h"

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// The steps of peekDelete() are traced under its name.
constexpr char kPeekDelete[] = "peekDelete";

// The entry that one of the peeks was told of. Null, reported, unless it is open.
OrvCHMesgQEntry* findOpen(const OrvCHMesgQQueue& send, const OrvCHMesg* message, const char* method,
                          const OrvLogEntry<>& none, const OrvLogEntry<>& closed) {
    OrvCHMesgQEntry* const entry = send.findEntry(message);
    if (!entry) {
        orvLog(none);
        orvTrace(kTraceModule, method, "entry not found\n");
        return nullptr;
    }
    if (!entry->open) {
        orvLog(closed);
        orvTrace(kTraceModule, method, "entry (%u) not open\n", entry->uniqueId);
        return nullptr;
    }
    return entry;
}

// Not asked for the time unless it was: most entries never are.
bool isPostponed(const OrvCHMesgQEntry& entry) {
    return entry.postponedUntil != 0 && uptime() < entry.postponedUntil;
}

}  // namespace

OrvCHMesg* OrvCHMesgQSending::peekOpen() {
    if (syncInProgress_) {
        return nullptr;
    }
    for (OrvCHMesgQEntry& entry : lists_.send()) {
        if (!entry.open && entry.markedForDeletion == kOrvNotMarked && !isPostponed(entry)) {
            ORV_TRACE("entry (%u) opened in the send queue\n", entry.uniqueId);
            entry.open = true;
            ++lists_.statistics().openCount;
            return entry.message.get();
        }
    }
    return nullptr;
}

int OrvCHMesgQSending::peekClose(OrvCHMesg* message) {
    OrvCHMesgQEntry* const entry =
        findOpen(lists_.send(), message, __func__, orv_log::kCloseOfNone, orv_log::kCloseOfClosed);
    if (!entry) {
        return -1;
    }
    entry->open = false;
    --lists_.statistics().openCount;
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
        lists_.removeMarked(*entry);
    }
    return 0;
}

int OrvCHMesgQSending::postpone(OrvCHMesg* message, std::uint32_t seconds) {
    if (OrvCHMesgQEntry* const entry = lists_.send().findEntry(message); entry != nullptr && entry->open) {
        entry->postponedUntil = seconds != 0 ? uptime() + seconds : 0;
        saveEntryToFile(*entry, lists_.send());
    }
    return peekClose(message);
}

int OrvCHMesgQSending::peekDelete(OrvCHMesg* message, int result) {
    OrvCHMesgQEntry* const entry =
        findOpen(lists_.send(), message, __func__, orv_log::kDeleteOfNone, orv_log::kDeleteOfClosed);
    if (!entry) {
        return -1;
    }
    if (syncInProgress_) {
        entry->pendingOps |= result != 0 ? kOrvPendingFailure : kOrvPendingSuccess;
        return 0;
    }
    entry->open = false;
    entry->pendingOps = 0;
    entry->postponedUntil = 0;
    message->PutOff = 0;
    --lists_.statistics().openCount;
    if (entry->posting.persist) {
        finishPersistent(*entry);
    } else {
        finishOrdinary(*entry, result);
    }
    ++lists_.statistics().sendOk;
    return 0;
}

void OrvCHMesgQSending::finishPersistent(OrvCHMesgQEntry& entry) {
    // Only -1 goes on for ever; any other negative number counts down too.
    if (entry.posting.expire != -1) {
        entry.posting.expire = static_cast<std::int32_t>(static_cast<std::uint32_t>(entry.posting.expire) - 1);
    }
    if (entry.markedForDeletion != kOrvNotMarked) {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing and is marked for deletion, remove from the send "
                 "queue and delete\n",
                 entry.uniqueId);
        lists_.removeMarked(entry);
    } else if (entry.posting.expire != 0) {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing, move it back to the persistent queue\n",
                 entry.uniqueId);
        entry.received = uptime();
        lists_.moveEntry(entry, lists_.send(), lists_.persist());
    } else {
        orvTrace(kTraceModule, kPeekDelete,
                 "persistent entry (%u) has completed processing and has expired, remove from the send queue and "
                 "delete\n",
                 entry.uniqueId);
        ++lists_.statistics().persistentDeleted;
        lists_.removeInternal(entry, lists_.send(), kOrvPassed);
    }
}

// Kept: the mark of an entry that was mailed is not looked at; it goes its way like any other.
void OrvCHMesgQSending::finishOrdinary(OrvCHMesgQEntry& entry, int result) {
    const bool park = quotas_.throttleDuplicates && entry.dupEligible;
    if (!park && entry.duplicatesPending == 0) {
        orvTrace(kTraceModule, kPeekDelete,
                 "entry (%u) has completed processing, (%s) remove it from the send queue and delete\n", entry.uniqueId,
                 quotas_.throttleDuplicates ? "further duplicates not allowed" : "duplicates not allowed");
        lists_.removeInternal(entry, lists_.send(), result);
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
        lists_.moveEntry(entry, lists_.send(), lists_.duplicate());
    } else {
        orvTrace(kTraceModule, kPeekDelete,
                 "entry (%u) has completed processing, further duplicates are not allowed but there are %u pending "
                 "duplicates, leave it on the send queue\n",
                 entry.uniqueId, pending);
        saveEntryToFile(entry, lists_.send());  // or a restart would mail it without its count
    }
}
