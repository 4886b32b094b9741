// The daemon's command line. It takes no settings: what it is asked there it answers without becoming a daemon.
#pragma once

#include <optional>

// Prints what --version or --help asks for, or what is wrong with any other argument. The exit status; none when there
// are no arguments and the daemon is to run. Touches nothing but stdout and stderr, and needs no memory.
std::optional<int> orvAnswerCommandLine(int argc, const char* const* argv);
