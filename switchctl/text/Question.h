// A question to whoever sits at the terminal.
#pragma once

#include <ostream>
#include <string>

namespace Question {

// Whether standard input is a terminal: there is somebody to ask.
bool canAsk();
// Writes the question and reads a line; whether it is "y" or "yes", in any case.
bool yes(std::ostream& terminal, const std::string& question);

}  // namespace Question
