#include "base/OrvAssert.h"

#include <syslog.h>

#include <cstdio>
#include <cstdlib>

void orvAssertFailed(const char* expression, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: assertion \"%s\" failed\n", file, line, expression);
    syslog(LOG_CRIT, "%s:%d: assertion \"%s\" failed\n", file, line, expression);
    std::abort();
}
