#include "sync/OrvSyncCleaner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace {

// At least two: a directory's parent is opened from within the directory, which must then be one that may be searched.
constexpr std::size_t kOpenLevels = 16;

}  // namespace

void OrvSyncCleaner::CloseDirectory::operator()(DIR* directory) const {
    const int error = errno;
    closedir(directory);
    errno = error;
}

// Null with errno when it cannot be opened.
OrvSyncCleaner::Directory OrvSyncCleaner::open(int parent, const char* name, int flags) {
    const int descriptor = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
    if (descriptor < 0) {
        return nullptr;
    }
    Directory directory(fdopendir(descriptor));
    if (directory == nullptr) {
        const int error = errno;
        close(descriptor);
        errno = error;
    }
    return directory;
}

// What is in it but for itself and its parent. Read to the end first: it changes while it is emptied.
// 0, or -1 with errno.
int OrvSyncCleaner::listNames(DIR* directory, std::vector<std::string>& names) {
    while (true) {
        errno = 0;
        const dirent* const entry = readdir(directory);
        if (entry == nullptr) {
            return errno == 0 ? 0 : -1;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
}

int OrvSyncCleaner::empty(const std::string& hostPath) {
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

int OrvSyncCleaner::enter(Directory directory) {
    call_ = "opendir";
    if (directory == nullptr) {
        return -1;
    }
    call_ = "stat";
    struct stat status {};
    if (fstat(dirfd(directory.get()), &status) < 0) {
        return -1;
    }
    levels_.push_back(
        {.directory = std::move(directory), .names = {}, .device = status.st_dev, .inode = status.st_ino});
    call_ = "readdir";
    if (listNames(levels_.back().directory.get(), levels_.back().names) < 0) {
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
    const int parent = dirfd(level.directory.get());
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
    if (unlinkat(dirfd(level.directory.get()), level.names.back().c_str(), flags) < 0) {
        return -1;
    }
    level.names.pop_back();
    return 0;
}

// Somebody may have moved the directory meanwhile: its parent is then one of which nothing is to be removed.
int OrvSyncCleaner::reopenParent() {
    if (levels_.size() < 2 || levels_[levels_.size() - 2].directory != nullptr) {
        return 0;
    }
    Level& parent = levels_[levels_.size() - 2];
    call_ = "opendir";
    Directory directory = open(dirfd(levels_.back().directory.get()), "..", 0);
    struct stat status {};
    if (directory == nullptr || fstat(dirfd(directory.get()), &status) < 0) {
        return -1;
    }
    if (status.st_dev != parent.device || status.st_ino != parent.inode) {
        errno = ESTALE;
        return -1;
    }
    parent.directory = std::move(directory);
    return 0;
}
