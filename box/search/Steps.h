// Numbers of a history's steps, from 1, as they stand in a line of options: 3-17,20.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace box {

using Steps = std::set<std::uint32_t>;

// False when it is no such list.
bool readSteps(std::string_view text, Steps& steps);
std::string stepsText(const Steps& steps);

}  // namespace box
