#include "base/OrvFiles.h"
#include "base/OrvOnceMore.h"
#include "base/OrvText.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesg/OrvCHMesg.h"
#include "mesg/OrvMesgFile.h"
#include "mesg/OrvMesgFileReader.h"
#include "mesg/OrvMesgTags.h"
#include "mesg/OrvMesgText.h"
#include "mesg/OrvStreamError.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <istream>

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

// Kept: the words of a file stream that throws. It holds a short text back until it is closed, and then it only fails;
// one that cannot be written at once is bad.
static int failSave(const char* step, std::ios_base::iostate state, int error) {
    const std::ios_base::failure failure("basic_ios::clear");
    orvTrace(kTraceModule, "save", "%s", orvStreamErrorText(step, state, error, failure.what()).c_str());
    return -1;
}

// One text and one write: a file is saved for every event, and flash is slow.
int OrvCHMesg::save() const {
    constexpr mode_t kFileMode = 0666;
    constexpr std::size_t kHeldBack = 1023;
    const std::string text = fileText();
    Descriptor file = orvOnceMore([&] { return orvOpenFile(FileName, O_WRONLY | O_CREAT, kFileMode); });
    if (!file) {
        return failSave("open", std::ios_base::failbit, errno);
    }
    if (orvWriteMesgFile(file.get(), text) < 0) {
        return failSave("I/O", text.size() > kHeldBack ? std::ios_base::badbit : std::ios_base::failbit, errno);
    }
    return file.close() < 0 ? failSave("I/O", std::ios_base::failbit, errno) : 0;
}

// No file, or one without a byte. Without a descriptor to ask with, opening it has to tell.
static bool isEmptyFile(const std::string& path) {
    struct stat status {};
    const int result = orvOnceMore([&] { return orvStatFile(path, status); });
    return result < 0 ? errno != EMFILE && errno != ENFILE : status.st_size == 0;
}

int OrvCHMesg::restore() {
    if (isEmptyFile(FileName)) {
        orvTraceAndLog(kTraceModule, __func__, orv_log::kFileEmpty, FileName.c_str());
        return -1;
    }
    ORV_TRACE("restoring from file %s\n", FileName.c_str());
    const Descriptor file = orvOnceMore([&] { return orvOpenFile(FileName, O_RDONLY); });
    if (!file) {
        ORV_TRACE("[FAIL] could not open %s\n", FileName.c_str());
        return -1;
    }
    OrvMesgFileBuf bytes(file.get());
    std::istream stream(&bytes);
    stream.exceptions(std::ios_base::badbit);  // or a line without memory would pass for the file's end
    OrvMesgFileReader reader(stream, *this);
    if (reader.findStart() < 0) {
        return -1;
    }
    bytesToSave_ = 0;
    mesgPartCounted_ = false;
    return reader.readElements();
}
