// Where a box's switch keeps its files: an empty directory on a file system in memory.
#pragma once

#include <string>

namespace box {

class BoxDirectory {
public:
    // A new one, which goes with this object; or one that is there and empty, which stays. Throws a text that says
    // what is wrong (std::runtime_error).
    explicit BoxDirectory(const std::string& given);
    ~BoxDirectory();
    BoxDirectory(const BoxDirectory&) = delete;
    BoxDirectory& operator=(const BoxDirectory&) = delete;

    const std::string& path() const { return path_; }
    // A number that stands for the names and the bytes of all files.
    std::uint64_t digest() const;

private:
    std::string path_;
    bool isOurs_;
};

}  // namespace box
