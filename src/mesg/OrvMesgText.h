// Writing a message file: the pieces of its text. Any thread.
#pragma once

#include <string>
#include <string_view>

inline void orvAppendLine(std::string& file, std::string_view line) {
    file += line;
    file += '\n';
}

// A simple element: tag, value and end line.
void orvAppendElement(std::string& file, std::string_view tag, std::string_view value);
