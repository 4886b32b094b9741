// A file tree of the active side, each change of which is made there and told to the standby.
//
// Always the same 500 files in 20 directories, with the sizes at which something might go wrong.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

class OrvSyncPri;

class SyncTree {
public:
    static constexpr int kFiles = 500;
    static constexpr int kDirectories = 20;

    // Where the tree stands on this side and on the standby, as paths of the switch. The sender is connected.
    SyncTree(OrvSyncPri& sender, std::string local, std::string remote);

    // The steps, in this order: "create", "change", "move", "remove", "remove all". Empty when all of a step was done
    // and answered without an error, else what was not.
    std::string run(const std::string& step);
    int records() const { return records_; }

private:
    void create();
    void change();
    void move();
    void remove();
    void removeAll();

    void copy(int file, int version);
    // One operation and its reply.
    void tell(int result, const std::string& what);

    OrvSyncPri& sender_;
    const std::string local_;
    const std::string remote_;
    std::string failure_;
    int records_ = 0;
};

// What is below a directory of this machine: its files with their bytes, its directories with "directory". Nothing when
// there is no such directory.
std::map<std::string, std::string> treeBelow(const std::filesystem::path& directory);
