#include "mesgq/OrvCHAttachmentFiles.h"

#include "Directory_Stream.h"
#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
constexpr mode_t kStateFileMode = 0644;
// Linking back is a step of restoring one message, and traced as such.
constexpr char kRestore[] = "reconstituteMsgFromFile";

// Deeper than any that the daemon makes, and no more descriptors than it can spare.
constexpr unsigned kMostLevels = 32;

using CallFailed = OrvLogEntry<const char*, const char*>;

void report(const char* function, const CallFailed& entry, const std::string& path, int error) {
    orvLogAndTrace(kTraceModule, function, entry, path.c_str(), orvErrorText(error).c_str());
}

void reportLink(const char* function, const std::string& from, const std::string& to, int error) {
    orvLogAndTrace(kTraceModule, function, orv_log::kRestoreLinkFailed, from.c_str(), to.c_str(),
                   orvErrorText(error).c_str());
}

// 0, or an error number. A link is not linked: what is in its place later is not what it has led to.
int linkAt(int from, int to, const char* name) {
    struct stat status {};
    if (::fstatat(from, name, &status, AT_SYMLINK_NOFOLLOW) < 0) {
        return errno;
    }
    if (S_ISLNK(status.st_mode)) {
        return ELOOP;
    }
    return ::linkat(from, name, to, name, 0) < 0 ? errno : 0;
}

// Of a directory that could be opened, or of none, with errno.
Directory_Stream readDir(const char* function, Descriptor opened, const std::string& dir) {
    Directory_Stream directory(std::move(opened));
    if (!directory) {
        const int error = errno;
        report(function, orv_log::kRestoreOpendirFailed, dir, error);
    }
    return directory;
}

// The next entry's name; null at the end, which may be a reported failure.
const char* nextName(const char* function, Directory_Stream& directory, const std::string& dir) {
    const char* const name = directory.next();
    const int error = errno;
    if (!name && error != 0) {
        report(function, orv_log::kRestoreReaddirFailed, dir, error);
    }
    return name;
}

Descriptor openSubdirectory(int directory, const char* name, unsigned level) {
    if (level >= kMostLevels) {
        errno = EMFILE;
        return Descriptor();
    }
    return Descriptor(::openat(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Removes all that it can: a start does not end at one file, and the event log names the directory of each that has
// stayed. Takes every name for a file's until it is told otherwise, and goes down no further than kMostLevels.
// OrvSyncCleaner stops at the first failure, asks what a name is before it acts, and goes as deep as there is a tree.
void cleanAsFarAsPossible(Descriptor opened, const std::string& dir, unsigned level) {
    static constexpr char kMethod[] = "cleanDir";
    Directory_Stream directory = readDir(kMethod, std::move(opened), dir);
    if (!directory) {
        return;
    }
    while (const char* name = nextName(kMethod, directory, dir)) {
        if (::unlinkat(directory.descriptor(), name, 0) == 0) {
            continue;
        }
        const int error = errno;
        if (error == EISDIR) {
            const std::string path = dir + name + "/";
            orvTrace(kTraceModule, kMethod, "Entry: %s\n", path.c_str());
            cleanAsFarAsPossible(openSubdirectory(directory.descriptor(), name, level + 1), path, level + 1);
            static_cast<void>(::unlinkat(directory.descriptor(), name, AT_REMOVEDIR));
        } else {
            // Kept: the directory is named, not the file in it.
            report(kMethod, orv_log::kRestoreUnlinkFailed, dir, error);
        }
    }
}

}  // namespace

void OrvCHAttachmentFiles::stageAttachments() {
    ORV_TRACE("Entry\n");
    readState();
    if (!stateFile_) {
        return;
    }
    if (attachmentState_ == kStaged) {
        // An earlier start was interrupted while messages linked their files back.
        cleanDir(kOrvAttachmentsSlashDirectory);
        return;
    }
    cleanDir(kOrvStageDirectory);
    linkDirEntries(kOrvAttachmentsSlashDirectory, kOrvStageDirectory);
    cleanDir(kOrvAttachmentsSlashDirectory);
    writeState(kStaged);
}

void OrvCHAttachmentFiles::readState() {
    attachmentState_ = kNotStaged;
    if (!stateFile_) {
        stateFile_ = orvOnceMore([] { return orvOpenFile(kOrvAttachmentState, O_RDWR | O_CREAT, kStateFileMode); });
    }
    std::uint32_t state = kNotStaged;
    const auto read = [&] { return ::pread(stateFile_.get(), &state, sizeof state, 0); };
    if (stateFile_ && orvOnceMore(read) == sizeof state) {
        attachmentState_ = state;
    }
}

void OrvCHAttachmentFiles::writeState(std::uint32_t state) {
    attachmentState_ = state;
    const auto write = [&] { return ::pwrite(stateFile_.get(), &state, sizeof state, 0); };
    if (stateFile_ && orvOnceMore(write) != sizeof state) {
        ORV_TRACE("unable to write the attachment state\n");
    }
}

void OrvCHAttachmentFiles::linkAttachments(OrvCHMesg& message) {
    for (std::string name = message.nextAttachmentFile(); !name.empty(); name = message.nextAttachmentFile()) {
        const std::string from = kOrvStageDirectory + name;
        const std::string to = kOrvAttachmentsSlashDirectory + name;
        orvTrace(kTraceModule, kRestore, "link(%s, %s)\n", from.c_str(), to.c_str());
        if (orvLinkFile(from, to) < 0) {
            const int error = errno;
            reportLink(kRestore, from, to, error);
        }
    }
}

void OrvCHAttachmentFiles::cleanAttachments() {
    ORV_TRACE("Entry\n");
    cleanDir(kOrvStageDirectory);
    [[maybe_unused]] const int removed = orvRemoveDirectory(kOrvStageDirectory);
    writeState(kNotStaged);
}

void OrvCHAttachmentFiles::purgeAttachments() {
    ORV_TRACE("Entry\n");
    if (orvUnlinkFile(kOrvAttachmentState) < 0) {
        const int error = errno;
        report(__func__, orv_log::kRestoreUnlinkFailed, kOrvAttachmentState, error);
    }
    cleanDir(kOrvAttachmentsSlashDirectory);
    cleanDir(kOrvStageDirectory);
}

void OrvCHAttachmentFiles::linkDirEntries(const std::string& from, const std::string& to) {
    ORV_TRACE("Entry: from %s to %s\n", from.c_str(), to.c_str());
    Directory_Stream directory = readDir(__func__, orvOpenDirectory(from), from);
    if (!directory) {
        return;
    }
    const Descriptor stage = orvOpenDirectory(to);
    const int noStage = errno;
    while (const char* name = nextName(__func__, directory, from)) {
        const std::string source = from + name;
        const std::string target = to + name;
        ORV_TRACE("from %s to %s\n", source.c_str(), target.c_str());
        const int error = stage ? linkAt(directory.descriptor(), stage.get(), name) : noStage;
        if (error != 0) {
            reportLink(__func__, source, target, error);
        }
    }
}

void OrvCHAttachmentFiles::cleanDir(const std::string& dir) {
    ORV_TRACE("Entry: %s\n", dir.c_str());
    cleanAsFarAsPossible(orvOpenDirectory(dir), dir, 1);
}
