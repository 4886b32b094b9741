// Files and directories of fixed names, never reached through a link that somebody has put in their place.
//
// Paths are the switch's own (OrvPaths.h). Everything below the daemon's own directory, "/ostrel/conf/orv", is made by
// it: no component there may be a link. Elsewhere the last component may not be one; what stands above it is the
// system's, and may. A link in place of a file or directory is refused with ELOOP or ENOTDIR, as something that
// cannot be opened. No call waits for the other end of a pipe, and none is cut short by a signal.
//
// Results: 0, or -1 with errno; a Descriptor without a number, with errno. Any thread. Throws std::bad_alloc.
#pragma once

#include "Descriptor.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <streambuf>
#include <string_view>

// Opens a file. For writing, it has to be a regular file (else EINVAL) without another name (else EMLINK), and is
// emptied for O_TRUNC only when it is.
Descriptor orvOpenFile(std::string_view path, int flags, mode_t mode = 0);
// The same for writing, and how many bytes the file has then.
Descriptor orvOpenFile(std::string_view path, int flags, mode_t mode, off_t& size);
// Whether an open file may be written to, as above, and how many bytes it has. Takes no memory.
[[nodiscard]] int orvJudgeForWriting(int file, off_t& size);
// Opens a directory, to be read or as the place of its files.
Descriptor orvOpenDirectory(std::string_view path);
// What stands at path, a link not followed.
[[nodiscard]] int orvStatFile(std::string_view path, struct stat& status);
[[nodiscard]] int orvMakeDirectory(std::string_view path, mode_t mode);
[[nodiscard]] int orvRemoveDirectory(std::string_view path);
[[nodiscard]] int orvUnlinkFile(std::string_view path);
[[nodiscard]] int orvRenameFile(std::string_view from, std::string_view to);
// A second name for a file; a link is not one.
[[nodiscard]] int orvLinkFile(std::string_view from, std::string_view to);

// Writes all of it where the file stands, or -1 with errno: ENOSPC when only a part has found room.
[[nodiscard]] int orvWriteWhole(int file, const void* data, std::size_t size);
// The same in as many pieces as it takes: EIO when no further byte has found room.
[[nodiscard]] int orvWriteAll(int file, const void* data, std::size_t size);
// Makes data the whole content of a file that has so many bytes and is at no moment empty: written over what is there,
// then cut where it was longer.
[[nodiscard]] int orvRewriteFile(int file, off_t before, const void* data, std::size_t size);
// The same so that the file holds the old content whole or the new one at its beginning, never neither, whatever
// becomes of it: room for what it grows by is taken first. Where there was none, what could be written stays.
[[nodiscard]] int orvReplaceContent(int file, off_t before, std::string_view text);
// What was written comes to the disk before anything that follows; a disk that refuses is let be. Waits for it: for
// what is made once in the life of a switch.
void orvFlushFile(int file);
// Makes a file with data in it: it comes by its name whole, or not at all, also when the power is cut. Written beside,
// under the name with ".new" behind it, flushed, and renamed.
[[nodiscard]] int orvCreateWholeFile(std::string_view path, const void* data, std::size_t size, mode_t mode);

// Reads an open file to its end. A read that fails for a moment is tried once more; else the end is where it failed.
class OrvFileBuf final : public std::streambuf {
public:
    // The file stays open for as long as this lives.
    explicit OrvFileBuf(int file) : file_(file) {}

private:
    int_type underflow() override;

    int file_;
    std::array<char, 4096> bytes_;
};
