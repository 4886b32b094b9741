#include "capture/OrvCaptureRun.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvShell.h"
#include "base/OrvSteps.h"
#include "base/OrvText.h"
#include "base/OrvTimeText.h"
#include "capture/OrvCaptureMesgs.h"
#include "capture/OrvCompressedFile.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvSequenceSource.h"

#include <sys/stat.h>

#include <cerrno>
#include <new>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";
// Everything a capture does is traced under one name.
constexpr char kTraceMethod[] = "execCapture";

// Kept: no blank before the quoted command.
constexpr char kSupportArguments[] = " -c\"show support callhome\" 2>&1 > /dev/null";
constexpr char kCompress[] = "/bin/gzip -c ";
constexpr char kCaptureFile[] = "smlCapture.txt";
constexpr char kCompressedSuffix[] = ".gz";
constexpr char kEventId[] = "8B00.FFFF";
// Kept: the grammar.
constexpr char kDescription[] =
    "Message include this text header and Base64 encoded MIME attachments of data captured on the switch";

struct LogFiles {
    const char* name;
    int generations;  // beside the current one
};
constexpr LogFiles kLogFiles[] = {{"logfile", 9}, {"messages", 5}};

std::string compressCommand(const std::string& path, const std::string& target) {
    return kCompress + path + " > " + target;
}

// Below "/tmp/" anybody may have planted a link to what is to be kept secret; where the switch keeps its logs is the
// switch's affair.
int statInput(const std::string& directory, const std::string& path, struct stat& status) {
    if (directory == kOrvCaptureDirectory) {
        return orvStatFile(path, status);
    }
    int error = 0;
    {
        const std::string hostPath = orvHostPath(path);
        error = stat(hostPath.c_str(), &status) < 0 ? errno : 0;
    }
    errno = error;
    return error != 0 ? -1 : 0;
}

// 0, or the error number of looking for a file to compress. Something else in its place is not one: the compressor
// could wait on a pipe for ever, and would hold up all captures.
int lookFor(const std::string& directory, const std::string& path) {
    struct stat status {};
    if (orvOnceMore([&] { return statInput(directory, path, status); }) < 0) {
        return errno;
    }
    if (S_ISLNK(status.st_mode)) {
        return ELOOP;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

}  // namespace

OrvCaptureRun::OrvCaptureRun(OrvSequenceSource& sequences, OrvShell shell) : sequences_(sequences), shell_(shell) {
}

int OrvCaptureRun::execute(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg>& mesg) {
    const std::string command = orvShellWord(orvHostPath(kOrvSupportShell)) + kSupportArguments;
    if (shell_(command.c_str()) < 0) {
        const int error = errno;
        orvTrace(kTraceModule, kTraceMethod, "system(): %s\n", orvErrorText(error).c_str());
        errno = error;
        return -1;
    }
    std::unique_ptr<OrvCHMesg> built = buildMesg(capture);
    if (!attachFile(*built, kOrvCaptureDirectory, kCaptureFile)) {
        // Kept: not a failure of this capture, but the end of the thread that runs it.
        throw -1;
    }
    attachLogFiles(*built);
    mesg = std::move(built);
    return 0;
}

std::unique_ptr<OrvCHMesg> OrvCaptureRun::buildMesg(const OrvStartedCapture& capture) {
    auto mesg = std::make_unique<OrvCHMesg>(OrvCHMesg::kCronCapture);
    if (mesg->cronCapture() == nullptr) {
        throw std::bad_alloc();
    }
    mesg->Time = orvMailDateText(capture.checkTime);
    mesg->ID = kEventId;
    mesg->Text = kDescription;
    CronCaptureData& data = *mesg->cronCapture();
    data.Sequence = orvFormat("%u", sequences_.nextSequence());
    data.DayOfWeek = capture.item.dayName();
    data.TimeOfDay = capture.item.timeOfDayText();
    data.Interval = capture.item.intervalText();
    data.Shell = capture.item.shell();
    data.Command = capture.item.command();
    return mesg;
}

void OrvCaptureRun::attachLogFiles(OrvCHMesg& mesg) {
    for (const LogFiles& files : kLogFiles) {
        attachFile(mesg, kOrvConfDirectory, files.name);
        for (int generation = 1; generation <= files.generations; ++generation) {
            attachFile(mesg, kOrvConfDirectory, orvFormat("%s.%d", files.name, generation));
        }
    }
}

bool OrvCaptureRun::attachFile(OrvCHMesg& mesg, const char* directory, const std::string& name) {
    const std::string path = directory + name;
    if (const int error = lookFor(directory, path); error != 0) {
        orvTrace(kTraceModule, kTraceMethod, "Skipping %s: %s\n", path.c_str(), orvErrorText(error).c_str());
        return true;
    }
    const OrvCompressedFile file(name + kCompressedSuffix);
    if (!compress(path, file)) {
        return false;
    }
    attachCompressed(mesg, file);
    return true;
}

// Where no file may be made nothing is run: attaching it fails, and tells why.
bool OrvCaptureRun::compress(const std::string& path, const OrvCompressedFile& file) {
    const std::string command =
        compressCommand(orvShellWord(orvHostPath(path)), orvShellWord(orvHostPath(file.path())));
    if (!file.makeWay() || shell_(command.c_str()) >= 0) {
        return true;
    }
    const int error = errno;
    orvTrace(kTraceModule, kTraceMethod, "system(%s): %s\n", compressCommand(path, file.path()).c_str(),
             orvErrorText(error).c_str());
    if (error == ECANCELED) {
        static_cast<void>(file.remove());
        throw -1;  // the daemon stops: a capture cut short must not be mailed after the next start
    }
    return false;
}

// The attachment keeps what it needs of the file. One that cannot be attached is left out of the message.
void OrvCaptureRun::attachCompressed(OrvCHMesg& mesg, const OrvCompressedFile& file) {
    int error = 0;
    {
        const OrvAtEnd remove([&] { error = file.remove(); });
        CronCaptureData& data = *mesg.cronCapture();
        // What stands where the attachment is to be staged makes way.
        [[maybe_unused]] const int removed = orvUnlinkFile(data.stagedPath(file.name()));
        // Kept: the compressor's exit status is not looked at. One that wrote nothing shows all the same.
        if (file.isEmpty() || data.insertAttachment(file.path()) < 0) {
            orvTrace(kTraceModule, kTraceMethod, "%s is left out\n", file.path().c_str());
        }
    }
    if (error != 0) {
        orvTrace(kTraceModule, kTraceMethod, "remove(%s): %s\n", file.path().c_str(), orvErrorText(error).c_str());
    }
}
