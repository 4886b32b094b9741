#include "hold_switch.h"

#include "host_root.h"
#include "platform/client/HostBus.h"
#include "platform/client/HostTree.h"

#include <syslog.h>

#include <cstdio>
#include <new>

namespace {

int refuse(const char* reason, const char* what) {
    std::fprintf(stderr, "hsb: another daemon serves this switch: %s%s\n", reason, what);
    syslog(LOG_ERR, "another daemon serves this switch: %s%s", reason, what);
    return -1;
}

int hold(const char* component) {
    static HostTree tree;
    std::string inUse;
    if (tree.hold(host_root(), inUse) < 0) {
        return refuse("in use is ", inUse.c_str());
    }
    if (HostBus::instance().claim(component) == Transport::Claim::ANOTHERS) {
        return refuse("on the bus there is already ", component);
    }
    return 0;
}

}  // namespace

int hold_switch(const char* component) {
    try {
        return hold(component);
    } catch (const std::bad_alloc&) {
        std::fputs("hsb: memory is too short to see whether another daemon serves this switch\n", stderr);
        syslog(LOG_ERR, "memory is too short to see whether another daemon serves this switch");
        return -1;
    }
}
