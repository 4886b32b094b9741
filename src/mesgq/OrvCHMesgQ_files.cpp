// The files of the queues, written as entries come, change and go. Failures are reported and change nothing else.
#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "base/OrvOnceMore.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "mesgq/OrvCHQueueFiles.h"

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Their steps are traced under these names.
constexpr char kSave[] = "saveEntryToFile";
constexpr char kDelete[] = "deleteEntryFile";
constexpr char kOrder[] = "updateOrderFile";
constexpr mode_t kFileMode = 0666;
// Of an order file that is not yet whole; no start takes it for an entry's.
constexpr char kNewSuffix[] = ".new";

int unlinkEntryFile(const char* path) {
    // What stays is restored, and mailed once more.
    const auto unlink = [&] { return orvOnceMore([&] { return orvUnlinkFile(path); }); };
    if (orvOnceMoreForMemory(unlink) < 0) {
        const int error = errno;
        orvLog(orv_log::kEntryUndeleted, path);
        orvTrace(kTraceModule, kDelete, "error deleting file %s, errno = %s(%d)\n", path, orvErrorText(error).c_str(),
                 error);
        return -1;
    }
    return 0;
}

// Fills an order file and closes it. 0, or -1 for one that was not written whole.
int fillOrderFile(Descriptor file, const std::string& path, const std::vector<std::uint32_t>& words) {
    const std::size_t size = words.size() * sizeof(std::uint32_t);
    const int written = orvRewriteFile(file.get(), words.data(), size);
    if (written < 0) {
        orvLog(orv_log::kOrderUnwritten, static_cast<unsigned>(size), path.c_str());
        orvTrace(kTraceModule, kOrder, "unable to write %u bytes to file %s\n", static_cast<unsigned>(size),
                 path.c_str());
    }
    if (file.close() < 0) {
        orvLog(orv_log::kFileUnclosed, path.c_str());
        orvTrace(kTraceModule, kOrder, "unable to close file %s\n", path.c_str());
    }
    return written;
}

void reportUnopened(const std::string& path) {
    orvLog(orv_log::kOrderUnopened, path.c_str());
    orvTrace(kTraceModule, kOrder, "unable to open file %s\n", path.c_str());
}

// The queue's first order file comes by its name with its words in it. One that cannot be written does not come: a
// start lists the directory then.
void writeFirstOrderFile(const std::string& path, const std::vector<std::uint32_t>& words) {
    const std::string newPath = path + kNewSuffix;
    // What a kill has left there, or a stranger has put there, makes way.
    [[maybe_unused]] const int removed = orvUnlinkFile(newPath);
    Descriptor file = orvOpenFile(newPath, O_WRONLY | O_CREAT | O_EXCL, kFileMode);
    if (!file) {
        reportUnopened(path);
        return;
    }
    const int filled = fillOrderFile(std::move(file), path, words);
    if (filled < 0 || orvRenameFile(newPath, path) < 0) {
        if (filled == 0) {
            reportUnopened(path);
        }
        [[maybe_unused]] const int removedAgain = orvUnlinkFile(newPath);
    }
}

// At no moment is there an empty order file: it would hide every message of this queue from the next start.
void writeOrderFile(const std::string& path, const std::vector<std::uint32_t>& words) {
    Descriptor file = orvOpenFile(path, O_WRONLY);
    if (file) {
        static_cast<void>(fillOrderFile(std::move(file), path, words));
    } else if (errno == ENOENT) {
        writeFirstOrderFile(path, words);
    } else {
        reportUnopened(path);
    }
}

}  // namespace

int OrvCHMesgQ::saveEntryToFile(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    if (entry.posting.testMsg) {
        return 0;
    }
    orvBestEffort(kSave, [&] { saveMessage(entry, queue); });
    updateOrderFile(queue);
    orvBestEffort(kSave, [&] { appendState(entry, queue); });
    return 0;
}

void OrvCHMesgQ::saveMessage(OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue) {
    char path[kOrvPathBuffer];
    orvEntryPath(path, orvQueueDirectory(queue.type()), entry.uniqueId);
    orvTrace(kTraceModule, kSave, "file=%s\n", path);
    // The sender changes the recipients' marks meanwhile.
    const Mt::Lock lock(entry.message->lock());
    orvOnceMoreForMemory([&] {
        entry.message->FileName = path;
        static_cast<void>(entry.message->save());  // traces why it failed
    });
}

void OrvCHMesgQ::appendState(const OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue) {
    const std::string path = orvEntryPath(orvQueueDirectory(queue.type()), entry.uniqueId);
    Descriptor file = orvOpenFile(path, O_WRONLY | O_APPEND | O_CREAT, kFileMode);
    if (!file) {
        const int error = errno;
        orvLog(orv_log::kEntryUnopened, path.c_str());
        orvTrace(kTraceModule, kSave, "unable to open file %s for writing, errno = %s(%d)\n", path.c_str(),
                 orvErrorText(error).c_str(), error);
        return;
    }
    const std::string state = orvStateText(entry);
    int error = orvWriteWhole(file.get(), state.data(), state.size()) < 0 ? errno : 0;
    if (file.close() < 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        orvLog(orv_log::kFileUnclosed, path.c_str());
        orvTrace(kTraceModule, kSave, "unable to close file, errno = %s(%d)\n", orvErrorText(error).c_str(), error);
    }
}

int OrvCHMesgQ::deleteEntryFile(const OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    if (entry.posting.testMsg || (queue.type() == ORV_CH_MESG_Q_DUPLICATE && entry.message->DuplicateCount == 0)) {
        return 0;
    }
    char path[kOrvPathBuffer];
    orvEntryPath(path, orvQueueDirectory(queue.type()), entry.uniqueId);
    orvTrace(kTraceModule, kDelete, "file=%s\n", path);
    updateOrderFile(queue);
    // Whatever became of the order file: either of the two is enough for the message not to be mailed once more.
    return orvGuarded(kDelete, [&] { return unlinkEntryFile(path); });
}

void OrvCHMesgQ::updateOrderFile(OrvCHMesgQQueue& queue) {
    const std::vector<std::uint32_t>* const words = queue.orderWords();
    if (!words) {
        orvLog(orv_log::kNoOrderMemory);
        ORV_TRACE("unable to allocate memory needed for order file\n");
        return;
    }
    orvBestEffort(kOrder, [&] { writeOrderFile(orvOrderPath(orvQueueDirectory(queue.type())), *words); });
}
