// Base64 of a stream of bytes that comes in blocks. Plain computation, one stream an object.
#pragma once

#include <cstddef>

class OrvBase64Encoder {
public:
    // Lines hold lineSize / 4 groups of four characters, but at least one, and end with CR LF.
    explicit OrvBase64Encoder(int lineSize);

    // What count bytes can become at most, the end of the stream included.
    static constexpr std::size_t outputSize(std::size_t count) { return (count / 3 + 1) * 6 + 2; }

    // Encodes a block; count is a multiple of three in all blocks but the last. Returns the characters written.
    std::size_t convert(const unsigned char* bytes, std::size_t count, unsigned char* text);
    // The stream has ended: ends the line that was begun. Returns the characters written.
    std::size_t finish(unsigned char* text);

private:
    unsigned char* endFullLine(unsigned char* text);

    std::size_t groupsPerLine_;
    std::size_t groupsInLine_ = 0;
};

class OrvBase64Decoder {
public:
    static constexpr std::size_t outputSize(std::size_t count) { return count + 3; }

    // Decodes a block of any size; skips whatever is no Base64, "=" included. Returns the bytes written.
    std::size_t convert(const unsigned char* text, std::size_t count, unsigned char* bytes);
    // The stream has ended: writes the bytes of a group that was begun. Returns the bytes written.
    std::size_t finish(unsigned char* bytes);

private:
    unsigned group_ = 0;       // up to four times six bits
    unsigned characters_ = 0;  // of the group that was begun
};
