#include "mesgq/OrvCHQueueFiles.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "base/OrvNumber.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
constexpr int kLineBuffer = 80;
constexpr mode_t kDirectoryMode = 0777;

// An init queue has no files. Its directory makes every path unusable instead of pointing somewhere.
constexpr char kNoDirectory[] = "Invalid";

constexpr const char* kDirectories[kOrvQueueTypes] = {kNoDirectory, kOrvSendQueueDirectory, kOrvDuplicateQueueDirectory,
                                                      kOrvPersistQueueDirectory};
constexpr const char* kStandbyDirectories[kOrvQueueTypes] = {kNoDirectory, "/ostrel/conf/orv/callHome/queues_tmp/send",
                                                             "/ostrel/conf/orv/callHome/queues_tmp/duplicate",
                                                             "/ostrel/conf/orv/callHome/queues_tmp/persist"};

constexpr const char* kTree[] = {kOrvDirectory,          kOrvCallHomeDirectory,       kOrvQueuesDirectory,
                                 kOrvSendQueueDirectory, kOrvDuplicateQueueDirectory, kOrvPersistQueueDirectory,
                                 kOrvSyncDirectory,      kOrvStageDirectory,          kOrvAttachmentsSlashDirectory};

constexpr char kStateStart[] = "<OrvCHMesgQ>";
constexpr char kStateEnd[] = "</OrvCHMesgQ>";
constexpr char kDuplicatesPending[] = "duplicatesPending = ";
constexpr char kPersist[] = "persist = ";
constexpr char kPersistRepostPeriod[] = "persistRepostPeriod = ";
constexpr char kMarkedForDeletion[] = "markedForDeletion = ";
constexpr char kExpire[] = "expire = ";

// The text after label in line; null when line does not contain it.
const char* valueOf(const char* line, const char* label) {
    const char* found = std::strstr(line, label);
    return found ? found + std::strlen(label) : nullptr;
}

std::uint32_t numberOr(const char* value, std::uint32_t otherwise) {
    const OrvUnsignedNumber number = orvToUnsigned(value);
    return number.outOfRange ? otherwise : number.value;
}

std::uint32_t reasonOf(const char* line, const char* value) {
    if (std::strstr(line, "true")) {
        return kOrvMarkedByClear;
    }
    const std::uint32_t reason = std::strstr(line, "false") ? kOrvNotMarked : numberOr(value, kOrvNotMarked);
    return reason > kOrvMarkedForTime ? kOrvNotMarked : reason;
}

void readStateLine(const char* line, OrvCHQueueState& state) {
    if (const char* value = valueOf(line, kDuplicatesPending)) {
        state.duplicatesPending = numberOr(value, 0);
    } else if (valueOf(line, kPersist)) {
        state.persist = std::strstr(line, "true") != nullptr;
    } else if ((value = valueOf(line, kMarkedForDeletion))) {
        state.markedForDeletion = reasonOf(line, value);
    } else if ((value = valueOf(line, kPersistRepostPeriod))) {
        state.persistRepostPeriod = numberOr(value, OrvCHQueueState().persistRepostPeriod);
    } else if ((value = valueOf(line, kExpire))) {
        const OrvSignedNumber number = orvToSigned(value);
        state.expire = number.outOfRange ? OrvCHQueueState().expire : number.value;
    }
}

// Its steps are traced under this name.
constexpr char kOrder[] = "updateOrderFile";
constexpr mode_t kOrderFileMode = 0666;
// Of an order file that is not yet whole; no start takes it for an entry's.
constexpr char kNewSuffix[] = ".new";

// Fills an order file of so many bytes and closes it. 0, or -1 for one that was not written whole.
int fillOrderFile(Descriptor file, off_t before, const std::string& path, const std::vector<std::uint32_t>& words,
                  bool flush) {
    const std::size_t size = words.size() * sizeof(std::uint32_t);
    const int written = orvRewriteFile(file.get(), before, words.data(), size);
    if (written < 0) {
        orvLog(orv_log::kOrderUnwritten, static_cast<unsigned>(size), path.c_str());
        orvTrace(kTraceModule, kOrder, "unable to write %u bytes to file %s\n", static_cast<unsigned>(size),
                 path.c_str());
    }
    if (flush) {
        orvFlushFile(file.get());
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
// start lists the directory then. Flushed, or a power cut might leave the name without the words.
void writeFirstOrderFile(const std::string& path, const std::vector<std::uint32_t>& words) {
    const std::string newPath = path + kNewSuffix;
    // What a kill has left there, or a stranger has put there, makes way.
    [[maybe_unused]] const int removed = orvUnlinkFile(newPath);
    Descriptor file = orvOpenFile(newPath, O_WRONLY | O_CREAT | O_EXCL, kOrderFileMode);
    if (!file) {
        reportUnopened(path);
        return;
    }
    const int filled = fillOrderFile(std::move(file), 0, path, words, true);
    if (filled < 0 || orvRenameFile(newPath, path) < 0) {
        if (filled == 0) {
            reportUnopened(path);
        }
        [[maybe_unused]] const int removedAgain = orvUnlinkFile(newPath);
    }
}

// At no moment is there an empty order file: it would hide every message of this queue from the next start.
void writeOrderFile(const std::string& path, const std::vector<std::uint32_t>& words) {
    off_t before = 0;
    Descriptor file = orvOpenFile(path, O_WRONLY, 0, before);
    if (file) {
        static_cast<void>(fillOrderFile(std::move(file), before, path, words, false));
    } else if (errno == ENOENT) {
        writeFirstOrderFile(path, words);
    } else {
        reportUnopened(path);
    }
}

}  // namespace

OrvFilePtr orvOpenForReading(const std::string& path, int& error) {
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

const char* orvQueueDirectory(ORV_CH_MESG_Q_TYPE type) {
    return type < kOrvQueueTypes ? kDirectories[type] : kNoDirectory;
}

const char* orvStandbyQueueDirectory(ORV_CH_MESG_Q_TYPE type) {
    return type < kOrvQueueTypes ? kStandbyDirectories[type] : kNoDirectory;
}

void orvMakeQueueDirectories() {
    for (const char* directory : kTree) {
        [[maybe_unused]] const int made = orvMakeDirectory(directory, kDirectoryMode);
    }
}

void orvEntryPath(char (&path)[kOrvPathBuffer], const char* directory, std::uint32_t uniqueId) {
    // Kept: a number beyond 2147483647 stands with a minus sign in the name.
    static_cast<void>(std::snprintf(path, sizeof path, "%s%sm%d", directory, "/", static_cast<std::int32_t>(uniqueId)));
}

std::string orvEntryPath(const char* directory, std::uint32_t uniqueId) {
    char path[kOrvPathBuffer];
    orvEntryPath(path, directory, uniqueId);
    return path;
}

std::string orvOrderPath(const char* directory) {
    char path[kOrvPathBuffer];
    static_cast<void>(std::snprintf(path, sizeof path, "%s%sorder", directory, "/"));
    return path;
}

std::string orvStateText(const OrvCHMesgQEntry& entry) {
    return orvFormat("%s\n%s%u\n%s%s\n%s%u\n%s%u\n%s%d\n%s\n", kStateStart, kDuplicatesPending, entry.duplicatesPending,
                     kPersist, orvTrueFalse(entry.posting.persist), kPersistRepostPeriod,
                     entry.posting.persistRepostPeriod, kMarkedForDeletion, entry.markedForDeletion, kExpire,
                     entry.posting.expire, kStateEnd);
}

OrvCHQueueState orvReadState(std::FILE& file) {
    OrvCHQueueState state;
    char line[kLineBuffer];
    bool inBlock = false;
    while (std::fgets(line, sizeof line, &file)) {
        // Kept: the tags are compared with their line feeds still on, so a block as written is never recognised and
        // every restored entry takes the defaults.
        if (!inBlock) {
            inBlock = std::strcmp(line, kStateStart) == 0;
        } else if (std::strcmp(line, kStateEnd) == 0) {
            break;
        } else {
            readStateLine(line, state);
        }
    }
    return state;
}

void updateOrderFile(OrvCHMesgQQueue& queue) {
    const std::vector<std::uint32_t>* const words = queue.orderWords();
    if (!words) {
        orvLog(orv_log::kNoOrderMemory);
        ORV_TRACE("unable to allocate memory needed for order file\n");
        return;
    }
    orvBestEffort(kOrder, [&] { writeOrderFile(orvOrderPath(orvQueueDirectory(queue.type())), *words); });
}

OrvFilePtr orvOpenOrderFile(const std::string& path, std::uint32_t& count, std::size_t& length) {
    int error = 0;
    OrvFilePtr file = orvOpenForReading(path, error);
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

void orvCloseOrderFile(OrvFilePtr file, const std::string& path) {
    if (std::fclose(file.release()) != 0) {
        orvLog(orv_log::kRestoreOrderUnclosed, path.c_str());
        orvTrace(kTraceModule, "reconstituteQueue", "unable to close order file %s\n", path.c_str());
    }
}
