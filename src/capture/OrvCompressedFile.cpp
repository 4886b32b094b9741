#include "capture/OrvCompressedFile.h"

#include "base/OrvFiles.h"
#include "base/OrvPaths.h"
#include "base/OrvSteps.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

OrvCompressedFile::OrvCompressedFile(std::string name)
    : name_(std::move(name)), path_(std::string(kOrvAttachmentsDirectory) + "/" + name_) {
    place_ = orvOnceMore([] { return orvOpenDirectory(kOrvAttachmentsDirectory); });
    error_ = place_ ? 0 : errno;
}

bool OrvCompressedFile::makeWay() const {
    if (!place_) {
        return error_ == ENOENT;
    }
    struct stat status {};
    return unlinkat(place_.get(), name_.c_str(), 0) == 0 ||
           fstatat(place_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0 || S_ISDIR(status.st_mode);
}

bool OrvCompressedFile::isEmpty() const {
    struct stat status {};
    return place_ && fstatat(place_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode) && status.st_size == 0;
}

int OrvCompressedFile::remove() const noexcept {
    if (!place_) {
        return error_;
    }
    if (unlinkat(place_.get(), name_.c_str(), 0) == 0) {
        return 0;
    }
    if (errno != EISDIR) {
        return errno;
    }
    return unlinkat(place_.get(), name_.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}
