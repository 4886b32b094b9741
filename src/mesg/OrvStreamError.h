// How a failed file stream is reported. Any thread.
#pragma once

#include <ios>
#include <string>

// One trace line: the step ("open" or "I/O"), the stream's state bits, the system's error and the exception's text.
std::string orvStreamErrorText(const char* step, std::ios_base::iostate state, int error, const char* what);
