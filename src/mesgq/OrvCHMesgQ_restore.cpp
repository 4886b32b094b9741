// The restore at start: what the files of the last run say is put on the lists, and the queue opens for business.
#include "Descriptor.h"
#include "Directory_Stream.h"
#include "base/OrvFiles.h"
#include "base/OrvNumber.h"
#include "base/OrvOnceMore.h"
#include "base/OrvPaths.h"
#include "base/OrvShell.h"
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
// Their steps are traced under these names.
constexpr char kHardWay[] = "reconstituteQueueTheHardWay";
constexpr char kRestoreFile[] = "reconstituteMsgFromFile";
constexpr int kListLine = 12;
constexpr std::size_t kNameDigits = 10;
constexpr mode_t kPrivateMode = 0600;
// As many order words as a 32-bit process has room for.
constexpr std::uint32_t kMaxOrderWords = 1u << 28;

// Null with error set to the reason.
OrvFilePtr openForReading(const std::string& path, int& error) {
    return orvOnceMore([&] {
        Descriptor file = orvOpenFile(path, O_RDONLY);
        OrvFilePtr stream(file ? ::fdopen(file.get(), "r") : nullptr);
        error = errno;
        if (stream) {
            [[maybe_unused]] const int taken = file.release();
        }
        return stream;
    });
}

// The order file, behind the bytes of its count: a count cut short is the beginning of one, and an empty file none.
// Null when it is not a file of the queue's own or cannot be read: only an empty file hides the entries.
OrvFilePtr openOrderFile(const std::string& path, std::uint32_t& count, std::size_t& length) {
    int error = 0;
    OrvFilePtr file = openForReading(path, error);
    struct stat status {};
    if (!file || ::fstat(::fileno(file.get()), &status) < 0 || !S_ISREG(status.st_mode) || status.st_nlink > 1) {
        return nullptr;
    }
    length = static_cast<std::size_t>(std::min<off_t>(status.st_size, sizeof count));
    const auto read = [&] { return length == 0 || std::fread(&count, 1, length, file.get()) == length; };
    if (read()) {
        return file;
    }
    std::rewind(file.get());
    return read() ? std::move(file) : nullptr;
}

void closeOrderFile(OrvFilePtr file, const std::string& path) {
    if (std::fclose(file.release()) != 0) {
        orvLog(orv_log::kRestoreOrderUnclosed, path.c_str());
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
    [[maybe_unused]] const int removed = orvUnlinkFile(kOrvQueueListing);
    const auto create = [] { return orvOpenFile(kOrvQueueListing, O_WRONLY | O_CREAT | O_EXCL, kPrivateMode); };
    if (orvOnceMore(create)) {
        return 0;
    }
    struct stat status {};
    return orvStatFile(kOrvQueueListing, status) == 0 && !S_ISDIR(status.st_mode) ? -1 : 0;
}

// Which directory the shell is going to find at dir: none that a link leads to.
bool identify(const char* dir, struct stat& status) {
    if (orvOnceMore([&] { return orvStatFile(dir, status); }) != 0 || !S_ISDIR(status.st_mode)) {
        return false;
    }
    const std::string hostPath = orvHostPath(dir);
    return orvOnceMore([&] { return ::access(hostPath.c_str(), X_OK); }) == 0;
}

bool isStillThere(const char* dir, const struct stat& before) {
    struct stat now {};
    return identify(dir, now) && now.st_dev == before.st_dev && now.st_ino == before.st_ino;
}

bool holdsEntries(const char* dir) {
    Directory_Stream directory(orvOpenDirectory(dir));
    const char* name = directory ? directory.next() : nullptr;
    while (name && *name != 'm') {
        name = directory.next();
    }
    return name != nullptr;
}

// The names in the queue's directory, newest file first. A negative value when the shell could not be run.
int listDirectory(const char* dir) {
    const std::string command =
        "cd " + shellWord(orvHostPath(dir)) + " && ls -1t m* > " + shellWord(orvHostPath(kOrvQueueListing));
    if (claimListing() < 0) {
        return -1;
    }
    const auto run = [&] { return orvOnceMore([&] { return orvRunShell(command.c_str()); }); };
    struct stat directory {};
    int result = 0;
    if (identify(dir, directory)) {
        result = run();
        if (result > 0 && holdsEntries(dir)) {
            result = run();  // it ran, but could not list them
        }
    }
    if (!isStillThere(dir, directory)) {
        // There must be no listing, not one of somewhere else, and not an empty one.
        [[maybe_unused]] const int removed = orvUnlinkFile(kOrvQueueListing);
    }
    return result;
}

// Null, reported, when there is no listing to be had.
OrvFilePtr openListing(const char* dir) {
    if (listDirectory(dir) < 0) {
        orvLog(orv_log::kRestoreNoListing, kOrvQueueListing);
        return nullptr;
    }
    int error = 0;
    OrvFilePtr list = openForReading(kOrvQueueListing, error);
    if (!list) {
        const std::string text =
            orvErrorText(error);  // before anything is told: without memory all of it is done again
        orvLog(orv_log::kRestoreOrderUnopened, kOrvQueueListing);
        orvTrace(kTraceModule, kHardWay, "unable to open  file %s for reading, errno = %s(%d)\n", kOrvQueueListing,
                 text.c_str(), error);
    }
    return list;
}

void deleteListing() {
    if (orvUnlinkFile(kOrvQueueListing) < 0) {
        const int error = errno;
        orvTrace(kTraceModule, kHardWay, "error deleting file, errno = %s(%d)\n", orvErrorText(error).c_str(), error);
    }
}

// The next line of the listing, or the next piece of a longer one. Null at the end.
const char* nextListed(std::FILE& list, char (&line)[kListLine]) {
    const char* const read = std::fgets(line, sizeof line, &list);
    if (read || std::feof(&list)) {
        return read;
    }
    std::clearerr(&list);
    return std::fgets(line, sizeof line, &list);
}

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
    std::uint32_t count = 0;
    std::size_t length = 0;
    OrvFilePtr file = openOrderFile(path, count, length);
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
    } else if (count > filesAllowed_ && removeOldest(count - filesAllowed_) != 0) {
        orvLog(orv_log::kRestoreTooMany, filesAllowed_);
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

void OrvCHMesgQ::reconstituteQueueTheHardWay(OrvCHMesgQQueue& queue, const char* dir) {
    ORV_TRACE("queue type = %s\n", queue.name());
    OrvFilePtr list;
    restoreOnceMore(__func__, dir, [&] { list = openListing(dir); });
    if (!list) {
        return;
    }
    // A name of more than ten digits comes in pieces.
    char line[kListLine];
    while (nextListed(*list, line)) {
        reconstituteListed(queue, dir, line);
    }
    if (std::fclose(list.release()) != 0) {
        orvLog(orv_log::kRestoreListingUnclosed, kOrvQueueListing);
        ORV_TRACE("unable to close order file\n");
    }
    orvBestEffort(kHardWay, deleteListing);
    queue.setUnordered();
}

void OrvCHMesgQ::reconstituteListed(OrvCHMesgQQueue& queue, const char* dir, const char* line) {
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
void OrvCHMesgQ::reconstituteNumber(OrvCHMesgQQueue& queue, const char* dir, std::uint32_t uniqueId) {
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
    std::string key = message->duplicateKey();
    OrvFilePtr file = openForReading(path, error);
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
    OrvCHMesgQEntry* const entry = addNewEntry(queue, message, posting, std::move(key), uniqueId);
    if (!entry) {
        orvLog(orv_log::kRestoreNotAdded, path.c_str());
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
