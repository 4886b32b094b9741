// For code that is linked with a box and without one: null when there is none.
#pragma once

// Whether the caller is one of a box's threads, and the box itself is not at work.
extern "C" [[gnu::weak]] bool orvInBoxThread();
