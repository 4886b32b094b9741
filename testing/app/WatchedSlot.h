// Test support: the platform's slot for a component, with a place to step in as soon as the component is on the bus.
//
// Linked in the platform's place. Main thread only.
#pragma once

#include <functional>

class Hsb_Component;

struct WatchedSlot {
    // Called when the component has been told that it is on the bus, before insert() returns; false: insert() fails.
    // Empty: nobody looks.
    static inline std::function<bool(Hsb_Component*)> inserted;
};
