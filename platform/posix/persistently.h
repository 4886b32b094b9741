// Another try, and another, for what finds no memory: it may be back at once. For steps that change nothing unless they
// succeed, and on which more depends than on the moment that the tries take.
#pragma once

#include "platform/posix/guarded.h"

#include <new>

// True when the call returned; what it throws in the end, or for another reason, is logged and goes no further.
template <typename Call>
bool persistently(const char* what, Call&& call) {
    constexpr int MOST_TRIES = 64;
    for (int tries = 1; tries < MOST_TRIES; ++tries) {
        bool found = true;
        const bool returned = guarded(what, [&] {
            try {
                call();
            } catch (const std::bad_alloc&) {
                found = false;
            }
        });
        if (found) {
            return returned;
        }
    }
    return guarded(what, call);
}
