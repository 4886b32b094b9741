// Host side of host_root(): tests give every switch its own directory.
#pragma once

#include <string>

// Replaces the root read from HSB_ROOT; trailing slashes are removed. Before threads start, or while no other one asks
// for it.
void setHostRoot(const std::string& directory);
