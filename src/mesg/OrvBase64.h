// Base64, file to file. Any thread.
//
// Paths are the switch's own; an empty one means standard input or output. A link is not followed, and nothing is
// written to a file that has a second name: these cannot be opened. No signal makes it fail.
#pragma once

#include <string>

inline constexpr int kB64Encode = 101;  // every other operation decodes

enum OrvB64Result : int { kB64Okay = 0, kB64FileError = 2, kB64IoError = 3 };

// Encodes into lines of at most lineSize characters, cut down to whole groups of four but never below one, each
// ended by CR LF; or decodes, ignoring all that is not Base64. Returns an OrvB64Result; a failure, memory for the
// blocks included, may leave a partial output file behind.
[[nodiscard]] int b64(int operation, const std::string& input, const std::string& output, int lineSize);

// The detail that this thread's last b64() left, or else the general text for the code.
std::string b64Message(int code);
