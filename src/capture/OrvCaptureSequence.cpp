#include "capture/OrvCaptureSequence.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvSequenceSource.h"
#include "word_order.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

namespace {

constexpr char kTraceModule[] = "OrvCHCapture";

using SequenceBytes = std::array<std::uint8_t, 4>;

[[noreturn]] void throwReadError() {
    throw OrvFileError(std::string("Read Error for file ") + kOrvCaptureSequence);
}

// With errno as it stands, telling why.
[[noreturn]] void throwWriteError() {
    const int error = errno;
    OrvFileError failure(std::string("Write Error for file ") + kOrvCaptureSequence);
    errno = error;
    throw failure;
}

// Of a regular file only: reading a pipe would wait for somebody to write to it. 0, or -1.
int readFirstBytes(int file, SequenceBytes& bytes) {
    struct stat status {};
    if (fstat(file, &status) < 0) {
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    errno = 0;
    return pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()) ? 0 : -1;
}

// At no moment is there a file with less than a number in it: the daemon would never start again. 0, or -1 and errno.
int keep(const SequenceBytes& bytes) {
    constexpr mode_t kMode = 0666;
    off_t before = 0;
    Descriptor file = orvOpenFile(kOrvCaptureSequence, O_WRONLY, 0, before);
    if (!file) {
        return errno == ENOENT ? orvCreateWholeFile(kOrvCaptureSequence, bytes.data(), bytes.size(), kMode) : -1;
    }
    return orvRewriteFile(file.get(), before, bytes.data(), bytes.size()) < 0 ? -1 : file.close();
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
    const Descriptor file = orvOnceMore([] { return orvOpenFile(kOrvCaptureSequence, O_RDONLY); });
    if (!file) {
        if (errno != ENOENT) {
            throwReadError();
        }
        ORV_TRACE("File %s, does not exist.  Creating...\n", kOrvCaptureSequence);
        writeSequence();
        return;
    }
    SequenceBytes bytes{};
    if (orvOnceMore([&] { return readFirstBytes(file.get(), bytes); }) < 0) {
        throwReadError();
    }
    sequence_ = native32(bytes);
}

void OrvCaptureSequence::writeSequence() const {
    SequenceBytes bytes{};
    storeNative32(bytes, sequence_);
    if (orvOnceMore([&] { return keep(bytes); }) < 0) {
        throwWriteError();
    }
}
