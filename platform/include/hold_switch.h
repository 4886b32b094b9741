// The place of a switch's one daemon: two of them would mail everything twice and empty each other's traces.
//
// A process holds the component's name on its bus and the switch's file tree, until it ends, in whatever way, and
// leaves nothing behind. Main thread only.
#pragma once

// Takes the place. What does not exist yet (the bus, the tree) is left for a later call, which adds it to what is
// held. 0; or -1 when another living process holds any of it, or it could not be looked at for want of memory: the
// reason has gone to stderr and syslog, and nothing has been touched.
[[nodiscard]] int hold_switch(const char* component);
