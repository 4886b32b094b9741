// Stops the process on our own bug: a failed assertion is never compiled out.
#pragma once

// Writes the expression and its place to syslog and stderr and aborts.
[[noreturn]] void orvAssertFailed(const char* expression, const char* file, int line);

#define ORV_ASSERT(expression) \
    (static_cast<bool>(expression) ? static_cast<void>(0) : orvAssertFailed(#expression, __FILE__, __LINE__))
