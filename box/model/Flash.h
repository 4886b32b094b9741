// The files below the switch's directory of queues, and when each was written last. Outlives the daemon.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace model {

struct Flash {
    struct File {
        std::string bytes;
        std::uint64_t written = 0;  // grows with every write
    };

    void write(const std::string& path, std::string bytes) { files[path] = {std::move(bytes), ++writes}; }
    const std::string* read(const std::string& path) const {
        const auto found = files.find(path);
        return found == files.end() ? nullptr : &found->second.bytes;
    }
    // Names in a directory that begin with "m", written last first; those written at one time by name.
    std::vector<std::string> entriesIn(const std::string& directory) const;

    std::map<std::string, File> files;
    std::uint64_t writes = 0;
};

}  // namespace model
