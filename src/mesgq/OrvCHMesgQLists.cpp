#include "mesgq/OrvCHMesgQLists.h"

#include "base/OrvAssert.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHEntryFiles.h"
#include "orvClient.h"
#include "uptime.h"

#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";

const char* resultText(int result) {
    constexpr const char* kResults[] = {"Passed", "Failed", "Cleared"};
    return result >= kOrvPassed && result <= kOrvCleared ? kResults[result] : "???";
}

}  // namespace

OrvCHMesgQQueue* OrvCHMesgQLists::ToQueuePtr(ORV_CH_MESG_Q_TYPE type) {
    OrvCHMesgQQueue* const queues[kOrvQueueTypes] = {&init_, &send_, &duplicate_, &persist_};
    ORV_ASSERT(type < kOrvQueueTypes);
    return queues[type];
}

const OrvCHMesgQQueue& OrvCHMesgQLists::queue(ORV_CH_MESG_Q_TYPE type) const {
    return *const_cast<OrvCHMesgQLists*>(this)->ToQueuePtr(type);
}

OrvCHMesgQEntry* OrvCHMesgQLists::addNewEntry(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message,
                                              const OrvCHPosting& posting, std::string duplicateKey,
                                              std::optional<std::uint32_t> keepId) {
    std::unique_ptr<OrvCHMesgQEntry> entry(new (std::nothrow) OrvCHMesgQEntry);
    if (!entry) {
        entry.reset(new (std::nothrow) OrvCHMesgQEntry);  // for want of a moment's memory no message is lost
    }
    if (!entry) {
        orvLog(orv_log::kNoEntryMemory);
        ORV_TRACE("unable to allocate memory\n");
        return nullptr;
    }
    entry->received = uptime();
    entry->dupEligible = quotas_.throttleDuplicates && posting.ordinary();
    entry->posting = posting;
    entry->bytesToSave = static_cast<std::uint32_t>(message->bytesToSave());
    if (entry->dupEligible) {
        entry->duplicateKey = std::move(duplicateKey);
    }
    entry->message = std::move(message);
    OrvCHMesgQEntry* const added = addInternal(queue, entry, keepId);
    if (!added) {
        message = std::move(entry->message);
    }
    return added;
}

OrvCHMesgQEntry* OrvCHMesgQLists::addInternal(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesgQEntry>& entry,
                                              std::optional<std::uint32_t> keepId) {
    if (queue.hasFiles()) {
        if (keepId && queue.isOnQueue(*keepId)) {
            orvLog(orv_log::kDuplicateNumber);
            ORV_TRACE("duplicate uniqueId, ignored\n");
            return nullptr;
        }
        entry->uniqueId = keepId ? *keepId : queue.nextUniqueId();
        entry->fileMissing = !openForBusiness_ && !keepId;
    }
    OrvCHMesgQEntry& added = queue.append(std::move(entry));
    spaceInUse_ += added.bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    traceFill(__func__, added, "added to", queue);
    if (openForBusiness_ && queue.hasFiles() &&
        (queue.type() != ORV_CH_MESG_Q_DUPLICATE || added.message->duplicateCount() > 0)) {
        saveEntryToFile(added, queue);
    }
    return &added;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQLists::removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    std::unique_ptr<OrvCHMesgQEntry> removed = queue.unlink(entry);
    spaceInUse_ -= removed->bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    if (queue.hasFiles()) {
        deleteEntryFile(*removed, queue);
    }
    traceFill(__func__, *removed, "removed from", queue);
    return removed;
}

void OrvCHMesgQLists::removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue, int result) {
    const std::unique_ptr<OrvCHMesgQEntry> removed = removeInternal(entry, queue);
    if (queue.type() == ORV_CH_MESG_Q_SEND && removed->posting.testMsg) {
        sendTestResult(*removed->message, result);
    }
}

void OrvCHMesgQLists::sendTestResult(const OrvCHMesg& message, int result) {
    static constexpr char kMethod[] = "removeInternal";
    const int sent = orvGuarded(kMethod, [&] {
        return responses_.CH_TestProfileResults(static_cast<std::uint32_t>(result), message.TestProfile);
    });
    orvTrace(kTraceModule, kMethod, "Test Results (%s) sent for Profile %s\n", resultText(result),
             message.TestProfile.c_str());
    if (sent < 0) {
        orvLog(orv_log::kTestResultNotTaken);
        orvTrace(kTraceModule, kMethod, "error returned from CH_TestProfileResults\n");
    }
}

OrvCHMesgQEntry* OrvCHMesgQLists::findClosed(const OrvCHMesg* message, const OrvCHMesgQQueue& queue) {
    OrvCHMesgQEntry* const entry = queue.findEntry(message);
    if (entry && entry->open) {
        orvTrace(kTraceModule, "removeByMessage", "entry (%u) is still open\n", entry->uniqueId);
        return nullptr;
    }
    return entry;
}

void OrvCHMesgQLists::moveEntry(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& from, OrvCHMesgQQueue& to) {
    std::unique_ptr<OrvCHMesgQEntry> moving = removeInternal(entry, from);
    addInternal(to, moving);  // under a new number there is always a place
}

void OrvCHMesgQLists::mark(OrvCHMesgQEntry& entry, OrvDeletionReason reason) {
    entry.markedForDeletion = reason;
    saveEntryToFile(entry, send_);
}

void OrvCHMesgQLists::discard(OrvCHMesgQEntry& entry, OrvDeletionReason reason) {
    static constexpr std::uint32_t OrvCHMesgQStatistics::*kCounters[] = {
        nullptr, &OrvCHMesgQStatistics::deletedForClearReq, &OrvCHMesgQStatistics::deletedForSpace,
        &OrvCHMesgQStatistics::deletedForFileLimit, &OrvCHMesgQStatistics::deletedForTime};
    ++(statistics_.*kCounters[reason]);
    removeInternal(entry, send_, reason == kOrvMarkedByClear ? kOrvCleared : kOrvFailed);
}

void OrvCHMesgQLists::removeMarked(OrvCHMesgQEntry& entry) {
    statistics_.persistentDeleted += entry.posting.persist;
    discard(entry, static_cast<OrvDeletionReason>(entry.markedForDeletion));
}

void OrvCHMesgQLists::traceFill(const char* function, const OrvCHMesgQEntry& entry, const char* change,
                                const OrvCHMesgQQueue& queue) const {
    const std::uint32_t count = init_.count() + send_.count() + duplicate_.count() + persist_.count();
    orvTrace(kTraceModule, function,
             "entry (%u) %s the %s queue\n"
             "  Queue             Count  Space Used\n"
             "    init       %10u  %10u\n"
             "    send       %10u  %10u\n"
             "    duplicate  %10u  %10u\n"
             "    persist    %10u  %10u\n"
             "  Total        %10u  %10u\n",
             entry.uniqueId, change, queue.name(), init_.count(), init_.bytes(), send_.count(), send_.bytes(),
             duplicate_.count(), duplicate_.bytes(), persist_.count(), persist_.bytes(), count, spaceInUse_);
}
