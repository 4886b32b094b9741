// What docs/switchctl.md and the manual page have of the commands.
//
// Both pages keep what a person wrote around it: the parts that are made stand between lines that say so.
#pragma once

#include "switchctl/commands/CommandTree.h"

#include <span>
#include <string>

// The whole table, in the order of the pages.
struct CommandRow {
    const char* section;
    CommandText text;
};
std::span<const CommandRow> knownCommands();

// A page with its made parts made anew. Throws std::runtime_error where an end of one is missing, or nobody knows it.
std::string switchctlPage(const std::string& page, const CommandTree& tree);
std::string switchctlManual(const std::string& manual, const CommandTree& tree);
