// One of the daemon's traces: its file and the older generations of it.
//
// When a file is full it becomes ".1", ".1" becomes ".2", and so on; the daemon may do so at any moment. A file in a
// trace's place that is none, such as a link or a pipe, is not read.
#pragma once

#include "Descriptor.h"

#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

class TraceFile {
public:
    // The newest generation's file.
    explicit TraceFile(std::string file) : file_(std::move(file)) {}

    // Remembers how far the trace has come.
    void mark();
    // All that was written since the mark, or all that there is without one, oldest first; with older generations gone,
    // what is left of it. 0, or -1 and errno when the trace cannot be read.
    [[nodiscard]] int readSince(std::string& text) const;
    // The same, and the mark is where it ended. whole: nothing between the two marks has gone.
    [[nodiscard]] int readOn(std::string& text, bool& whole);

    struct Generation {
        Descriptor file;
        struct stat status {};
        off_t offset = 0;  // how far it has been read
        std::string head;  // what it begins with
    };

private:
    static constexpr int GENERATIONS = 5;

    std::string generation(int number) const;
    // 0, -1: cannot be read, or 1: the generations moved meanwhile.
    int tryReadSince(std::string& text, std::vector<Generation>& newestFirst) const;
    int readGenerations(std::string& text, std::vector<Generation>& newestFirst) const;
    int openSince(std::vector<Generation>& newestFirst) const;
    bool isMarked(const Generation& generation) const;
    // It has been emptied since, by a daemon that has started.
    bool isBegunAnew(const Generation& marked) const;
    int endAt(int number) const;

    std::string file_;
    // The newest generation that there was at the mark. It is held open: no other file gets its number meanwhile.
    Descriptor marked_;
    struct stat mark_ {};
    std::string markHead_;
};
