// Colour where a person looks: stdout is a terminal, and NO_COLOR is unset.
#pragma once

#include <ostream>
#include <string>

namespace Colour {

enum class Shade { GREEN = 32, RED = 31, YELLOW = 33 };

// Whether what goes there is seen on a terminal.
bool isTerminal(const std::ostream& out);
// Whether it takes colour as well.
bool isWanted(const std::ostream& out);
// The first line in this shade.
std::string heading(const std::string& lines, Shade shade);

}  // namespace Colour
