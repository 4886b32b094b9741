// The daemon's way to the thread rules: ORV_GUARDED_BY and its like, and the locks that they name.
#pragma once

#include "thread_safety.h"  // IWYU pragma: export
