#include "mesgq/OrvCHMesgQRestore.h"

#include "base/OrvNumber.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHEntryFiles.h"
#include "mesgq/OrvCHQueueFiles.h"
#include "mesgq/OrvCHQueueListing.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Their steps are traced under these names.
constexpr char kHardWay[] = "reconstituteQueueTheHardWay";
constexpr char kRestoreFile[] = "reconstituteMsgFromFile";
constexpr std::size_t kNameDigits = 10;
// As many order words as a 32-bit process has room for.
constexpr std::uint32_t kMaxOrderWords = 1u << 28;

// For a step without which a whole queue stays behind, and before which nothing of the queue is on the lists: memory
// may be back at once, and the next start may be months away.
template <typename Step>
void restoreOnceMore(const char* where, const char* dir, Step&& step) {
    const auto again = [&] {
        orvOnceMoreForMemory(step);
        return 0;
    };
    if (orvGuarded(where, again) < 0) {
        orvLog(orv_log::kRestoreQueueFailed, dir);
        orvTrace(kTraceModule, where, "Problem restoring the queue from %s, ignoring\n", dir);
    }
}

void reportUnrestored(const char* path, std::uint32_t uniqueId) {
    orvLog(orv_log::kRestoreEntryFailed, path);
    orvTrace(kTraceModule, kRestoreFile, "Problem restoring msg %u from file %s, ignoring\n", uniqueId, path);
}

}  // namespace

void OrvCHMesgQRestore::init() {
    ORV_TRACE("Entry\n");
    readPersistentData();
    lists_.openForBusiness();
    saveMovedEntries();
    processInitQueue();
    ORV_TRACE("init queue processed\n");
}

void OrvCHMesgQRestore::readPersistentData() {
    ORV_TRACE("Entry\n");
    // Whatever fails, the rest is restored and the queue opens: nothing would be kept or mailed otherwise.
    orvBestEffort("stageAttachments", [this] { attachments_.stageAttachments(); });
    for (OrvCHMesgQQueue* const queue : {&lists_.duplicate(), &lists_.send(), &lists_.persist()}) {
        const char* const dir = orvQueueDirectory(queue->type());
        restoreOnceMore("reconstituteQueue", dir, [&] { reconstituteQueue(*queue, dir); });
    }
    orvBestEffort("cleanAttachments", [this] { attachments_.cleanAttachments(); });
    static_cast<void>(housekeeping_.flushDuplicateQueue());
}

void OrvCHMesgQRestore::reconstituteQueue(OrvCHMesgQQueue& queue, const char* dir) {
    ORV_TRACE("queue type = %s\n", queue.name());
    const std::string path = orvOrderPath(dir);
    std::uint32_t count = 0;
    std::size_t length = 0;
    OrvFilePtr file = orvOpenOrderFile(path, count, length);
    if (!file) {
        orvLog(orv_log::kRestoreOrderUnopened, path.c_str());
        ORV_TRACE("unable to open file %s\n", path.c_str());
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    // Kept: the test is the wrong way round. A count that can be read never supplies the order, the directory does;
    // an empty order file restores nothing.
    if (length == sizeof count) {
        orvLog(orv_log::kRestoreNoCount, path.c_str());
        ORV_TRACE("unable to read 'count' field from the order file\n");
        reconstituteQueueTheHardWay(queue, dir);
    } else if (count > quotas_.filesAllowed && admission_.removeOldest(count - quotas_.filesAllowed) != 0) {
        orvLog(orv_log::kRestoreTooMany, quotas_.filesAllowed);
        ORV_TRACE("unable to make room\ncount = %u, filesAllowed = %u", count, quotas_.filesAllowed);
        orvCloseOrderFile(std::move(file), path);
        reconstituteQueueTheHardWay(queue, dir);
        return;
    } else {
        reconstituteInOrder(queue, dir, path, *file, std::min(count, quotas_.filesAllowed));
    }
    orvCloseOrderFile(std::move(file), path);
}

void OrvCHMesgQRestore::reconstituteInOrder(OrvCHMesgQQueue& queue, const char* dir, const std::string& path,
                                            std::FILE& orderFile, std::uint32_t count) {
    static constexpr char kMethod[] = "reconstituteQueue";
    const std::uint32_t size = (count + 1) * static_cast<std::uint32_t>(sizeof(std::uint32_t));
    const std::unique_ptr<std::uint32_t[]> ids(count < kMaxOrderWords ? new (std::nothrow) std::uint32_t[count + 1]
                                                                      : nullptr);
    if (!ids) {
        orvLog(orv_log::kRestoreNoMemory, size);
        orvTrace(kTraceModule, kMethod, "unable to allocate memory of size = %u\n", size);
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    if (std::fread(ids.get(), sizeof(std::uint32_t), count, &orderFile) != count) {
        orvLog(orv_log::kRestoreNoNumber, path.c_str());
        orvTrace(kTraceModule, kMethod, "unable to read uniqueId data from file %s\n", path.c_str());
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        reconstituteNumber(queue, dir, ids[i]);
    }
}

void OrvCHMesgQRestore::reconstituteQueueTheHardWay(OrvCHMesgQQueue& queue, const char* dir) {
    ORV_TRACE("queue type = %s\n", queue.name());
    OrvFilePtr list;
    restoreOnceMore(__func__, dir, [&] { list = orvOpenListing(dir); });
    if (!list) {
        return;
    }
    char line[kOrvListLine];
    while (orvNextListed(*list, line)) {
        reconstituteListed(queue, dir, line);
    }
    orvCloseListing(std::move(list));
    queue.setUnordered();
}

void OrvCHMesgQRestore::reconstituteListed(OrvCHMesgQQueue& queue, const char* dir, const char* line) {
    const std::string_view name(line);
    const OrvUnsignedNumber number = orvToUnsigned(name.substr(std::min<std::size_t>(1, name.size()), kNameDigits));
    if (number.outOfRange) {
        orvLog(orv_log::kRestoreBadName, line);
        orvTrace(kTraceModule, kHardWay, "skipping file %s, invalid file name\n", line);
        return;
    }
    reconstituteNumber(queue, dir, number.value);
}

// A file that twice finds no memory is left out and named like any other that cannot be restored.
void OrvCHMesgQRestore::reconstituteNumber(OrvCHMesgQQueue& queue, const char* dir, std::uint32_t uniqueId) {
    const auto restore = [&] {
        reconstituteMsgFromFile(queue, orvEntryPath(dir, uniqueId), uniqueId);
        return 0;
    };
    if (orvGuarded(kRestoreFile, [&] { return orvOnceMoreForMemory(restore); }) < 0) {
        char path[kOrvPathBuffer];
        orvEntryPath(path, dir, uniqueId);
        reportUnrestored(path, uniqueId);
    }
}

void OrvCHMesgQRestore::reconstituteMsgFromFile(OrvCHMesgQQueue& queue, const std::string& path,
                                                std::uint32_t uniqueId) {
    ORV_TRACE("Entry\n");
    auto message = std::make_unique<OrvCHMesg>();
    message->setFileName(path);
    if (message->restore() != 0) {
        reportUnrestored(path.c_str(), uniqueId);
        return;
    }
    OrvCHAttachmentFiles::linkAttachments(*message);
    int error = 0;
    std::string key = message->duplicateKey();
    OrvFilePtr file = orvOpenForReading(path, error);
    if (!file) {
        const std::string text = orvErrorText(error);
        orvLog(orv_log::kRestoreEntryUnopened, path.c_str());
        ORV_TRACE("unable to open file %s for reading, skipping, errno = %s(%d)\n", path.c_str(), text.c_str(), error);
        return;
    }
    const OrvCHQueueState state = orvReadState(*file);
    if (std::fclose(file.release()) != 0) {
        error = errno;
        const std::string text = orvErrorText(error);
        orvLog(orv_log::kRestoreEntryUnclosed, path.c_str());
        ORV_TRACE("unable to close file %s\n, errno = %s(%d)", path.c_str(), text.c_str(), error);
    }
    const OrvCHPosting posting{false, state.persist, state.persistRepostPeriod, state.expire};
    OrvCHMesgQEntry* const entry = lists_.addNewEntry(queue, message, posting, std::move(key), uniqueId);
    if (!entry) {
        orvLog(orv_log::kRestoreNotAdded, path.c_str());
        ORV_TRACE("unable to add msg %u, ignoring\n", uniqueId);
        return;
    }
    entry->markedForDeletion = state.markedForDeletion;
    entry->duplicatesPending = state.duplicatesPending;
    ++lists_.statistics().reconstituted;
}

// What the flush moved to the send queue lost its file there and could not get the new one yet.
void OrvCHMesgQRestore::saveMovedEntries() {
    for (OrvCHMesgQEntry& entry : lists_.send()) {
        if (entry.fileMissing) {
            saveEntryToFile(entry, lists_.send());
        }
    }
}

void OrvCHMesgQRestore::processInitQueue() {
    ORV_TRACE("Entry\n");
    for (OrvCHMesgQEntry& waiting : lists_.init()) {
        const std::unique_ptr<OrvCHMesgQEntry> entry = lists_.removeInternal(waiting, lists_.init());
        // A refusal has been reported; the next one may still fit.
        static_cast<void>(admission_.add(std::move(entry->message), entry->posting, true));
    }
}
