#include "box/FileRecord.h"

#include "box/World.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace box {

namespace {

// The system's number of an open file; 0: it is no file.
std::uint64_t inodeOf(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_ino) : 0;
}

std::string bytesOf(const std::filesystem::path& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

}  // namespace

// Below the directory; empty for what is not.
std::string FileRecord::pathOf(int file) const {
    char path[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t size = ::readlink(link.c_str(), path, sizeof path);
    const std::string_view found(path, size < 0 ? 0 : static_cast<std::size_t>(size));
    return found.starts_with(root_ + "/") ? std::string(found.substr(root_.size() + 1)) : "";
}

std::string FileRecord::pathAt(int place, std::string_view name) const {
    if (name.starts_with('/')) {
        return name.starts_with(root_ + "/") ? std::string(name.substr(root_.size() + 1)) : "";
    }
    const std::string directory = place == AT_FDCWD ? "" : pathOf(place);
    return directory.empty() ? "" : directory + "/" + std::string(name);
}

std::uint32_t FileRecord::known(int file) const {
    const auto found = numbers_.find(inodeOf(file));
    return found == numbers_.end() ? 0 : found->second;
}

FileOperation& FileRecord::add(FileOperation::Kind kind, std::uint32_t file, std::string path) {
    FileOperation& operation = operations_.emplace_back();
    operation.kind = kind;
    operation.at = now_;
    operation.file = file;
    operation.path = std::move(path);
    return operation;
}

std::uint32_t FileRecord::takeIn(std::uint64_t inode, const std::string& path) {
    const auto number = static_cast<std::uint32_t>(numbers_.size() + 1);
    numbers_[inode] = number;
    names_[path] = number;
    add(FileOperation::kCreate, number, path);
    return number;
}

void FileRecord::opened(int file, int flags) {
    const std::uint64_t inode = (flags & O_ACCMODE) == O_RDONLY ? 0 : inodeOf(file);
    const std::string path = inode == 0 ? "" : pathOf(file);
    if (path.empty()) {
        return;
    }
    const auto found = numbers_.find(inode);
    if (found == numbers_.end()) {
        takeIn(inode, path);
    } else if ((flags & O_TRUNC) != 0) {
        add(FileOperation::kCut, found->second, path);
    }
}

// The place in the file has moved on by what was written.
void FileRecord::wrote(int file, const void* bytes, std::size_t size) {
    if (known(file) != 0) {
        wroteAt(file, bytes, size, static_cast<std::size_t>(::lseek(file, 0, SEEK_CUR)) - size);
    }
}

void FileRecord::wroteAt(int file, const void* bytes, std::size_t size, std::size_t offset) {
    if (const std::uint32_t number = known(file)) {
        FileOperation& operation = add(FileOperation::kWrite, number, pathOf(file));
        operation.offset = offset;
        operation.bytes.assign(static_cast<const char*>(bytes), size);
    }
}

void FileRecord::cut(int file, std::size_t size) {
    if (const std::uint32_t number = known(file)) {
        add(FileOperation::kCut, number, pathOf(file)).offset = size;
    }
}

void FileRecord::synced(int file) {
    const std::string path = pathOf(file);
    if (!path.empty()) {
        add(FileOperation::kSync, known(file), path);
    }
}

void FileRecord::madeDirectory(int place, std::string_view name) {
    const std::string path = pathAt(place, name);
    if (!path.empty()) {
        add(FileOperation::kMakeDirectory, 0, path);
    }
}

void FileRecord::linked(int from, std::string_view name, int to, std::string_view newName) {
    const auto found = names_.find(pathAt(from, name));
    const std::string path = pathAt(to, newName);
    if (found != names_.end() && !path.empty()) {
        add(FileOperation::kLink, found->second, path);
        names_[path] = found->second;
    }
}

void FileRecord::renamed(int from, std::string_view name, int to, std::string_view newName) {
    const auto found = names_.find(pathAt(from, name));
    const std::string path = pathAt(to, newName);
    if (found != names_.end() && !path.empty()) {
        add(FileOperation::kRename, found->second, found->first).target = path;
        const std::uint32_t number = found->second;
        names_.erase(found);
        names_[path] = number;
    }
}

void FileRecord::unlinked(int place, std::string_view name, int flags) {
    const std::string path = pathAt(place, name);
    if ((flags & AT_REMOVEDIR) != 0 && !path.empty()) {
        add(FileOperation::kRemoveDirectory, 0, path);
    } else if (const auto found = names_.find(path); found != names_.end()) {
        add(FileOperation::kUnlink, found->second, path);
        names_.erase(found);
    }
}

void FileRecord::takeInOthers() {
    for (const auto& each : std::filesystem::recursive_directory_iterator(root_)) {
        struct stat status {};
        if (!each.is_regular_file() || ::stat(each.path().c_str(), &status) != 0 ||
            numbers_.count(static_cast<std::uint64_t>(status.st_ino)) != 0) {
            continue;
        }
        const std::string path = each.path().string().substr(root_.size() + 1);
        const std::uint32_t number = takeIn(static_cast<std::uint64_t>(status.st_ino), path);
        add(FileOperation::kWrite, number, path).bytes = bytesOf(each.path());
    }
}

}  // namespace box
