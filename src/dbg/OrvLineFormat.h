// Fills in a trace line's text as vsnprintf does, to the byte and with its result, in a fifth of the instructions.
//
// Does itself what nearly all lines of the daemon ask for: texts, and whole numbers with or without a width. Whatever
// else a format holds, and a text that does not fit, is left to vsnprintf. Any thread.
#pragma once

#include <cstdarg>
#include <cstddef>

__attribute__((format(printf, 3, 0))) int orvFillLine(char* buffer, std::size_t size, const char* format,
                                                      std::va_list arguments);
