#include "dbg/OrvTimer.h"

#include "dbg/OrvGuard.h"

int OrvTimer::handle_timeout() {
    return orvGuarded("OrvTimer::handle_timeout", [this] {
        action();
        return 0;
    });
}
