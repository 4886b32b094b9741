// The one way onto a file of a fixed name. OrvFiles.h is for everybody else.
#pragma once

#include <sys/types.h>

#include <cstddef>

extern "C" {

// Opens hostPath without following a link behind its first trusted bytes, which end with a whole component. As open():
// a descriptor, or -1 with errno. May be interrupted. Any thread.
int orvOpenUnlinked(const char* hostPath, std::size_t trusted, int flags, mode_t mode);
}
