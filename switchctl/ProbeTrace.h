// What the daemon writes into its main trace while it answers a probe.
//
// The trace is cut into generations: when a file is full it becomes ".1", ".1" becomes ".2", and so on. What was
// written since a mark may therefore stand in several files.
#pragma once

#include <sys/types.h>

#include <string>

class ProbeTrace {
public:
    // The newest generation's file.
    explicit ProbeTrace(std::string file) : file_(std::move(file)) {}

    // Remembers how far the trace has come.
    void mark();
    // All that was written since, oldest first; with older generations gone, what is left of it. 0, or -1 when the
    // trace cannot be read.
    [[nodiscard]] int readSince(std::string& text) const;

    // The part of a trace that begins with the entry of a probe; all of it when there is none.
    static std::string fromProbe(const std::string& text);

private:
    static constexpr int GENERATIONS = 5;

    std::string generation(int number) const;

    std::string file_;
    bool marked_ = false;  // There was a file at the mark.
    ino_t inode_ = 0;
    off_t size_ = 0;
};
