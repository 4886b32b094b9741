// A history that fails, made as small as it gets: the fewest steps that still break the same rule.
#pragma once

#include "box/search/Options.h"

#include <cstdint>
#include <functional>
#include <string>

namespace box {

// What is wrong with a history, "" when nothing is, and how many steps and lives it had.
struct Tried {
    std::string problem;
    std::uint32_t steps = 0;
    std::uint32_t lives = 0;
};
using Try = std::function<Tried(const Options& options)>;

// The rule's name in a problem.
std::string ruleOf(const std::string& problem);
// The smallest options that were found; those that were given when they do not fail.
Options shrunk(const Options& options, const Try& attempt);
// As a line of a file of histories.
std::string optionsLine(const Options& options);

// Shrinks the options' history and prints its timeline and its line. 1; 0 when it does not fail.
int shrink(const Options& options);

}  // namespace box
