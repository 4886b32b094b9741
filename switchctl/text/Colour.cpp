#include "switchctl/text/Colour.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>

namespace Colour {

bool isTerminal(const std::ostream& out) {
    return &out == &std::cout && isatty(STDOUT_FILENO) == 1;
}

bool isWanted(const std::ostream& out) {
    const char* const refused = std::getenv("NO_COLOR");
    return isTerminal(out) && (refused == nullptr || *refused == '\0');
}

std::string heading(const std::string& lines, Shade shade) {
    const std::size_t end = lines.find('\n');
    return "\x1b[" + std::to_string(static_cast<int>(shade)) + "m" + lines.substr(0, end) + "\x1b[0m" +
           (end == std::string::npos ? "" : lines.substr(end));
}

}  // namespace Colour
