// A rehearsal as a picture: events, what was delivered of them, and what waits, over the hours; outages behind them.
#pragma once

#include "switchctl/ahead/Rehearsal.h"

#include <string>

// One SVG file that needs no other.
std::string rehearsalPlot(const Rehearsal& rehearsal);
