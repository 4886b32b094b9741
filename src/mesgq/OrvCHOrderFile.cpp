#include "mesgq/OrvCHOrderFile.h"

#include "Descriptor.h"
#include "base/OrvFiles.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
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
