#include "mesgq/OrvCHQueueListing.h"

#include "Descriptor.h"
#include "Directory_Stream.h"
#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvShell.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "dbg/OrvGuard.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
// Its steps are traced under this name.
constexpr char kHardWay[] = "reconstituteQueueTheHardWay";
constexpr mode_t kPrivateMode = 0600;

// Makes the listing a file of our own in a directory where anybody may plant links; a false one is not written to.
int claimListing() {
    const auto create = [] {
        [[maybe_unused]] const int removed = orvUnlinkFile(kOrvQueueListing);  // our own, too, after a failure
        return orvOpenFile(kOrvQueueListing, O_WRONLY | O_CREAT | O_EXCL, kPrivateMode);
    };
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
        "cd " + orvShellWord(orvHostPath(dir)) + " && ls -1t m* > " + orvShellWord(orvHostPath(kOrvQueueListing));
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

void deleteListing() {
    if (orvUnlinkFile(kOrvQueueListing) < 0) {
        const int error = errno;
        orvTrace(kTraceModule, kHardWay, "error deleting file, errno = %s(%d)\n", orvErrorText(error).c_str(), error);
    }
}

}  // namespace

OrvFilePtr orvOpenListing(const char* dir) {
    if (listDirectory(dir) < 0) {
        orvLog(orv_log::kRestoreNoListing, kOrvQueueListing);
        return nullptr;
    }
    int error = 0;
    OrvFilePtr list = orvOpenForReading(kOrvQueueListing, error);
    if (!list) {
        const std::string text =
            orvErrorText(error);  // before anything is told: without memory all of it is done again
        orvLog(orv_log::kRestoreOrderUnopened, kOrvQueueListing);
        orvTrace(kTraceModule, kHardWay, "unable to open  file %s for reading, errno = %s(%d)\n", kOrvQueueListing,
                 text.c_str(), error);
    }
    return list;
}

const char* orvNextListed(std::FILE& list, char (&line)[kOrvListLine]) {
    const char* const read = std::fgets(line, sizeof line, &list);
    if (read || std::feof(&list)) {
        return read;
    }
    std::clearerr(&list);
    return std::fgets(line, sizeof line, &list);
}

void orvCloseListing(OrvFilePtr list) {
    if (std::fclose(list.release()) != 0) {
        orvLog(orv_log::kRestoreListingUnclosed, kOrvQueueListing);
        orvTrace(kTraceModule, kHardWay, "unable to close order file\n");
    }
    orvBestEffort(kHardWay, deleteListing);
}
