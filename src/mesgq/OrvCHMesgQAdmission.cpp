#include "mesgq/OrvCHMesgQAdmission.h"

#include "base/OrvSteps.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHEntryFiles.h"

#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// The steps of add() are traced under its name.
constexpr char kAdd[] = "add";

// Kept: an entry that makes room is credited with a little less than it was charged, so that making room is
// slightly more generous than the accounting.
constexpr std::uint32_t kFreedOverhead = 160;

}  // namespace

int OrvCHMesgQAdmission::add(std::unique_ptr<OrvCHMesg> message, const OrvCHPosting& posting, bool reprocess) {
    ORV_TRACE("testMsg = %s, persist = %s, persistRepostPeriod = %u, expireCountdown = %d\n",
              orvTrueFalse(posting.testMsg), orvTrueFalse(posting.persist), posting.persistRepostPeriod,
              posting.expire);
    if (!reprocess) {
        OrvCHMesgQStatistics& statistics = lists_.statistics();
        ++statistics.totalReceived;
        statistics.persistentReceived += posting.persist;
        statistics.testReceived += posting.testMsg;
    }
    try {
        return orvOnceMoreForMemory([&] { return admit(message, posting); });
    } catch (const std::bad_alloc&) {
        // Nothing has been put on a queue yet: what comes after that does not throw.
        orvLog(orv_log::kNoEntryMemory);
        ORV_TRACE("unable to allocate memory\n");
        return unableToAdd();
    }
}

int OrvCHMesgQAdmission::admit(std::unique_ptr<OrvCHMesg>& message, const OrvCHPosting& posting) {
    if (posting.testMsg && posting.persist) {
        orvLog(orv_log::kTestNotPersistent);
        orvTrace(kTraceModule, kAdd, "cannot persist a test message\n");
        return refuse();
    }
    if (!lists_.isOpenForBusiness()) {
        return enqueue(lists_.init(), message, posting, std::string());
    }
    std::string key = posting.ordinary() ? message->duplicateKey() : std::string();
    if (posting.ordinary() && countAsDuplicate(key)) {
        return 0;
    }
    if (checkSpace(static_cast<std::uint32_t>(message->bytesToSave())) < 0 || checkFiles() < 0) {
        return -1;
    }
    return enqueue(lists_.send(), message, posting, std::move(key));
}

int OrvCHMesgQAdmission::enqueue(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message,
                                 const OrvCHPosting& posting, std::string duplicateKey) {
    return lists_.addNewEntry(queue, message, posting, std::move(duplicateKey)) ? 0 : unableToAdd();
}

int OrvCHMesgQAdmission::unableToAdd() {
    orvLog(orv_log::kNotAdded);
    orvTrace(kTraceModule, kAdd, "unable to add msg\n");
    return refuse();
}

// The caller has said why.
int OrvCHMesgQAdmission::refuse() {
    ++lists_.statistics().couldNotBeAdded;
    return -1;
}

bool OrvCHMesgQAdmission::countAsDuplicate(const std::string& key) {
    if (OrvCHMesgQEntry* const parked = lists_.duplicate().findDuplicate(key)) {
        countParkedDuplicate(*parked, orvNowText());
    } else if (OrvCHMesgQEntry* const waiting = lists_.send().findDuplicate(key)) {
        countPendingDuplicate(*waiting, orvNowText());
    } else {
        return false;
    }
    ++lists_.statistics().duplicateReceived;
    return true;
}

void OrvCHMesgQAdmission::countParkedDuplicate(OrvCHMesgQEntry& entry, std::string now) {
    {
        const Mt::Lock lock(entry.message->lock());
        ++entry.message->DuplicateCount;
        entry.message->DuplicateTime = std::move(now);
    }
    orvTrace(kTraceModule, kAdd, "already on duplicate queue, increment duplicate count (new value: %u)\n",
             static_cast<unsigned>(entry.message->duplicateCount()));
    saveEntryToFile(entry, lists_.duplicate());
}

void OrvCHMesgQAdmission::countPendingDuplicate(OrvCHMesgQEntry& entry, std::string now) {
    ++entry.duplicatesPending;
    {
        // The sender may be composing the mail from this very message.
        const Mt::Lock lock(entry.message->lock());
        entry.message->DuplicateTime = std::move(now);
    }
    saveEntryToFile(entry, lists_.send());
    orvTrace(kTraceModule, kAdd, "already on send queue, increment duplicatesPending count (new value: %u)\n",
             entry.duplicatesPending);
}

int OrvCHMesgQAdmission::checkSpace(std::uint32_t bytesToSave) {
    // 64 bits: without a quota the sums pass 32.
    const std::uint64_t needed = std::uint64_t{bytesToSave} + OrvCHMesgQQueue::kEntryOverhead;
    if (needed > quotas_.spaceAllowed) {
        orvLog(orv_log::kMessageTooLarge);
        orvTrace(kTraceModule, kAdd, "message too big! (msg->bytesToSave() = %u)\n", bytesToSave);
        return refuse();
    }
    const std::uint64_t wanted = needed + lists_.spaceInUse();
    if (quotas_.spaceAllowed < wanted && makeRoom(static_cast<std::uint32_t>(wanted - quotas_.spaceAllowed)) < 0) {
        orvLog(orv_log::kNoSpace);
        orvTrace(kTraceModule, kAdd, "unable to make room\nsize needed = %u, spaceAllowed = %u, spaceInUse = %u",
                 static_cast<unsigned>(needed), quotas_.spaceAllowed, lists_.spaceInUse());
        return refuse();
    }
    return 0;
}

int OrvCHMesgQAdmission::checkFiles() {
    const std::uint32_t closed = lists_.closedCount();
    if (closed >= quotas_.filesAllowed && removeOldest(closed - quotas_.filesAllowed + 1) < 0) {
        orvLog(orv_log::kTooManyFiles);
        orvTrace(kTraceModule, kAdd, "unable to make room\nsendQueue.count = %u, filesAllowed = %u", closed,
                 quotas_.filesAllowed);
        return refuse();
    }
    return 0;
}

// Discards closed entries of the send queue, oldest first, and marks the open ones on the way. 0 as soon as
// enough(entry), asked before an entry goes, says so; -1 at the queue's end.
template <typename Enough>
int OrvCHMesgQAdmission::discardFromHead(const char* function, OrvDeletionReason reason, Enough enough) {
    for (OrvCHMesgQEntry& entry : lists_.send()) {
        if (entry.posting.persist) {
            continue;
        }
        if (entry.open) {
            orvTrace(kTraceModule, function, "currently open, mark it for deletion\n");
            lists_.mark(entry, reason);
            continue;
        }
        const bool last = enough(entry);
        lists_.discard(entry, reason);
        if (last) {
            return 0;
        }
    }
    return -1;
}

int OrvCHMesgQAdmission::makeRoom(std::uint32_t sizeNeeded) {
    ORV_TRACE("sizeNeeded = %d\n", static_cast<std::int32_t>(sizeNeeded));
    std::uint64_t freed = 0;
    const auto enough = [&freed, sizeNeeded](const OrvCHMesgQEntry& entry) {
        freed += std::uint64_t{entry.bytesToSave} + kFreedOverhead;
        return freed >= sizeNeeded;
    };
    for (OrvCHMesgQEntry& entry : lists_.duplicate()) {
        if (entry.message->duplicateCount() != 0) {
            continue;  // it still has something to say
        }
        const bool last = enough(entry);
        lists_.removeInternal(entry, lists_.duplicate(), kOrvPassed);
        ++lists_.statistics().deletedForSpace;
        if (last) {
            return 0;
        }
    }
    return discardFromHead(__func__, kOrvMarkedForSpace, enough);
}

int OrvCHMesgQAdmission::removeOldest(std::uint32_t count) {
    ORV_TRACE("discard first %u non-open msg(s) from send queue to reduce file count\n", count);
    std::uint32_t removed = 0;
    return discardFromHead(__func__, kOrvMarkedForFileLimit,
                           [&removed, count](const OrvCHMesgQEntry&) { return ++removed == count; });
}
