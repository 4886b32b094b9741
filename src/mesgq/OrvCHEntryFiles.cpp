#include "mesgq/OrvCHEntryFiles.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHQueueFiles.h"

#include <fcntl.h>

#include <cerrno>
#include <string>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Their steps are traced under these names.
constexpr char kSave[] = "saveEntryToFile";
constexpr char kDelete[] = "deleteEntryFile";
constexpr mode_t kFileMode = 0666;

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

void saveMessage(OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue) {
    char path[kOrvPathBuffer];
    orvEntryPath(path, orvQueueDirectory(queue.type()), entry.uniqueId);
    orvTrace(kTraceModule, kSave, "file=%s\n", path);
    const bool isNew = entry.message->fileName() != path;
    orvOnceMoreForMemory([&] {
        // The sender changes the recipients' marks meanwhile.
        const Mt::Lock lock(entry.message->lock());
        entry.message->FileName = path;
        static_cast<void>(entry.message->save(isNew));  // traces why it failed
    });
}

void appendState(const OrvCHMesgQEntry& entry, const OrvCHMesgQQueue& queue) {
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

}  // namespace

int saveEntryToFile(OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    if (entry.posting.testMsg) {
        return 0;
    }
    orvBestEffort(kSave, [&] { saveMessage(entry, queue); });
    updateOrderFile(queue);
    orvBestEffort(kSave, [&] { appendState(entry, queue); });
    return 0;
}

int deleteEntryFile(const OrvCHMesgQEntry& entry, OrvCHMesgQQueue& queue) {
    if (entry.posting.testMsg || (queue.type() == ORV_CH_MESG_Q_DUPLICATE && entry.message->duplicateCount() == 0)) {
        return 0;
    }
    char path[kOrvPathBuffer];
    orvEntryPath(path, orvQueueDirectory(queue.type()), entry.uniqueId);
    orvTrace(kTraceModule, kDelete, "file=%s\n", path);
    updateOrderFile(queue);
    // Whatever became of the order file: either of the two is enough for the message not to be mailed once more.
    return orvGuarded(kDelete, [&] { return unlinkEntryFile(path); });
}
