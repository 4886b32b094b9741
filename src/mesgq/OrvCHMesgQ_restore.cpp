// The restore at start: what the files of the last run say is put on the lists, and the queue opens for business.
#include "base/OrvNumber.h"
#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"
#include "mesgq/OrvCHMesgQ.h"
#include "mesgq/OrvCHQueueFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
constexpr int kLevel = kOrvLogTask;
// Their steps are traced under these names.
constexpr char kHardWay[] = "reconstituteQueueTheHardWay";
constexpr char kRestoreFile[] = "reconstituteMsgFromFile";
constexpr int kListLine = 12;
constexpr std::size_t kNameDigits = 10;
constexpr mode_t kPrivateMode = 0600;
// As many order words as a 32-bit process has room for.
constexpr std::uint32_t kMaxOrderWords = 1u << 28;

// Whatever stands at path, opening it does not wait. Null with error set to the reason.
OrvFilePtr openForReading(const std::string& path, int& error) {
    const std::string hostPath = orvHostPath(path);
    const int file = ::open(hostPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    OrvFilePtr stream(file < 0 ? nullptr : ::fdopen(file, "r"));
    if (!stream) {
        error = errno;
        if (file >= 0) {
            static_cast<void>(::close(file));
        }
    }
    return stream;
}

void closeOrderFile(OrvFilePtr file, const std::string& path) {
    if (std::fclose(file.release()) != 0) {
        orvLog(kLevel, "Unable to close file %s", path.c_str());
        orvTrace(kTraceModule, "reconstituteQueue", "unable to close order file %s\n", path.c_str());
    }
}

// path as one word of a shell command: as it is wherever that will do.
std::string shellWord(const std::string& path) {
    const auto plain = [](unsigned char c) { return std::isalnum(c) || std::strchr("/._-", c); };
    if (std::ranges::all_of(path, plain)) {
        return path;
    }
    std::string word = "'";
    for (const char c : path) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

// Makes the listing a file of our own in a directory where anybody may plant links; a false one is not written to.
int claimListing() {
    const std::string path = orvHostPath(kOrvQueueListing);
    static_cast<void>(::unlink(path.c_str()));
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateMode);
    if (file >= 0) {
        return ::close(file);
    }
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode) ? -1 : 0;
}

// The names in the queue's directory, newest file first. A negative value when the shell could not be run.
int listDirectory(const char* dir) {
    const std::string command =
        "cd " + shellWord(orvHostPath(dir)) + " && ls -1t m* > " + shellWord(orvHostPath(kOrvQueueListing));
    if (claimListing() < 0) {
        return -1;
    }
    if (::access(orvHostPath(dir).c_str(), X_OK) < 0) {
        // The shell will not get as far as making a listing: there must be none, not an empty one.
        static_cast<void>(::unlink(orvHostPath(kOrvQueueListing).c_str()));
    }
    return std::system(command.c_str());
}

// Null, reported, when there is no listing to be had.
OrvFilePtr openListing(const char* dir) {
    if (listDirectory(dir) < 0) {
        orvLog(kLevel, "Unable to create file %s", kOrvQueueListing);
        return nullptr;
    }
    int error = 0;
    OrvFilePtr list = openForReading(kOrvQueueListing, error);
    if (!list) {
        orvLog(kLevel, "Unable to open file %s", kOrvQueueListing);
        orvTrace(kTraceModule, kHardWay, "unable to open  file %s for reading, errno = %s(%d)\n", kOrvQueueListing,
                 orvErrorText(error).c_str(), error);
    }
    return list;
}

void deleteListing() {
    const std::string hostPath = orvHostPath(kOrvQueueListing);
    if (::unlink(hostPath.c_str()) < 0) {
        const int error = errno;
        orvTrace(kTraceModule, kHardWay, "error deleting file, errno = %s(%d)\n", orvErrorText(error).c_str(), error);
    }
}

// For a step without which a whole queue stays behind, and before which nothing of the queue is on the lists: memory
// may be back at once, and the next start may be months away.
template <typename Step>
void restoreOnceMore(const char* where, const char* dir, Step&& step) {
    const auto guarded = [&] {
        step();
        return 0;
    };
    if (orvGuarded(where, guarded) < 0 && orvGuarded(where, guarded) < 0) {
        orvLog(kLevel, "Error restoring messages from %s, ignoring", dir);
        orvTrace(kTraceModule, where, "Problem restoring the queue from %s, ignoring\n", dir);
    }
}

void reportUnrestored(const char* path, std::uint32_t uniqueId) {
    orvLog(kLevel, "Error restoring message from %s, ignoring", path);
    orvTrace(kTraceModule, kRestoreFile, "Problem restoring msg %u from file %s, ignoring\n", uniqueId, path);
}

}  // namespace

void OrvCHMesgQ::init() {
    ORV_TRACE("Entry\n");
    readPersistentData();
    queueOpenForBusiness_ = true;
    saveMovedEntries();
    processInitQueue();
    ORV_TRACE("init queue processed\n");
}

void OrvCHMesgQ::readPersistentData() {
    ORV_TRACE("Entry\n");
    // Whatever fails, the rest is restored and the queue opens: nothing would be kept or mailed otherwise.
    orvBestEffort("stageAttachments", [this] { attachments_.stageAttachments(); });
    for (OrvCHMesgQQueue* const queue : {&duplicate_, &send_, &persist_}) {
        const char* const dir = orvQueueDirectory(queue->type());
        restoreOnceMore("reconstituteQueue", dir, [&] { reconstituteQueue(*queue, dir); });
    }
    orvBestEffort("cleanAttachments", [this] { attachments_.cleanAttachments(); });
    static_cast<void>(flushDuplicateQueue());
}

void OrvCHMesgQ::reconstituteQueue(OrvCHMesgQQueue& queue, const char* dir) {
    ORV_TRACE("queue type = %s\n", queue.name());
    const std::string path = orvOrderPath(dir);
    int error = 0;
    OrvFilePtr file = openForReading(path, error);
    if (!file) {
        orvLog(kLevel, "Unable to open file %s", path.c_str());
        ORV_TRACE("unable to open file %s\n", path.c_str());
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    std::uint32_t count = 0;
    // Kept: the test is the wrong way round. A count that can be read never supplies the order, the directory does;
    // an empty order file restores nothing.
    if (std::fread(&count, 1, sizeof count, file.get()) == sizeof count) {
        orvLog(kLevel, "Unable to read 'count' field from file %s", path.c_str());
        ORV_TRACE("unable to read 'count' field from the order file\n");
        reconstituteQueueTheHardWay(queue, dir);
    } else if (count > filesAllowed_ && removeOldest(count - filesAllowed_) != 0) {
        orvLog(kLevel, "Unable reduce message count to allowed number: %u", filesAllowed_);
        ORV_TRACE("unable to make room\ncount = %u, filesAllowed = %u", count, filesAllowed_);
        closeOrderFile(std::move(file), path);
        reconstituteQueueTheHardWay(queue, dir);
        return;
    } else {
        reconstituteInOrder(queue, dir, path, *file, std::min(count, filesAllowed_));
    }
    closeOrderFile(std::move(file), path);
}

void OrvCHMesgQ::reconstituteInOrder(OrvCHMesgQQueue& queue, const char* dir, const std::string& path,
                                     std::FILE& orderFile, std::uint32_t count) {
    static constexpr char kMethod[] = "reconstituteQueue";
    const std::uint32_t size = (count + 1) * static_cast<std::uint32_t>(sizeof(std::uint32_t));
    const std::unique_ptr<std::uint32_t[]> ids(count < kMaxOrderWords ? new (std::nothrow) std::uint32_t[count + 1]
                                                                      : nullptr);
    if (!ids) {
        orvLog(kLevel, "Unable to allocate memory (%u bytes)", size);
        orvTrace(kTraceModule, kMethod, "unable to allocate memory of size = %u\n", size);
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    if (std::fread(ids.get(), sizeof(std::uint32_t), count, &orderFile) != count) {
        orvLog(kLevel, "Unable to read uniqueId field from file %s", path.c_str());
        orvTrace(kTraceModule, kMethod, "unable to read uniqueId data from file %s\n", path.c_str());
        reconstituteQueueTheHardWay(queue, dir);
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        reconstituteNumber(queue, dir, ids[i]);
    }
}

void OrvCHMesgQ::reconstituteQueueTheHardWay(OrvCHMesgQQueue& queue, const char* dir) {
    ORV_TRACE("queue type = %s\n", queue.name());
    OrvFilePtr list;
    restoreOnceMore(__func__, dir, [&] { list = openListing(dir); });
    if (!list) {
        return;
    }
    // A name of more than ten digits comes in pieces.
    char line[kListLine];
    while (std::fgets(line, sizeof line, list.get())) {
        reconstituteListed(queue, dir, line);
    }
    if (std::fclose(list.release()) != 0) {
        orvLog(kLevel, "Error attempting to close file %s", kOrvQueueListing);
        ORV_TRACE("unable to close order file\n");
    }
    orvBestEffort(kHardWay, deleteListing);
    queue.setUnordered();
}

void OrvCHMesgQ::reconstituteListed(OrvCHMesgQQueue& queue, const char* dir, const char* line) {
    const std::string_view name(line);
    const OrvUnsignedNumber number = orvToUnsigned(name.substr(std::min<std::size_t>(1, name.size()), kNameDigits));
    if (number.outOfRange) {
        orvLog(kLevel, "Invalid file name %s, skipping", line);
        orvTrace(kTraceModule, kHardWay, "skipping file %s, invalid file name\n", line);
        return;
    }
    reconstituteNumber(queue, dir, number.value);
}

// A file that is too much for the memory is left out and named like any other that cannot be restored.
void OrvCHMesgQ::reconstituteNumber(OrvCHMesgQQueue& queue, const char* dir, std::uint32_t uniqueId) {
    const auto restore = [&] {
        reconstituteMsgFromFile(queue, orvEntryPath(dir, uniqueId), uniqueId);
        return 0;
    };
    if (orvGuarded(kRestoreFile, restore) < 0) {
        char path[kOrvPathBuffer];
        orvEntryPath(path, dir, uniqueId);
        reportUnrestored(path, uniqueId);
    }
}

void OrvCHMesgQ::reconstituteMsgFromFile(OrvCHMesgQQueue& queue, const std::string& path, std::uint32_t uniqueId) {
    ORV_TRACE("Entry\n");
    auto message = std::make_unique<OrvCHMesg>();
    message->FileName = path;
    if (message->restore() != 0) {
        reportUnrestored(path.c_str(), uniqueId);
        return;
    }
    OrvCHAttachmentFiles::linkAttachments(*message);
    int error = 0;
    OrvFilePtr file = openForReading(path, error);
    if (!file) {
        orvLog(kLevel, "Error opening %s for reading, ignoring", path.c_str());
        ORV_TRACE("unable to open file %s for reading, skipping, errno = %s(%d)\n", path.c_str(),
                  orvErrorText(error).c_str(), error);
        return;
    }
    const OrvCHQueueState state = orvReadState(*file);
    if (std::fclose(file.release()) != 0) {
        error = errno;
        orvLog(kOrvLogDetail, "Error closing %s", path.c_str());
        ORV_TRACE("unable to close file %s\n, errno = %s(%d)", path.c_str(), orvErrorText(error).c_str(), error);
    }
    const OrvCHPosting posting{false, state.persist, state.persistRepostPeriod, state.expire};
    std::string key = message->duplicateKey();
    OrvCHMesgQEntry* const entry = addNewEntry(queue, message, posting, std::move(key), uniqueId);
    if (!entry) {
        orvLog(kLevel, "Unable to add message from file %s to queue", path.c_str());
        ORV_TRACE("unable to add msg %u, ignoring\n", uniqueId);
        return;
    }
    entry->markedForDeletion = state.markedForDeletion;
    entry->duplicatesPending = state.duplicatesPending;
    ++statistics_.reconstituted;
}

// What the flush moved to the send queue lost its file there and could not get the new one yet.
void OrvCHMesgQ::saveMovedEntries() {
    for (OrvCHMesgQEntry& entry : send_) {
        if (entry.fileMissing) {
            static_cast<void>(saveEntryToFile(entry, send_));
        }
    }
}

void OrvCHMesgQ::processInitQueue() {
    ORV_TRACE("Entry\n");
    for (OrvCHMesgQEntry& waiting : init_) {
        const std::unique_ptr<OrvCHMesgQEntry> entry = removeInternal(waiting, init_);
        const OrvCHPosting& posting = entry->posting;
        // A refusal has been reported; the next one may still fit.
        static_cast<void>(add(std::move(entry->message), posting.testMsg, posting.persist, posting.persistRepostPeriod,
                              posting.expire, true));
    }
}
