// Plays a timetable: the whole daemon in a box, on a switch that has nothing but what the timetable says.
#pragma once

#include "ahead/wire/Timetable.h"

namespace ahead {

// In files of its own, on a file system in memory, which are gone afterwards. One thread; forks. Nothing is thrown:
// what went wrong is the outcome's problem.
Outcome play(const Timetable& table);

}  // namespace ahead
