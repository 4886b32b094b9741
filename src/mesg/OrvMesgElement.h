// A message file line by line: what its elements have in common when they are written, estimated and read.
//
// Reading looks ahead by no more than one byte. A stream is at its end when no further byte can be read, a read error
// included, so every loop over these functions ends. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

inline void orvAppendLine(std::string& file, std::string_view line) {
    file += line;
    file += '\n';
}
// A simple element: tag, value and end line.
void orvAppendElement(std::string& file, std::string_view tag, std::string_view value);

// Estimates are summed up in 64 bits and saturate: a giant attachment must look too large for the queue, never
// negative.
inline std::int32_t orvSaturate(std::int64_t bytes) {
    return bytes > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(bytes);
}
std::int64_t orvLengths(std::initializer_list<std::string_view> texts);

// No further byte can be read.
bool orvAtEnd(std::istream& stream);
// The next line without its line feed; empty at the end of the stream. A line with a NUL ends the stream: no text has
// one, but a file of which a power cut has left the length without the bytes.
void orvReadLine(std::istream& stream, std::string& line);

// "<...>", but no closing tag.
bool orvIsOpeningTag(std::string_view line);

// Reads a simple element's value and its end line; tag is named in the trace of a failure. 0, or -1 with what
// has been read in value.
[[nodiscard]] int restoreThruDashTag(std::string_view tag, std::istream& stream, std::string& value);

// Reads items up to the end tag, verbatim; other elements have no meaning in a list. 0, or -1 when the stream
// ended first, with all items so far.
[[nodiscard]] int orvReadList(std::string_view endTag, std::istream& stream, std::vector<std::string>& items);

// Reads past an element that nobody knows, whatever is nested in it. 0, or -1 when the stream ended inside.
[[nodiscard]] int orvSkipElement(std::string_view openingTag, std::istream& stream);
