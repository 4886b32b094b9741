// Test support: lets a test decide which shells cannot be started. The program is linked with --wrap=posix_spawn.
#pragma once

namespace faults {

// The next shells cannot be started, so many times, for this reason. Any thread.
void refuseShells(int times, int error);
// How many have been asked for since refuseShells().
int shellsAskedFor();

}  // namespace faults
