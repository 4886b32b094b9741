// A switch's file tree of its own for one test: a new directory that is the host root until this dies.
//
// Holds the directories that the daemon expects: /ostrel/conf and /tmp. Everything below it goes with it. Built
// before threads start and destroyed after they have ended. Main thread only.
#pragma once

#include <string>
#include <vector>

class TempRoot {
public:
    // Throws when the directory cannot be made.
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& path() const { return path_; }
    // Where a path of the switch ("/tmp/x") stands on this machine.
    std::string at(const std::string& switchPath) const { return path_ + switchPath; }

    // The whole file; empty when there is none.
    std::string read(const std::string& switchPath) const;
    // Throws when it cannot be written; makes the directories on the way.
    void write(const std::string& switchPath, const std::string& bytes) const;
    bool exists(const std::string& switchPath) const;
    // The names in a directory, sorted; empty when there is none.
    std::vector<std::string> list(const std::string& switchPath) const;
    // The lines of the trace log "/tmp/<logger>", without line feeds.
    std::vector<std::string> trace(const std::string& logger) const;

private:
    std::string former_;
    std::string path_;
};
