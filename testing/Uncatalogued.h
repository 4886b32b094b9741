// What the daemon has logged that no row of its catalogue describes, as LoopbackSwitch comes across it.
//
// The entries of other components are not held against the catalogue, nor those without the daemon's flags, nor what a
// test writes in the daemon's name after it has said so.
#pragma once

#include "switchd/store/LogEntry.h"

#include <string>

namespace Uncatalogued {

// A new switch: nothing is accepted any more, and nothing found.
void forget();
void take(const LogEntry& entry);
// The first one since the last time, for a message; "" when there is none.
std::string next();

// Until the next switch.
void acceptAll();

}  // namespace Uncatalogued
