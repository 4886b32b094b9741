// Power cuts in many records, several at once.
#pragma once

#include "box/search/Options.h"

namespace box {

// Runs what the options ask for and prints the figures. 0, or 1 when a state has failed.
int searchCuts(const Options& options);

}  // namespace box
