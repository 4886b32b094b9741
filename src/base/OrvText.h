// Small text helpers. Any thread.
#pragma once

#include <cstdarg>
#include <string>

// printf into a string of any length.
__attribute__((format(printf, 1, 2))) std::string orvFormat(const char* format, ...);
std::string orvFormatV(const char* format, std::va_list arguments);

// The system's text for an error number, as strerror gives it.
std::string orvErrorText(int error);
