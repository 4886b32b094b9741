#include "capture/OrvCaptureSequence.h"

#include "base/OrvPaths.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvFileError.h"
#include "word_order.h"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";

using SequenceBytes = std::array<std::uint8_t, 4>;

[[noreturn]] void throwReadError() {
    throw OrvFileError(std::string("Read Error for file ") + kOrvCaptureSequence);
}

}  // namespace

OrvCaptureSequence::OrvCaptureSequence() {
    readSequence();
}

std::uint32_t OrvCaptureSequence::nextSequence() {
    const Mt::Lock lock(lock_);
    ++sequence_;
    writeSequence();
    return sequence_;
}

std::uint32_t OrvCaptureSequence::last() const {
    const Mt::Lock lock(lock_);
    return sequence_;
}

void OrvCaptureSequence::readSequence() {
    const std::string path = orvHostPath(kOrvCaptureSequence);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            throwReadError();
        }
        ORV_TRACE("File %s, does not exist.  Creating...\n", kOrvCaptureSequence);
        writeSequence();
        return;
    }
    SequenceBytes bytes{};
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(bytes.data()), bytes.size());
    if (!file) {
        throwReadError();
    }
    sequence_ = native32(bytes);
}

void OrvCaptureSequence::writeSequence() const {
    SequenceBytes bytes{};
    storeNative32(bytes, sequence_);
    errno = 0;
    std::ofstream file(orvHostPath(kOrvCaptureSequence), std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    file.close();
    if (!file) {
        const int error = errno;
        OrvFileError failure(std::string("Write Error for file ") + kOrvCaptureSequence);
        errno = error;
        throw failure;
    }
}
