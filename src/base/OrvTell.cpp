#include "base/OrvTell.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

void orvTell(const char* format, ...) noexcept {
    char text[256] = "";
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    syslog(LOG_NOTICE, "%s\n", text);
    std::fprintf(stderr, "orvApp: %s\n", text);
}
