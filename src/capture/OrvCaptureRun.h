// One capture, as the capture thread runs it: the support command, then its output and the switch's log files,
// each compressed and attached to a message.
//
// The exit status of the commands is not looked at: a message goes out with whatever there is. Only regular files are
// compressed, and an empty result of compressing is not attached. Capture thread only.
#pragma once

#include "base/OrvShell.h"

#include <memory>
#include <string>

class OrvCHMesg;
class OrvCompressedFile;
class OrvSequenceSource;
struct OrvStartedCapture;

class OrvCaptureRun {
public:
    // The source of sequence numbers must outlive this object.
    OrvCaptureRun(OrvSequenceSource& sequences, OrvShell shell);

    // 0 and the message; or -1 and errno, with no message. Throws -1 when no shell can be started for the capture's
    // own output or the daemon stops meanwhile, OrvFileError when there is no sequence number.
    int execute(const OrvStartedCapture& capture, std::unique_ptr<OrvCHMesg>& mesg);

private:
    std::unique_ptr<OrvCHMesg> buildMesg(const OrvStartedCapture& capture);
    void attachLogFiles(OrvCHMesg& mesg);
    // False when no shell could be started.
    bool attachFile(OrvCHMesg& mesg, const char* directory, const std::string& name);
    // Likewise.
    bool compress(const std::string& path, const OrvCompressedFile& file);
    void attachCompressed(OrvCHMesg& mesg, const OrvCompressedFile& file);

    OrvSequenceSource& sequences_;
    const OrvShell shell_;
};
