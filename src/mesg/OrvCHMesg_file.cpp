#include "base/OrvPaths.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvMesgFileReader.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvMesgText.h"
#include "mesg/OrvStreamError.h"

#include <sys/stat.h>

#include <cerrno>
#include <fstream>

static constexpr char kTraceModule[] = "OrvCHMesg";

using namespace orv_mesg_tags;

std::string OrvCHMesg::fileText() const {
    constexpr std::size_t kUsualSize = 2048;
    std::string file;
    file.reserve(kUsualSize);
    orvAppendLine(file, kMesg);
    orvAppendElement(file, kDupCnt, std::to_string(DuplicateCount));
    orvAppendElement(file, kDupTime, DuplicateTime);
    orvAppendElement(file, kTime, Time);
    orvAppendElement(file, kId, ID);
    if (logEvent_ != nullptr) {
        logEvent_->save(file);
    } else if (cronCapture_ != nullptr) {
        cronCapture_->save(file);
    }
    orvAppendElement(file, kText, Text);
    orvAppendLine(file, kEnvelopeList);
    for (const auto& envelope : Envelopes) {
        envelope->save(file);
    }
    orvAppendLine(file, kEnvelopeListEnd);
    orvAppendLine(file, kMesgEnd);
    return file;
}

// Opens a stream that throws. A pipe in the file's place would hold the thread until somebody reads it: refused.
static void openForWriting(std::ofstream& stream, const std::string& path) {
    stream.exceptions(std::ios_base::failbit | std::ios_base::badbit);
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
        errno = ENXIO;
        stream.setstate(std::ios_base::failbit);
    }
    stream.open(path, std::ios_base::out | std::ios_base::trunc);
}

// One text and one write: a file is saved for every event, and flash is slow.
int OrvCHMesg::save() const {
    const std::string file = fileText();
    const std::string path = orvHostPath(FileName);
    std::ofstream stream;
    const char* step = "open";
    try {
        openForWriting(stream, path);
        step = "I/O";
        stream.write(file.data(), static_cast<std::streamsize>(file.size()));
        stream.close();
    } catch (const std::ios_base::failure& failure) {
        const int error = errno;
        ORV_TRACE("%s", orvStreamErrorText(step, stream.rdstate(), error, failure.what()).c_str());
        return -1;
    }
    return 0;
}

int OrvCHMesg::restore() {
    const std::string path = orvHostPath(FileName);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || status.st_size == 0) {
        orvLog(kOrvLogInternal, "File %s is empty, ignoring", FileName.c_str());
        ORV_TRACE("File %s is empty, ignoring\n", FileName.c_str());
        return -1;
    }
    ORV_TRACE("restoring from file %s\n", FileName.c_str());
    std::ifstream stream(path);
    if (!stream.is_open()) {
        ORV_TRACE("[FAIL] could not open %s\n", FileName.c_str());
        return -1;
    }
    OrvMesgFileReader reader(stream, *this);
    if (reader.findStart() < 0) {
        return -1;
    }
    bytesToSave_ = 0;
    mesgPartCounted_ = false;
    return reader.readElements();
}
