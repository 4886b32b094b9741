// Small text helpers. Any thread.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <span>
#include <string>

// printf into a string of any length.
__attribute__((format(printf, 1, 2))) std::string orvFormat(const char* format, ...);
__attribute__((format(printf, 1, 0))) std::string orvFormatV(const char* format, std::va_list arguments);

// The text in a field of bytes: up to the first NUL or the field's end.
std::string orvTextUpToNul(std::span<const std::uint8_t> field);

// The system's text for an error number, as strerror gives it.
std::string orvErrorText(int error);
