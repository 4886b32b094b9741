// A tree of directories and files as operations make it, some of which may have come only in part.
//
// A file is known by its number: an operation finds it whatever has become of its names. A name in a directory that is
// missing cannot be seen until the directory comes.
#pragma once

#include "box/FileRecord.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace box {

class FileTree {
public:
    static constexpr std::size_t kSector = 512;

    struct File {
        std::string bytes;
        Time written = 0;
    };

    void apply(const FileOperation& operation);
    // Of a write, the sectors whose bit is set (the 64th on go by the 64th's); the file is as long as by the whole of
    // it, or, not grown, as the last sector makes it. What did not come is zeros where there was nothing.
    void applySectors(const FileOperation& operation, std::uint64_t sectors, bool grown);
    // Of a rename, the new name without the end of the old one.
    void applyNewName(const FileOperation& operation);

    // The files that can be seen, by their paths.
    std::map<std::string, std::uint32_t> names() const;
    // Empty when there is none.
    const File& file(std::uint32_t number) const;
    const File& file(const std::string& path) const;
    // Stands for names, bytes and times.
    std::uint64_t digest() const;
    // What stands below a directory of the system's, without times. Throws std::runtime_error.
    static FileTree below(const std::string& directory);
    // Everything, below a directory that is there.
    void writeBelow(const std::string& directory) const;

    // The same names with the same bytes.
    bool looksLike(const FileTree& other) const;

private:
    bool canBeSeen(std::string_view path) const;
    void unbind(const std::string& path, std::uint32_t number);

    std::set<std::string> directories_;
    std::map<std::string, std::uint32_t> names_;
    std::map<std::uint32_t, File> files_;
};

// How many sectors a write touches.
std::size_t sectorsOf(const FileOperation& write);

}  // namespace box
