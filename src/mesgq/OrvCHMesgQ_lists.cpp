// The primitives that every other part of the queue is built on: entries enter and leave a list, and with that their
// files, charges and traces.
#include "base/OrvAssert.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "orvClient.h"
#include "uptime.h"

#include <new>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";

const char* resultText(int result) {
    constexpr const char* kResults[] = {"Passed", "Failed", "Cleared"};
    return result >= 0 && result <= 2 ? kResults[result] : "???";
}

}  // namespace

OrvCHMesgQ::OrvCHMesgQ(dsClient& store, orvClient& responses, OrvConfigListener& config)
    : store_(store), responses_(responses), config_(config) {
    orvMakeQueueDirectories();
}

OrvCHMesgQQueue* OrvCHMesgQ::ToQueuePtr(ORV_CH_MESG_Q_TYPE type) {
    OrvCHMesgQQueue* const queues[kOrvQueueTypes] = {&init_, &send_, &duplicate_, &persist_};
    ORV_ASSERT(type < kOrvQueueTypes);
    return queues[type];
}

const OrvCHMesgQQueue& OrvCHMesgQ::queue(ORV_CH_MESG_Q_TYPE type) const {
    return *const_cast<OrvCHMesgQ*>(this)->ToQueuePtr(type);
}

OrvCHMesgQEntry* OrvCHMesgQ::addNewEntry(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg>& message,
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
    entry->dupEligible = throttleDuplicates_ && posting.ordinary();
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

OrvCHMesgQEntry* OrvCHMesgQ::addInternal(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesgQEntry>& entry,
                                         std::optional<std::uint32_t> keepId) {
    if (queue.hasFiles()) {
        if (keepId && queue.isOnQueue(*keepId)) {
            orvLog(orv_log::kDuplicateNumber);
            ORV_TRACE("duplicate uniqueId, ignored\n");
            return nullptr;
        }
        entry->uniqueId = keepId ? *keepId : queue.nextUniqueId();
        entry->fileMissing = !queueOpenForBusiness_ && !keepId;
    }
    OrvCHMesgQEntry& added = queue.append(std::move(entry));
    spaceInUse_ += added.bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    traceFill(__func__, added, "added to", queue);
    if (queueOpenForBusiness_ && queue.hasFiles() &&
        (queue.type() != ORV_CH_MESG_Q_DUPLICATE || added.message->DuplicateCount > 0)) {
        static_cast<void>(saveEntryToFile(added, queue));
    }
    return &added;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQ::removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    std::unique_ptr<OrvCHMesgQEntry> removed = queue.unlink(entry);
    spaceInUse_ -= removed->bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    if (queue.hasFiles()) {
        static_cast<void>(deleteEntryFile(*removed, queue));
    }
    traceFill(__func__, *removed, "removed from", queue);
    return removed;
}

void OrvCHMesgQ::removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue, int result) {
    const std::unique_ptr<OrvCHMesgQEntry> removed = removeInternal(entry, queue);
    if (queue.type() == ORV_CH_MESG_Q_SEND && removed->posting.testMsg) {
        sendTestResult(*removed->message, result);
    }
}

void OrvCHMesgQ::sendTestResult(const OrvCHMesg& message, int result) {
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

OrvCHMesgQEntry* OrvCHMesgQ::findClosed(const OrvCHMesg* message, const OrvCHMesgQQueue& queue) const {
    OrvCHMesgQEntry* const entry = queue.findEntry(message);
    if (entry && entry->open) {
        orvTrace(kTraceModule, "removeByMessage", "entry (%u) is still open\n", entry->uniqueId);
        return nullptr;
    }
    return entry;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQ::removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type) {
    OrvCHMesgQQueue& holder = *ToQueuePtr(type);
    OrvCHMesgQEntry* const entry = findClosed(message, holder);
    return entry ? removeInternal(*entry, holder) : nullptr;
}

int OrvCHMesgQ::removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type, int result) {
    OrvCHMesgQQueue& holder = *ToQueuePtr(type);
    OrvCHMesgQEntry* const entry = findClosed(message, holder);
    if (!entry) {
        return -1;
    }
    removeInternal(*entry, holder, result);
    return 0;
}

void OrvCHMesgQ::moveEntry(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& from, OrvCHMesgQQueue& to) {
    std::unique_ptr<OrvCHMesgQEntry> moving = removeInternal(entry, from);
    addInternal(to, moving);  // under a new number there is always a place
}

void OrvCHMesgQ::traceFill(const char* function, const OrvCHMesgQEntry& entry, const char* change,
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
