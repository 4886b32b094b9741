#include "testing/CallHooks.h"

#include "testing/FaultyCall.h"

#include <cerrno>

namespace {

thread_local const CallHooks* made = nullptr;

}  // namespace

CallHooks::CallHooks() {
    made = this;
}

CallHooks::~CallHooks() {
    made = nullptr;
}

const CallHooks* CallHooks::atWork() {
    return CallsWithin::any() ? nullptr : made;
}

int failWith(int error) {
    errno = error;
    return -1;
}
