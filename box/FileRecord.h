// Every change that a program makes to the files below one directory, in order.
//
// What a power cut may leave is made from it. A file is known by a number of its own, whatever its names are; paths are
// those below the directory, without a slash in front.
#pragma once

#include "box/StateFields.h"
#include "box/Times.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace box {

struct FileOperation {
    enum Kind : std::uint32_t {
        kCreate,
        kMakeDirectory,
        kLink,
        kUnlink,
        kRemoveDirectory,
        kRename,
        kWrite,
        kCut,
        kSync  // what came before it for this file, or for the names in this directory, is on the disk
    };
    Kind kind = kWrite;
    Time at = 0;
    std::uint32_t file = 0;  // 0: a directory
    std::string path;        // by which the file is known, or becomes so
    std::string target;      // of a rename: the new name
    std::size_t offset = 0;  // of a write; of a cut: the size
    std::string bytes;

    static void fields(auto& io, auto& operation) {
        io(operation.at, operation.offset, operation.kind, operation.file);
        io.text32(operation.path);
        io.text32(operation.target);
        io.text32(operation.bytes);
    }
};

class FileRecord {
public:
    // The directory holds no files yet.
    explicit FileRecord(std::string root) : root_(std::move(root)) {}

    const std::vector<FileOperation>& operations() const { return operations_; }
    void setTime(Time now) { now_ = now; }

    // --- Calls that have been made; those on other files are passed over ---
    // Opened for writing, perhaps created, perhaps emptied.
    void opened(int file, int flags);
    void wrote(int file, const void* bytes, std::size_t size);
    void wroteAt(int file, const void* bytes, std::size_t size, std::size_t offset);
    void cut(int file, std::size_t size);
    void synced(int file);
    // place: an open directory, or AT_FDCWD.
    void madeDirectory(int place, std::string_view name);
    void linked(int from, std::string_view name, int to, std::string_view newName);
    void renamed(int from, std::string_view name, int to, std::string_view newName);
    void unlinked(int place, std::string_view name, int flags);
    // Files that somebody else has written stand below the directory: as if they had been written whole, at once.
    void takeInOthers();

    // What goes from life to life.
    static void fields(auto& io, auto& record) {
        items(io, record.operations_, FIELDS_OF<FileOperation>);
        items(io, record.numbers_, [](auto& each, auto& number) { each(number.first, number.second); });
        items(io, record.names_, [](auto& each, auto& name) {
            each.text32(name.first);
            each(name.second);
        });
    }

private:
    std::string pathOf(int file) const;
    std::string pathAt(int place, std::string_view name) const;
    std::uint32_t known(int file) const;
    std::uint32_t takeIn(std::uint64_t inode, const std::string& path);
    FileOperation& add(FileOperation::Kind kind, std::uint32_t file, std::string path);

    const std::string root_;
    Time now_ = 0;
    std::vector<FileOperation> operations_;
    std::map<std::uint64_t, std::uint32_t> numbers_;  // of the system's numbers of files
    std::map<std::string, std::uint32_t> names_;      // of files
};

}  // namespace box
