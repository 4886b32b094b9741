#include "capture/OrvCaptureSequence.h"

#include "base/OrvPaths.h"
#include "dbg/OrvDbg.h"
#include "mesg/OrvFileError.h"
#include "word_order.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// With errno as it stands, telling why.
[[noreturn]] void throwWriteError() {
    const int error = errno;
    OrvFileError failure(std::string("Write Error for file ") + kOrvCaptureSequence);
    errno = error;
    throw failure;
}

// Writes in place of what was there, and waits for nobody: there may be a pipe. 0, or -1 and errno.
int overwrite(const std::string& hostPath, const SequenceBytes& bytes) {
    constexpr mode_t kMode = 0666;
    const int file = open(hostPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, kMode);
    if (file < 0) {
        return -1;
    }
    errno = ENOSPC;  // when only a part of them has room
    const bool written = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const int error = errno;
    if (close(file) != 0) {
        return -1;
    }
    errno = error;
    return written ? 0 : -1;
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
    // Opening a pipe would wait for somebody to write to it.
    if (!S_ISREG(status.st_mode)) {
        throwReadError();
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
    if (overwrite(orvHostPath(kOrvCaptureSequence), bytes) < 0) {
        throwWriteError();
    }
}
