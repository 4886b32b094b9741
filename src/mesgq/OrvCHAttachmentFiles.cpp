#include "mesgq/OrvCHAttachmentFiles.h"

#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

namespace {

constexpr char kTraceModule[] = "OrvCHMesgQ";
constexpr mode_t kStateFileMode = 0644;
// Linking back is a step of restoring one message, and traced as such.
constexpr char kRestore[] = "reconstituteMsgFromFile";

struct DirectoryCloser {
    void operator()(DIR* directory) const { static_cast<void>(::closedir(directory)); }
};
using DirectoryPtr = std::unique_ptr<DIR, DirectoryCloser>;

// The two ways in which every failure of this file is reported: "call(arguments): the system's text".
void report(const char* function, const std::string& call, int error) {
    const std::string text = call + ": " + orvErrorText(error) + "\n";
    orvLog(kOrvLogTask, "%s", text.c_str());
    orvTrace(kTraceModule, function, "%s", text.c_str());
}

void linkFile(const char* function, const std::string& from, const std::string& to) {
    const std::string hostFrom = orvHostPath(from);
    const std::string hostTo = orvHostPath(to);
    if (::link(hostFrom.c_str(), hostTo.c_str()) < 0) {
        const int error = errno;
        report(function, "link(" + from + ", " + to + ")", error);
    }
}

DirectoryPtr openDir(const char* function, const std::string& dir) {
    const std::string hostPath = orvHostPath(dir);
    DirectoryPtr directory(::opendir(hostPath.c_str()));
    if (!directory) {
        const int error = errno;
        report(function, "opendir(" + dir + ")", error);
    }
    return directory;
}

// The next entry's name, "." and ".." left out; null at the end, which may be a reported failure.
const char* nextName(const char* function, DIR* directory, const std::string& dir) {
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(directory);
        const int error = errno;
        if (!entry) {
            if (error != 0) {
                report(function, "readdir(" + dir + ")", error);
            }
            return nullptr;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            return entry->d_name;
        }
    }
}

}  // namespace

OrvCHAttachmentFiles::~OrvCHAttachmentFiles() {
    if (stateFile_ >= 0) {
        static_cast<void>(::close(stateFile_));
    }
}

void OrvCHAttachmentFiles::stageAttachments() {
    ORV_TRACE("Entry\n");
    readState();
    if (stateFile_ < 0) {
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
    if (stateFile_ < 0) {
        stateFile_ = ::open(orvHostPath(kOrvAttachmentState).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kStateFileMode);
    }
    std::uint32_t state = kNotStaged;
    if (stateFile_ >= 0 && ::pread(stateFile_, &state, sizeof state, 0) == sizeof state) {
        attachmentState_ = state;
    }
}

void OrvCHAttachmentFiles::writeState(std::uint32_t state) {
    attachmentState_ = state;
    if (stateFile_ >= 0 && ::pwrite(stateFile_, &state, sizeof state, 0) != sizeof state) {
        ORV_TRACE("unable to write the attachment state\n");
    }
}

void OrvCHAttachmentFiles::linkAttachments(OrvCHMesg& message) {
    for (std::string name = message.nextAttachmentFile(); !name.empty(); name = message.nextAttachmentFile()) {
        const std::string from = kOrvStageDirectory + name;
        const std::string to = kOrvAttachmentsSlashDirectory + name;
        orvTrace(kTraceModule, kRestore, "link(%s, %s)\n", from.c_str(), to.c_str());
        linkFile(kRestore, from, to);
    }
}

void OrvCHAttachmentFiles::cleanAttachments() {
    ORV_TRACE("Entry\n");
    cleanDir(kOrvStageDirectory);
    static_cast<void>(::rmdir(orvHostPath(kOrvStageDirectory).c_str()));
    writeState(kNotStaged);
}

void OrvCHAttachmentFiles::purgeAttachments() {
    ORV_TRACE("Entry\n");
    const std::string hostPath = orvHostPath(kOrvAttachmentState);
    if (::unlink(hostPath.c_str()) < 0) {
        const int error = errno;
        report(__func__, std::string("unlink(") + kOrvAttachmentState + ")", error);
    }
    cleanDir(kOrvAttachmentsSlashDirectory);
    cleanDir(kOrvStageDirectory);
}

void OrvCHAttachmentFiles::linkDirEntries(const std::string& from, const std::string& to) {
    ORV_TRACE("Entry: from %s to %s\n", from.c_str(), to.c_str());
    const DirectoryPtr directory = openDir(__func__, from);
    if (!directory) {
        return;
    }
    while (const char* name = nextName(__func__, directory.get(), from)) {
        const std::string source = from + name;
        const std::string target = to + name;
        ORV_TRACE("from %s to %s\n", source.c_str(), target.c_str());
        linkFile(__func__, source, target);
    }
}

void OrvCHAttachmentFiles::cleanDir(const std::string& dir) {
    ORV_TRACE("Entry: %s\n", dir.c_str());
    const DirectoryPtr directory = openDir(__func__, dir);
    if (!directory) {
        return;
    }
    while (const char* name = nextName(__func__, directory.get(), dir)) {
        const std::string path = dir + name;
        const std::string hostPath = orvHostPath(path);
        if (::unlink(hostPath.c_str()) == 0) {
            continue;
        }
        const int error = errno;
        if (error == EISDIR) {
            cleanDir(path + "/");
            static_cast<void>(::rmdir(hostPath.c_str()));
        } else {
            // Kept: the directory is named, not the file in it.
            report(__func__, "unlink(" + dir + ")", error);
        }
    }
}
