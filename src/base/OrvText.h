// Small text helpers. Any thread.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// printf into a string of any length.
__attribute__((format(printf, 1, 2))) std::string orvFormat(const char* format, ...);
__attribute__((format(printf, 1, 0))) std::string orvFormatV(const char* format, std::va_list arguments);

// Fills in a line's text as vsnprintf does, to the byte and with its result, in a fifth of the instructions. Does
// itself what nearly all traces ask for: texts, and whole numbers with or without a width. Whatever else a format
// holds, and a text that does not fit, is left to vsnprintf.
__attribute__((format(printf, 3, 0))) int orvFillLine(char* buffer, std::size_t size, const char* format,
                                                      std::va_list arguments);

// The text in a field of bytes: up to the first NUL or the field's end.
std::string orvTextUpToNul(std::span<const std::uint8_t> field);

// The system's text for an error number, as strerror gives it.
std::string orvErrorText(int error);
