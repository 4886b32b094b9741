// A message's file as its bytes: written in place, read as a stream. Main thread, or whoever owns the message.
#pragma once

#include <sys/types.h>

#include <array>
#include <streambuf>
#include <string_view>

// Makes text the whole content of an open file that has so many bytes. Whatever becomes of it, the file holds the old
// content whole or the new one at its beginning, never neither. Where there was none, what could be written stays. 0,
// or -1 with errno.
[[nodiscard]] int orvWriteMesgFile(int file, off_t before, std::string_view text);

// Reads an open file to its end. A read that fails for a moment is tried once more; else the end is where it failed.
class OrvMesgFileBuf final : public std::streambuf {
public:
    // The file stays open for as long as this lives.
    explicit OrvMesgFileBuf(int file) : file_(file) {}

private:
    int_type underflow() override;

    int file_;
    std::array<char, 4096> bytes_;
};
