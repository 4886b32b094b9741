// Runs command lines with the switch's shell, so that a shell that cannot be started is told from one that has run:
// system() answers both with 127.
//
// Each shell leads a process group of its own, which the daemon's stop can end. What else a command inherits is what
// system() hands on, except that it can wait for its own children whatever the daemon's parent has set for them.
#pragma once

#include <string>
#include <string_view>

// A command line to run: the shell's status as waitpid() gives it, or -1 with errno when none could be started.
using OrvShell = int (*)(const char* command);

// Waits until the shell has ended. What may pass by itself (too many processes, no memory) is tried once more. -1 with
// ECANCELED when orvEndShells() has ended it, or was called before. Any thread.
[[nodiscard]] int orvRunShell(const char* command);

// A text as one word of a command line: as it is wherever that will do, so that the switch's own paths stay as they
// are.
std::string orvShellWord(std::string_view text);

// The daemon stops: ends all shells that run, with everything they have started in their groups. No further one is
// started. Any thread; waits for nothing.
void orvEndShells();
