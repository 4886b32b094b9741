// The primitives that every other part of the queue is built on: entries enter and leave a list, and with that their
// files, charges and traces.
#include "base/OrvAssert.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
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

OrvCHMesgQEntry* OrvCHMesgQ::addNewEntry(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesg> message,
                                         const OrvCHPosting& posting, std::string duplicateKey,
                                         std::optional<std::uint32_t> keepId) {
    std::unique_ptr<OrvCHMesgQEntry> entry(new (std::nothrow) OrvCHMesgQEntry);
    if (!entry) {
        orvLog(kOrvLogInternal, "Unable to allocate memory");
        ORV_TRACE("unable to allocate memory\n");
        return nullptr;
    }
    entry->received = uptime();
    entry->dupEligible = throttleDuplicates_ && posting.ordinary();
    entry->posting = posting;
    entry->bytesToSave = static_cast<std::uint32_t>(message->bytesToSave());
    entry->duplicateKey = std::move(duplicateKey);
    entry->message = std::move(message);
    return addInternal(queue, std::move(entry), keepId);
}

OrvCHMesgQEntry* OrvCHMesgQ::addInternal(OrvCHMesgQQueue& queue, std::unique_ptr<OrvCHMesgQEntry> entry,
                                         std::optional<std::uint32_t> keepId) {
    if (queue.hasFiles()) {
        if (keepId && queue.isOnQueue(*keepId)) {
            orvLog(kOrvLogInternal, "Duplicate uniqueId, ignored");
            ORV_TRACE("duplicate uniqueId, ignored\n");
            return nullptr;
        }
        entry->uniqueId = keepId ? *keepId : queue.nextUniqueId();
        entry->fileMissing = !queueOpenForBusiness_ && !keepId;
    }
    OrvCHMesgQEntry& added = queue.append(std::move(entry));
    spaceInUse_ += added.bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    ORV_TRACE("entry (%u) added to the %s queue\n%s", added.uniqueId, queue.name(), fillText().c_str());
    if (queueOpenForBusiness_ && queue.hasFiles() &&
        (queue.type() != ORV_CH_MESG_Q_DUPLICATE || added.message->DuplicateCount > 0)) {
        static_cast<void>(saveEntryToFile(added, queue));
    }
    return &added;
}

std::unique_ptr<OrvCHMesgQEntry> OrvCHMesgQ::removeInternal(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    if (entry.open) {
        ORV_TRACE("entry (%u) is still open\n", entry.uniqueId);
    }
    std::unique_ptr<OrvCHMesgQEntry> removed = queue.unlink(entry);
    spaceInUse_ -= removed->bytesToSave + OrvCHMesgQQueue::kEntryOverhead;
    if (queue.hasFiles()) {
        static_cast<void>(deleteEntryFile(*removed, queue));
    }
    ORV_TRACE("entry (%u) removed from the %s queue\n%s", removed->uniqueId, queue.name(), fillText().c_str());
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
    const int sent = responses_.CH_TestProfileResults(static_cast<std::uint32_t>(result), message.TestProfile);
    orvTrace(kTraceModule, kMethod, "Test Results (%s) sent for Profile %s\n", resultText(result),
             message.TestProfile.c_str());
    if (sent < 0) {
        orvLog(kOrvLogInternal, "Unable to send test profile results");
        orvTrace(kTraceModule, kMethod, "error returned from CH_TestProfileResults\n");
    }
}

int OrvCHMesgQ::removeByMessage(const OrvCHMesg* message, ORV_CH_MESG_Q_TYPE type, int result) {
    OrvCHMesgQQueue& holder = *ToQueuePtr(type);
    OrvCHMesgQEntry* const entry = holder.findEntry(message);
    if (!entry) {
        return -1;
    }
    removeInternal(*entry, holder, result);
    return 0;
}

OrvCHMesgQEntry* OrvCHMesgQ::moveEntry(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& from, OrvCHMesgQQueue& to) {
    return addInternal(to, removeInternal(entry, from));
}

std::string OrvCHMesgQ::fillText() const {
    const std::uint32_t count = init_.count() + send_.count() + duplicate_.count() + persist_.count();
    return orvFormat(
        "  Queue             Count  Space Used\n"
        "    init       %10u  %10u\n"
        "    send       %10u  %10u\n"
        "    duplicate  %10u  %10u\n"
        "    persist    %10u  %10u\n"
        "  Total        %10u  %10u\n",
        init_.count(), init_.bytes(), send_.count(), send_.bytes(), duplicate_.count(), duplicate_.bytes(),
        persist_.count(), persist_.bytes(), count, spaceInUse_);
}
