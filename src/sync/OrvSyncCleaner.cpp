#include "sync/OrvSyncCleaner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

// At least two: a directory's parent is opened from within the directory, which must then be one that may be searched.
constexpr std::size_t kOpenLevels = 16;

}  // namespace

// None with errno when it cannot be opened.
Directory_Stream OrvSyncCleaner::open(int parent, const char* name, int flags) {
    return Directory_Stream(Descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags)));
}

// What is in it. Read to the end first: it changes while it is emptied. 0, or -1 with errno.
int OrvSyncCleaner::listNames(Directory_Stream& directory, std::vector<std::string>& names) {
    while (const char* const name = directory.next()) {
        names.emplace_back(name);
    }
    return errno == 0 ? 0 : -1;
}

int OrvSyncCleaner::emptyOrFail(const std::string& hostPath) {
    levels_.clear();
    int result = enter(open(AT_FDCWD, hostPath.c_str(), 0));
    while (result == 0 && !levels_.empty()) {
        result = step();
    }
    const int error = errno;
    levels_.clear();
    errno = error;
    return result;
}

int OrvSyncCleaner::enter(Directory_Stream directory) {
    call_ = "opendir";
    if (!directory) {
        return -1;
    }
    call_ = "stat";
    struct stat status {};
    if (fstat(directory.descriptor(), &status) < 0) {
        return -1;
    }
    levels_.push_back(
        {.directory = std::move(directory), .names = {}, .device = status.st_dev, .inode = status.st_ino});
    call_ = "readdir";
    if (listNames(levels_.back().directory, levels_.back().names) < 0) {
        return -1;
    }
    if (levels_.size() > kOpenLevels) {
        levels_[levels_.size() - 1 - kOpenLevels].directory.reset();
    }
    return 0;
}

int OrvSyncCleaner::step() {
    const Level& level = levels_.back();
    if (level.names.empty()) {
        return leave();
    }
    const int parent = level.directory.descriptor();
    const char* const name = level.names.back().c_str();
    call_ = "stat";
    struct stat status {};
    if (fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) < 0) {
        return -1;
    }
    return S_ISDIR(status.st_mode) ? enter(open(parent, name, O_NOFOLLOW)) : removeNext(0);
}

// Up from a directory that is empty now, and removes it.
int OrvSyncCleaner::leave() {
    levels_.pop_back();
    if (levels_.empty()) {
        return 0;
    }
    return reopenParent() < 0 ? -1 : removeNext(AT_REMOVEDIR);
}

int OrvSyncCleaner::removeNext(int flags) {
    Level& level = levels_.back();
    call_ = "remove";
    if (unlinkat(level.directory.descriptor(), level.names.back().c_str(), flags) < 0) {
        return -1;
    }
    level.names.pop_back();
    return 0;
}

// Somebody may have moved the directory meanwhile: its parent is then one of which nothing is to be removed.
int OrvSyncCleaner::reopenParent() {
    if (levels_.size() < 2 || levels_[levels_.size() - 2].directory) {
        return 0;
    }
    Level& parent = levels_[levels_.size() - 2];
    call_ = "opendir";
    Directory_Stream directory = open(levels_.back().directory.descriptor(), "..", 0);
    struct stat status {};
    if (!directory || fstat(directory.descriptor(), &status) < 0) {
        return -1;
    }
    if (status.st_dev != parent.device || status.st_ino != parent.inode) {
        errno = ESTALE;
        return -1;
    }
    parent.directory = std::move(directory);
    return 0;
}
