// How a message gets on a queue: repeats are counted, and room is made under the two quotas.
#include "base/OrvOnceMore.h"
#include "base/OrvTimeText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"

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

int OrvCHMesgQ::add(std::unique_ptr<OrvCHMesg> message, bool testMsg, bool persist, std::uint32_t persistRepostPeriod,
                    std::int32_t expireCountdown, bool reprocess) {
    ORV_TRACE("testMsg = %s, persist = %s, persistRepostPeriod = %u, expireCountdown = %d\n", orvTrueFalse(testMsg),
              orvTrueFalse(persist), persistRepostPeriod, expireCountdown);
    if (!reprocess) {
        ++statistics_.totalReceived;
        statistics_.persistentReceived += persist;
        statistics_.testReceived += testMsg;
    }
    const OrvCHPosting posting{testMsg, persist, persistRepostPeriod, expireCountdown};
    try {
        return orvOnceMoreForMemory([&] { return admit(message, posting); });
    } catch (const std::bad_alloc&) {
        // Nothing has been put on a queue yet: what comes after that does not throw.
        orvLog(orv_log::kNoEntryMemory);
        ORV_TRACE("unable to allocate memory\n");
        return unableToAdd();
    }
}

int OrvCHMesgQ::admit(std::unique_ptr<OrvCHMesg>& message, const OrvCHPosting& posting) {
    if (posting.testMsg && posting.persist) {
        orvLog(orv_log::kTestNotPersistent);
        orvTrace(kTraceModule, kAdd, "cannot persist a test message\n");
        return refuse();
    }
    if (!queueOpenForBusiness_) {
        return enqueue(init_, message, posting, std::string());
    }
    std::string key = posting.ordinary() ? message->duplicateKey() : std::string();
    if (posting.ordinary() && countAsDuplicate(key)) {
        return 0;
    }
    if (checkSpace(static_cast<std::uint32_t>(message->bytesToSave())) < 0 || checkFiles() < 0) {
        return -1;
    }
    return enqueue(send_, message, posting, std::move(key));
}

int OrvCHMesgQ::enqueue(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message, const OrvCHPosting& posting,
                        std::string duplicateKey) {
    return addNewEntry(queue, message, posting, std::move(duplicateKey)) ? 0 : unableToAdd();
}

int OrvCHMesgQ::unableToAdd() {
    orvLog(orv_log::kNotAdded);
    orvTrace(kTraceModule, kAdd, "unable to add msg\n");
    return refuse();
}

// The caller has said why.
int OrvCHMesgQ::refuse() {
    ++statistics_.couldNotBeAdded;
    return -1;
}

int OrvCHMesgQ::remove(OrvCHMesg* /*message*/) {
    ORV_TRACE("Entry\n");
    return -1;
}

bool OrvCHMesgQ::countAsDuplicate(const std::string& key) {
    if (OrvCHMesgQEntry* const parked = duplicate_.findDuplicate(key)) {
        countParkedDuplicate(*parked, orvNowText());
    } else if (OrvCHMesgQEntry* const waiting = send_.findDuplicate(key)) {
        countPendingDuplicate(*waiting, orvNowText());
    } else {
        return false;
    }
    ++statistics_.duplicateReceived;
    return true;
}

void OrvCHMesgQ::countParkedDuplicate(OrvCHMesgQEntry& entry, std::string now) {
    {
        const Mt::Lock lock(entry.message->lock());
        ++entry.message->DuplicateCount;
        entry.message->DuplicateTime = std::move(now);
    }
    orvTrace(kTraceModule, kAdd, "already on duplicate queue, increment duplicate count (new value: %u)\n",
             static_cast<unsigned>(entry.message->DuplicateCount));
    static_cast<void>(saveEntryToFile(entry, duplicate_));
}

void OrvCHMesgQ::countPendingDuplicate(OrvCHMesgQEntry& entry, std::string now) {
    ++entry.duplicatesPending;
    {
        // The sender may be composing the mail from this very message.
        const Mt::Lock lock(entry.message->lock());
        entry.message->DuplicateTime = std::move(now);
    }
    static_cast<void>(saveEntryToFile(entry, send_));
    orvTrace(kTraceModule, kAdd, "already on send queue, increment duplicatesPending count (new value: %u)\n",
             entry.duplicatesPending);
}

int OrvCHMesgQ::checkSpace(std::uint32_t bytesToSave) {
    // 64 bits: without a quota the sums pass 32.
    const std::uint64_t needed = std::uint64_t{bytesToSave} + OrvCHMesgQQueue::kEntryOverhead;
    if (needed > spaceAllowed_) {
        orvLog(orv_log::kMessageTooLarge);
        orvTrace(kTraceModule, kAdd, "message too big! (msg->bytesToSave() = %u)\n", bytesToSave);
        return refuse();
    }
    const std::uint64_t wanted = needed + spaceInUse_;
    if (spaceAllowed_ < wanted && makeRoom(static_cast<std::uint32_t>(wanted - spaceAllowed_)) < 0) {
        orvLog(orv_log::kNoSpace);
        orvTrace(kTraceModule, kAdd, "unable to make room\nsize needed = %u, spaceAllowed = %u, spaceInUse = %u",
                 static_cast<unsigned>(needed), spaceAllowed_, spaceInUse_);
        return refuse();
    }
    return 0;
}

int OrvCHMesgQ::checkFiles() {
    const std::uint32_t closed = closedCount();
    if (closed >= filesAllowed_ && removeOldest(closed - filesAllowed_ + 1) < 0) {
        orvLog(orv_log::kTooManyFiles);
        orvTrace(kTraceModule, kAdd, "unable to make room\nsendQueue.count = %u, filesAllowed = %u", closed,
                 filesAllowed_);
        return refuse();
    }
    return 0;
}

// Discards closed entries of the send queue, oldest first, and marks the open ones on the way. 0 as soon as
// enough(entry), asked before an entry goes, says so; -1 at the queue's end.
template <typename Enough>
int OrvCHMesgQ::discardFromHead(const char* function, OrvDeletionReason reason, Enough enough) {
    for (OrvCHMesgQEntry& entry : send_) {
        if (entry.posting.persist) {
            continue;
        }
        if (entry.open) {
            orvTrace(kTraceModule, function, "currently open, mark it for deletion\n");
            mark(entry, reason);
            continue;
        }
        const bool last = enough(entry);
        discard(entry, reason);
        if (last) {
            return 0;
        }
    }
    return -1;
}

int OrvCHMesgQ::makeRoom(std::uint32_t sizeNeeded) {
    ORV_TRACE("sizeNeeded = %d\n", static_cast<std::int32_t>(sizeNeeded));
    std::uint64_t freed = 0;
    const auto enough = [&freed, sizeNeeded](const OrvCHMesgQEntry& entry) {
        freed += std::uint64_t{entry.bytesToSave} + kFreedOverhead;
        return freed >= sizeNeeded;
    };
    for (OrvCHMesgQEntry& entry : duplicate_) {
        if (entry.message->DuplicateCount != 0) {
            continue;  // it still has something to say
        }
        const bool last = enough(entry);
        removeInternal(entry, duplicate_, 0);
        ++statistics_.deletedForSpace;
        if (last) {
            return 0;
        }
    }
    return discardFromHead(__func__, kOrvMarkedForSpace, enough);
}

int OrvCHMesgQ::removeOldest(std::uint32_t count) {
    ORV_TRACE("discard first %u non-open msg(s) from send queue to reduce file count\n", count);
    std::uint32_t removed = 0;
    return discardFromHead(__func__, kOrvMarkedForFileLimit,
                           [&removed, count](const OrvCHMesgQEntry&) { return ++removed == count; });
}
