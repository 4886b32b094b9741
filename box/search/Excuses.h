// What a life of the daemon's cannot be blamed for: the files of which it has said in the event log that it could not
// write, delete or read them.
#pragma once

#include <set>
#include <string>

struct OrvCatalogueMatch;

namespace box {

class Excuses {
public:
    void logged(const OrvCatalogueMatch& entry);
    // A life that found no memory may have found none for its entries either: all files are excused.
    void memoryFailed(bool failed) { all_ = all_ || failed; }

    // name: of a queue and a file, such as send/m12.
    bool cover(const std::string& name) const;

private:
    void add(const std::string& path);

    std::set<std::string> names_;  // a queue alone stands for all of its files
    bool all_ = false;
};

}  // namespace box
