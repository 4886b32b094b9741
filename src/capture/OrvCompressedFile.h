// The file that a capture's compressor writes, in the attachments directory: the way to it, and its end.
//
// The shell that makes it follows whatever stands there, so that is looked at and removed before. Nothing behind a link
// is touched, neither in the place of the file nor of a directory above it. Capture thread only.
#pragma once

#include "Descriptor.h"

#include <string>

class OrvCompressedFile {
public:
    explicit OrvCompressedFile(std::string name);

    const std::string& name() const { return name_; }
    // The switch's own.
    const std::string& path() const { return path_; }

    // Links, second names, pipes and leftovers make way for a new file; a directory stays: writing to it fails at once.
    // False when something else stands in place of its directory. Without any it is true: the shell fails by itself.
    [[nodiscard]] bool makeWay() const;
    // The shell makes the file before the compressor writes to it; whatever the compressor makes is longer.
    bool isEmpty() const;
    // 0, or why it is still there or has never been. Takes no memory.
    int remove() const noexcept;

private:
    const std::string name_;
    const std::string path_;
    Descriptor place_;
    int error_ = 0;  // why there is no place
};
