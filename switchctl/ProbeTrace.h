// What the daemon writes into its main trace while it answers a probe.
//
// The trace is cut into generations: when a file is full it becomes ".1", ".1" becomes ".2", and so on. What was
// written since a mark may therefore stand in several files.
#pragma once

#include "switchctl/Session.h"

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>

class ProbeTrace {
public:
    // The newest generation's file.
    explicit ProbeTrace(std::string file) : file_(std::move(file)) {}

    // Has the daemon trace its state and gives what it traced. Throws Refused when the trace cannot be read or has no
    // probe in it, and as OperatorClient::call.
    static std::string ask(Session& session);

    // Remembers how far the trace has come.
    void mark();
    // All that was written since, oldest first; with older generations gone, what is left of it. 0, or -1 when the
    // trace cannot be read.
    [[nodiscard]] int readSince(std::string& text) const;

    // The first whole probe in a trace: from its entry to the end of its last record. Nothing when there is none.
    static std::optional<std::string> probeIn(const std::string& text);
    // The lines of the form "key = value" in it, without the blanks around either; the first of a key.
    static std::map<std::string, std::string> valuesIn(const std::string& probe);

private:
    static constexpr int GENERATIONS = 5;

    std::string generation(int number) const;

    std::string file_;
    bool marked_ = false;  // There was a file at the mark.
    ino_t inode_ = 0;
    off_t size_ = 0;
};
